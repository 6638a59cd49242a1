#ifndef DRIVERS_BASE_GENERAL_CAMERA_SETTING_H
#define DRIVERS_BASE_GENERAL_CAMERA_SETTING_H

#include "drivers/base/camera_setting.h"

namespace velm {

// A setting of any camera, as read from a file when its driver isn't loaded. Keeps the entries that the
// driver added, as texts, so that writing it back loses nothing.
class VELM_API VELM_GeneralCameraSetting : public VELM_CameraSetting {
  public:
    using VELM_CameraSetting::VELM_CameraSetting;
    VELM_GeneralCameraSetting(VELM_GeneralCameraSetting const &) = default;
    VELM_GeneralCameraSetting & operator=(VELM_GeneralCameraSetting const &) = default;
    ~VELM_GeneralCameraSetting() override;

    bool LoadCameraSetting(wxFileConfig & config) override;
    bool SaveCameraSetting(wxFileConfig & config) const override;
    VELM_CameraSetting * Clone() const override;
    wxString GetExtraString() const override { return _extra; }

  private:
    wxString _extra;             // as read
    wxArrayString _extra_keys;   // entry names from the extra string
    wxArrayString _extra_values; // their values, in the same order
};

} // namespace velm

#endif
