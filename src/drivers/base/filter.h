#ifndef DRIVERS_BASE_FILTER_H
#define DRIVERS_BASE_FILTER_H

#include "drivers/base/hw_control.h"

namespace velm {

// A filter exchanger, excitation or emission. Positions are revolver positions.
class VELM_API VELM_FilterControl : public VELM_HWControl {
  public:
    explicit VELM_FilterControl(VELM_HWDriver * driver);
    ~VELM_FilterControl() override;

    virtual bool IsMoving() = 0;

    // The position that the hardware reports.
    virtual long ReadPos() = 0;

    // Starts to turn to the position; returns at once.
    virtual void Move(long pos) = 0;

  protected:
    friend class VELM_BaseControl;

    long _pos = 0; // the position last asked for
};

} // namespace velm

#endif
