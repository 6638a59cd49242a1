#ifndef ACQUISITION_SETTING_IN_FORCE_H
#define ACQUISITION_SETTING_IN_FORCE_H

#include "drivers/base/velm_base.h"

namespace velm::acquisition {

// Puts the camera's own setting back at the end of the scope: the one in force belongs to a channel that
// goes.
class SettingInForce {
  public:
    explicit SettingInForce(VELM_BaseControl & base) : _base(base) {}
    ~SettingInForce() { _base.Camera_SetDefaultSetting(); }
    SettingInForce(SettingInForce const &) = delete;
    SettingInForce & operator=(SettingInForce const &) = delete;

  private:
    VELM_BaseControl & _base;
};

} // namespace velm::acquisition

#endif
