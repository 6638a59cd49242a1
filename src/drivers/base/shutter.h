#ifndef DRIVERS_BASE_SHUTTER_H
#define DRIVERS_BASE_SHUTTER_H

#include "drivers/base/hw_control.h"

namespace velm {

// The shutter in the excitation light. Its Close shuts the light off; the device itself is closed through
// VELM_HWControl.
class VELM_API VELM_ShutterControl : public VELM_HWControl {
  public:
    explicit VELM_ShutterControl(VELM_HWDriver * driver);
    ~VELM_ShutterControl() override;

    virtual bool IsMoving() = 0;

    // Start to open or close; both return at once.
    virtual void Open() = 0;
    virtual bool IsOpened() = 0;
    virtual void Close() = 0;

  protected:
    friend class VELM_BaseControl;

    bool _economy = false; // close between snaps to spare the sample
};

} // namespace velm

#endif
