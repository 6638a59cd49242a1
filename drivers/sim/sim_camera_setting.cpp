#include "sim_camera_setting.h"

#include <algorithm>
#include <wx/fileconf.h>
#include <wx/sizer.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>

namespace velm::sim {

char const * const DRIVER_NAME = "Simulated microscope";

namespace {

char const * const GAIN = "GAIN";
char const * const GAIN_LABEL = "Gain";
char const * const GAIN_UNIT = "x";
char const * const COOLING = "COOLING";
char const * const COOLING_LABEL = "Sensor temperature";
char const * const COOLING_UNIT = "deg C";

void AddSpin(wxWindow * parent, wxSizer * sizer, wxString const & label, wxString const & name, int low,
             int high, int value)
{
    int const flags = static_cast<int>(wxALL) | static_cast<int>(wxALIGN_CENTER_VERTICAL);
    sizer->Add(new wxStaticText(parent, wxID_ANY, label), 0, flags, 5);
    sizer->Add(new wxSpinCtrl(parent, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                              wxSP_ARROW_KEYS, low, high, value, name),
               0, flags, 5);
}

// The panel's own control of the name, or null.
wxSpinCtrl * FindSpin(wxWindow const * panel, wxString const & name)
{
    return dynamic_cast<wxSpinCtrl *>(wxWindow::FindWindowByName(name, panel));
}

int ReadInt(wxFileConfig const & config, wxString const & key, int otherwise, int low, int high)
{
    long const value = config.ReadLong(key, otherwise);
    return static_cast<int>(std::clamp(value, static_cast<long>(low), static_cast<long>(high)));
}

} // namespace

SimCameraSetting::SimCameraSetting(CameraParams const & camera)
    : VELM_CameraSetting(DRIVER_NAME, camera.binning, camera.binning, -1, -1, -1, -1, camera.exposure,
                         camera.bit_depth, camera.bit_depth, camera.width, camera.height)
{
}

SimCameraSetting::~SimCameraSetting() = default;

void SimCameraSetting::SetGain(int gain)
{
    _gain = std::clamp(gain, 1, MAX_GAIN);
}

void SimCameraSetting::SetCooling(int degrees)
{
    _cooling = std::clamp(degrees, COLDEST, WARMEST);
}

void SimCameraSetting::CreateAdvSettingPanel(wxWindow * parent, VELM_CameraControl const *)
{
    auto * const sizer = new wxFlexGridSizer(2, 5, 5);
    AddSpin(parent, sizer, GAIN_LABEL, GAIN, 1, MAX_GAIN, _gain);
    AddSpin(parent, sizer, wxString::Format("%s (%s)", COOLING_LABEL, COOLING_UNIT), COOLING, COLDEST,
            WARMEST, _cooling);
    parent->SetSizer(sizer);
    sizer->SetSizeHints(parent);
}

void SimCameraSetting::CopyAdvSettingFromPanel(wxWindow const * panel, VELM_CameraControl const *)
{
    if (wxSpinCtrl const * const gain = FindSpin(panel, GAIN)) {
        SetGain(gain->GetValue());
    }
    if (wxSpinCtrl const * const cooling = FindSpin(panel, COOLING)) {
        SetCooling(cooling->GetValue());
    }
}

void SimCameraSetting::PutAdvSettingToPanel(wxWindow * panel, VELM_CameraControl const *)
{
    if (wxSpinCtrl * const gain = FindSpin(panel, GAIN)) {
        gain->SetValue(_gain);
    }
    if (wxSpinCtrl * const cooling = FindSpin(panel, COOLING)) {
        cooling->SetValue(_cooling);
    }
}

bool SimCameraSetting::LoadCameraSetting(wxFileConfig & config)
{
    if (!VELM_CameraSetting::LoadCameraSetting(config)) {
        return false;
    }
    _gain = ReadInt(config, GAIN, 1, 1, MAX_GAIN);
    _cooling = ReadInt(config, COOLING, 0, COLDEST, WARMEST);
    return true;
}

bool SimCameraSetting::SaveCameraSetting(wxFileConfig & config) const
{
    return VELM_CameraSetting::SaveCameraSetting(config) && config.Write(GAIN, static_cast<long>(_gain)) &&
           config.Write(COOLING, static_cast<long>(_cooling));
}

bool SimCameraSetting::HasSameExtras(VELM_CameraSetting const * other) const
{
    auto const * const same = dynamic_cast<SimCameraSetting const *>(other);
    return same != nullptr && same->_gain == _gain && same->_cooling == _cooling;
}

bool SimCameraSetting::operator==(VELM_CameraSetting const * other) const
{
    return HasSameExtras(other) && VELM_CameraSetting::operator==(other);
}

bool SimCameraSetting::IsSameButRegionAndLastBit(VELM_CameraSetting const * other) const
{
    return HasSameExtras(other) && VELM_CameraSetting::IsSameButRegionAndLastBit(other);
}

VELM_CameraSetting * SimCameraSetting::Clone() const
{
    return new SimCameraSetting(*this);
}

wxString SimCameraSetting::GetExtraString() const
{
    return wxString::Format("%s|%s|%s|%s|%s|%s|", GAIN, GAIN_LABEL, GAIN_UNIT, COOLING, COOLING_LABEL,
                            COOLING_UNIT);
}

} // namespace velm::sim
