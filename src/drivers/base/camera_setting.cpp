#include "drivers/base/camera_setting.h"

#include "drivers/base/sensor_region.h"
#include "velm_config.h"

#include <array>
#include <tuple>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/tokenzr.h>

namespace velm {

VELM_CameraSetting::VELM_CameraSetting(wxString const & driver, int sbin, int pbin, int s1, int s2, int p1,
                                       int p2, unsigned long exposure, int max_bitdepth, int last_bit,
                                       int CCD_ser_size, int CCD_par_size)
    : _s1(s1), _s2(s2), _p1(p1), _p2(p2), _sbin(sbin), _pbin(pbin), _exposure(exposure),
      _max_bitdepth(max_bitdepth), _last_bit(last_bit), _CCD_ser_size(CCD_ser_size),
      _CCD_par_size(CCD_par_size), _driver_name(driver)
{
}

VELM_CameraSetting::~VELM_CameraSetting() = default;

void VELM_CameraSetting::ValidateRegion(int sbin, int pbin, int & s1, int & p1, int & s2, int & p2) const
{
    wxASSERT(_CCD_ser_size > 0);
    wxASSERT(_CCD_par_size > 0);
    wxASSERT(s1 <= s2);
    wxASSERT(p1 <= p2);
    detail::FitRegion(_CCD_ser_size, _CCD_par_size, sbin, pbin, s1, p1, s2, p2);
}

void VELM_CameraSetting::CreateAdvSettingPanel(wxWindow * parent, VELM_CameraControl const *)
{
    auto * const sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(new wxStaticText(parent, wxID_ANY, "No options!"),
               wxSizerFlags(0).Border(wxALL, 5).Align(wxALIGN_CENTER));
    parent->SetSizer(sizer);
    sizer->SetSizeHints(parent);
}

void VELM_CameraSetting::CopyAdvSettingFromPanel(wxWindow const *, VELM_CameraControl const *) {}

void VELM_CameraSetting::PutAdvSettingToPanel(wxWindow *, VELM_CameraControl const *) {}

VELM_CameraSettingBinder * VELM_CameraSetting::CreateBinder()
{
    return new VELM_CameraSettingBinder(false, false);
}

namespace {

// A binning factor divides sizes, so one below 1 counts as missing.
int ReadBinning(wxFileConfig const & config, wxString const & key)
{
    int const bin = config::ReadOr(config, key, 1);
    return bin >= 1 ? bin : 1;
}

} // namespace

bool VELM_CameraSetting::LoadCameraSetting(wxFileConfig & config)
{
    using config::ReadOr;
    _driver_name = ReadOr(config, "DRIVER", "None");
    _sbin = ReadBinning(config, "SBIN");
    _pbin = ReadBinning(config, "PBIN");
    _CCD_ser_size = ReadOr(config, "CCD_SER_SIZE", 0);
    _CCD_par_size = ReadOr(config, "CCD_PAR_SIZE", 0);
    _s1 = ReadOr(config, "S1", 1);
    _s2 = ReadOr(config, "S2", 1);
    _p1 = ReadOr(config, "P1", 1);
    _p2 = ReadOr(config, "P2", 1);
    _exposure = ReadOr(config, "EXPOSURE", 0ul);
    _max_bitdepth = ReadOr(config, "MAX_BITDEPTH", 16);
    _last_bit = ReadOr(config, "LAST_BIT", 8);
    return true;
}

bool VELM_CameraSetting::SaveCameraSetting(wxFileConfig & config) const
{
    using config::Write;
    return Write(config, "VERSION", "1.6") && Write(config, "DRIVER", _driver_name) &&
           Write(config, "SBIN", _sbin) && Write(config, "PBIN", _pbin) &&
           Write(config, "CCD_SER_SIZE", _CCD_ser_size) && Write(config, "CCD_PAR_SIZE", _CCD_par_size) &&
           Write(config, "S1", _s1) && Write(config, "S2", _s2) && Write(config, "P1", _p1) &&
           Write(config, "P2", _p2) && Write(config, "EXPOSURE", _exposure) &&
           Write(config, "MAX_BITDEPTH", _max_bitdepth) && Write(config, "LAST_BIT", _last_bit) &&
           Write(config, "CAM_EXTRA", GetExtraString());
}

bool VELM_CameraSetting::operator==(VELM_CameraSetting const * other) const
{
    return IsSameButRegionAndLastBit(other) && HasSameRegion(other) && _last_bit == other->_last_bit;
}

bool VELM_CameraSetting::IsSameButRegionAndLastBit(VELM_CameraSetting const * other) const
{
    auto const compared = [](VELM_CameraSetting const & s) {
        return std::tie(s._sbin, s._pbin, s._exposure, s._max_bitdepth, s._CCD_ser_size, s._CCD_par_size,
                        s._driver_name);
    };
    return other != nullptr && compared(*this) == compared(*other);
}

void VELM_CameraSetting::GetBinning(int & sbin, int & pbin) const
{
    sbin = _sbin;
    pbin = _pbin;
}

void VELM_CameraSetting::SetBinning(int sbin, int pbin)
{
    VELM_TRACE("%s (%d, %d)", VELM_FUNCTION, sbin, pbin);
    _sbin = sbin;
    _pbin = pbin;
}

void VELM_CameraSetting::SetExposure(unsigned long exposure)
{
    VELM_TRACE("%s (%ld)", VELM_FUNCTION, static_cast<long>(exposure));
    _exposure = exposure;
}

void VELM_CameraSetting::SetLastBit(int last_bit)
{
    wxASSERT(last_bit >= 1 && last_bit <= _max_bitdepth);
    _last_bit = last_bit;
}

void VELM_CameraSetting::GetRegion(int & s1, int & p1, int & s2, int & p2) const
{
    s1 = _s1;
    p1 = _p1;
    s2 = _s2;
    p2 = _p2;
}

void VELM_CameraSetting::SetRegion(int s1, int p1, int s2, int p2)
{
    VELM_TRACE("VELM_CameraSetting::SetRegion(%d, %d, %d, %d)", s1, p1, s2, p2);
    _s1 = s1;
    _p1 = p1;
    _s2 = s2;
    _p2 = p2;
}

bool VELM_CameraSetting::HasSameRegion(VELM_CameraSetting const * other) const
{
    return other != nullptr && _s1 == other->_s1 && _s2 == other->_s2 && _p1 == other->_p1 &&
           _p2 == other->_p2;
}

bool VELM_CameraSetting::IsFullFrame() const
{
    return _s1 == -1 && _s2 == -1 && _p1 == -1 && _p2 == -1;
}

void VELM_CameraSetting::SetCCDSizes(int ser_size, int par_size)
{
    _CCD_ser_size = ser_size;
    _CCD_par_size = par_size;
}

void VELM_CameraSetting::GetAdditionalParams(wxArrayString & second, wxArrayString & third) const
{
    wxArrayString names;
    ParseExtraString(names, second, third);
}

bool VELM_CameraSetting::ParseExtraString(wxArrayString & first, wxArrayString & second,
                                          wxArrayString & third) const
{
    first.clear();
    second.clear();
    third.clear();
    wxString const text = GetExtraString();
    if (text.empty()) {
        return true;
    }

    std::array<wxArrayString *, 3> const fields{&first, &second, &third};
    wxStringTokenizer tokens(text, "|", wxTOKEN_RET_EMPTY_ALL);
    for (std::size_t field = 0; tokens.HasMoreTokens(); field = (field + 1) % fields.size()) {
        wxString const token = tokens.GetNextToken();
        if (token.empty() && !tokens.HasMoreTokens() && field == 0) {
            return true;
        }
        fields[field]->push_back(token);
    }
    VELM_LOG_ERROR("%s: Invalid extra string: %s", VELM_FUNCTION, text);
    return false;
}

} // namespace velm
