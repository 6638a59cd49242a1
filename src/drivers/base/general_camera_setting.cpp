#include "drivers/base/general_camera_setting.h"

#include "velm_config.h"

namespace velm {

VELM_GeneralCameraSetting::~VELM_GeneralCameraSetting() = default;

bool VELM_GeneralCameraSetting::LoadCameraSetting(wxFileConfig & config)
{
    if (!VELM_CameraSetting::LoadCameraSetting(config)) {
        return false;
    }
    _extra = config::ReadOr(config, "CAM_EXTRA", "");
    _extra_values.clear();
    wxArrayString second;
    wxArrayString third;
    if (!ParseExtraString(_extra_keys, second, third)) {
        _extra_keys.clear(); // without values there are no entries to keep
        return false;
    }
    for (wxString const & key : _extra_keys) {
        _extra_values.push_back(config::ReadOr(config, key, ""));
    }
    return true;
}

bool VELM_GeneralCameraSetting::SaveCameraSetting(wxFileConfig & config) const
{
    bool saved = VELM_CameraSetting::SaveCameraSetting(config);
    for (std::size_t i = 0; i < _extra_keys.size(); ++i) {
        {
            wxLogNull const quiet; // the toolkit words the refusal of a key in its own way
            saved = config::Write(config, _extra_keys[i], _extra_values[i]);
        }
        if (!saved) {
            VELM_LOG_WARNING("%s: Unable to save entry: %s", VELM_FUNCTION, _extra_keys[i]);
        }
    }
    return saved;
}

VELM_CameraSetting * VELM_GeneralCameraSetting::Clone() const
{
    return new VELM_GeneralCameraSetting(*this);
}

} // namespace velm
