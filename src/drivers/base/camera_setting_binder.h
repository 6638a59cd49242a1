#ifndef DRIVERS_BASE_CAMERA_SETTING_BINDER_H
#define DRIVERS_BASE_CAMERA_SETTING_BINDER_H

#include "velm_export.h"

class wxCheckBox;
class wxFileConfig;
class wxSizer;
class wxWindow;

namespace velm {

class VELM_CameraSetting;

// Says which of the two binning factors of several settings are bound to each other, and ties that choice to
// two check boxes.
class VELM_API VELM_CameraSettingBinder {
  public:
    VELM_CameraSettingBinder(bool serial, bool parallel);
    VELM_CameraSettingBinder(VELM_CameraSettingBinder const &) = default;
    VELM_CameraSettingBinder & operator=(VELM_CameraSettingBinder const &) = default;
    virtual ~VELM_CameraSettingBinder();

    // Builds the two boxes on the parent, which owns them, and adds them to the sizer.
    virtual void AddCheckBoxes(wxWindow * parent, wxSizer * sizer);

    // Puts the choices into the boxes, or takes them from there.
    virtual void Set();
    virtual void Get();

    // Carries the bound binning factors, and always the region, from one setting to another.
    virtual void Copy_Bound(VELM_CameraSetting const * src, VELM_CameraSetting * desc) const;

    virtual bool Save(wxFileConfig & config);
    virtual bool Load(wxFileConfig & config);

  private:
    bool _bind_serial;
    bool _bind_parallel;
    wxCheckBox * _ch_sbin = nullptr; // owned by their window
    wxCheckBox * _ch_pbin = nullptr;
};

} // namespace velm

#endif
