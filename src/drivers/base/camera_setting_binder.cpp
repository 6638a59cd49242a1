#include "drivers/base/camera_setting_binder.h"

#include "drivers/base/camera_setting.h"
#include "velm_config.h"

#include <wx/checkbox.h>
#include <wx/sizer.h>

namespace velm {

VELM_CameraSettingBinder::VELM_CameraSettingBinder(bool serial, bool parallel)
    : _bind_serial(serial), _bind_parallel(parallel)
{
}

VELM_CameraSettingBinder::~VELM_CameraSettingBinder() = default;

void VELM_CameraSettingBinder::AddCheckBoxes(wxWindow * parent, wxSizer * sizer)
{
    _ch_sbin = new wxCheckBox(parent, wxID_ANY, "Serial binning (X)");
    _ch_pbin = new wxCheckBox(parent, wxID_ANY, "Parallel binning (Y)");
    for (wxCheckBox * const box : {_ch_sbin, _ch_pbin}) {
        sizer->Add(box, wxSizerFlags(0).Border(wxALL, 5).Align(wxALIGN_CENTER_VERTICAL));
    }
}

void VELM_CameraSettingBinder::Set()
{
    wxASSERT(_ch_sbin);
    wxASSERT(_ch_pbin);
    _ch_sbin->SetValue(_bind_serial);
    _ch_pbin->SetValue(_bind_parallel);
}

void VELM_CameraSettingBinder::Get()
{
    wxASSERT(_ch_sbin);
    wxASSERT(_ch_pbin);
    _bind_serial = _ch_sbin->GetValue();
    _bind_parallel = _ch_pbin->GetValue();
}

void VELM_CameraSettingBinder::Copy_Bound(VELM_CameraSetting const * src, VELM_CameraSetting * desc) const
{
    wxASSERT(src);
    wxASSERT(desc);
    if (_bind_serial) {
        desc->SetSBin(src->GetSBin());
    }
    if (_bind_parallel) {
        desc->SetPBin(src->GetPBin());
    }
    int s1 = 0;
    int p1 = 0;
    int s2 = 0;
    int p2 = 0;
    src->GetRegion(s1, p1, s2, p2);
    desc->SetRegion(s1, p1, s2, p2);
}

bool VELM_CameraSettingBinder::Save(wxFileConfig & config)
{
    return config::RecordWriter(config, "saving FOV : ")
        .Entry("BIND_SBIN", _bind_serial)
        .Entry("BIND_PBIN", _bind_parallel)
        .IsOk();
}

bool VELM_CameraSettingBinder::Load(wxFileConfig & config)
{
    _bind_serial = config::ReadOr(config, "BIND_SBIN", false);
    _bind_parallel = config::ReadOr(config, "BIND_PBIN", false);
    return true;
}

} // namespace velm
