#ifndef DRIVERS_BASE_STAGE_H
#define DRIVERS_BASE_STAGE_H

#include "drivers/base/hw_control.h"

namespace velm {

// A motorised XY stage. Positions are in tenths of a micron; hardware position = logical position + offset.
// The core knows no hardware range of a stage, only software limits on the logical position.
class VELM_API VELM_StageControl : public VELM_HWControl {
  public:
    explicit VELM_StageControl(VELM_HWDriver * driver);
    ~VELM_StageControl() override;

    virtual bool IsMoving() = 0;

    // Go to this hardware position, or this far from here; both return at once.
    virtual void Move(long x, long y) = 0;
    virtual void MoveRel(long dx, long dy) = 0;

    // The present hardware position, also during a move.
    virtual void ReadPos(long & x, long & y) = 0;

    // Throws VELM_StageControlError when the logical position lies outside the software limits.
    void CheckPos(long x, long y) const;

  protected:
    friend class VELM_BaseControl;

    long _x = 0; // the logical position last asked for; not read back
    long _y = 0;
    long _offset_x = 0;
    long _offset_y = 0;
    long _lower_x = NO_LIMIT; // NO_LIMIT switches a bound off
    long _lower_y = NO_LIMIT;
    long _upper_x = NO_LIMIT;
    long _upper_y = NO_LIMIT;
};

} // namespace velm

#endif
