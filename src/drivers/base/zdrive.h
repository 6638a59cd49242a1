#ifndef DRIVERS_BASE_ZDRIVE_H
#define DRIVERS_BASE_ZDRIVE_H

#include "drivers/base/hw_control.h"

namespace velm {

// A motorised Z drive. All positions here are hardware positions in tenths of a micron; hardware position =
// logical position + offset, and the base control does that sum.
class VELM_API VELM_ZDriveControl : public VELM_HWControl {
  public:
    // Special values of init_pos; a value matches as the 32-bit pattern, sign-extended or zero-extended.
    static unsigned long const INIT_POS_CURRENT = 0x80000000UL; // stay where the drive is
    static unsigned long const INIT_POS_LOWER = 0x80000001UL;   // the lower hardware bound
    static unsigned long const INIT_POS_MIDDLE = 0x80000002UL;  // the middle of the hardware range
    static unsigned long const INIT_POS_UPPER = 0x80000003UL;   // the upper hardware bound

    // hw_lower, hw_upper: what the hardware can reach. calib_offset: how far below the focus calibration
    // images are taken. init_pos: where MoveToInitPos goes.
    VELM_ZDriveControl(long hw_lower, long hw_upper, long calib_offset, long init_pos,
                       VELM_HWDriver * driver);
    ~VELM_ZDriveControl() override;

    virtual bool IsMoving();

    // Called just before a new software limit is stored.
    virtual void SWLowerLimitChanged(long limit);
    virtual void SWUpperLimitChanged(long limit);

    // Nothing calls these; they keep their places in the table of virtual operations.
    virtual void SpareOperation1();
    virtual void SpareOperation2();

    // Throws VELM_ZDriveControlError when the position lies outside the hardware range or the software
    // limits; a position on a bound passes.
    void CheckPos(long pos);

    // Throws VELM_ZDriveControlError when the limit lies outside the hardware range.
    void CheckSWLimit(long limit);

    void SetSWUpperLimit(long limit);
    void SetSWLowerLimit(long limit);

    // Goes to the initial position and waits. Throws as CheckPos does.
    void MoveToInitPos();

  private:
    // Go to this position, or this far from here; both return at once.
    virtual void Move(long pos) = 0;
    virtual void MoveRel(long step) = 0;

    // The present position, also during a move.
    virtual long ReadPos() = 0;

    friend class VELM_BaseControl;
    friend class VELM_ComboZDriveControl;

  protected:
    long _hw_lower;
    long _hw_upper;
    long _sw_lower = NO_LIMIT; // NO_LIMIT switches a bound off
    long _sw_upper = NO_LIMIT;
    long _calib_offset;
    long _init_pos;
    long _offset = 0;
};

} // namespace velm

#endif
