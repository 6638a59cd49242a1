#include "drivers/base/zdrive.h"

#include <cstdint>

namespace velm {

VELM_ZDriveControl::VELM_ZDriveControl(long hw_lower, long hw_upper, long calib_offset, long init_pos,
                                       VELM_HWDriver * driver)
    : VELM_HWControl(driver), _hw_lower(hw_lower), _hw_upper(hw_upper), _calib_offset(calib_offset),
      _init_pos(init_pos)
{
}

VELM_ZDriveControl::~VELM_ZDriveControl() = default;

bool VELM_ZDriveControl::IsMoving()
{
    return false;
}

void VELM_ZDriveControl::SWLowerLimitChanged(long) {}

void VELM_ZDriveControl::SWUpperLimitChanged(long) {}

void VELM_ZDriveControl::SpareOperation1() {}

void VELM_ZDriveControl::SpareOperation2() {}

void VELM_ZDriveControl::CheckPos(long pos)
{
    // The test is on hardware positions, the message shows the logical one that the user asked for.
    if (pos < _hw_lower || pos > _hw_upper) {
        throw VELM_ZDriveControlError(wxString::Format(
            "Attempt to move the ZDrive out of the HW range [%ld,%ld]! (Pos = %ld, Offset = %ld)", _hw_lower,
            _hw_upper, pos - _offset, _offset));
    }
    long const lower = _sw_lower != NO_LIMIT ? _sw_lower : _hw_lower;
    long const upper = _sw_upper != NO_LIMIT ? _sw_upper : _hw_upper;
    if (pos < lower || pos > upper) {
        throw VELM_ZDriveControlError(wxString::Format(
            "Attempt to move the ZDrive out of the SW range [%ld,%ld]! (Pos = %ld, Offset = %ld)", lower,
            upper, pos - _offset, _offset));
    }
}

void VELM_ZDriveControl::CheckSWLimit(long limit)
{
    if (limit < _hw_lower || limit > _hw_upper) {
        throw VELM_ZDriveControlError(
            wxString::Format("SW limit of the ZDrive is out of the HW range [%ld,%ld]! (Limit = %ld)",
                             _hw_lower, _hw_upper, limit));
    }
}

void VELM_ZDriveControl::SetSWUpperLimit(long limit)
{
    CheckSWLimit(limit);
    SWUpperLimitChanged(limit);
    _sw_upper = limit;
}

void VELM_ZDriveControl::SetSWLowerLimit(long limit)
{
    CheckSWLimit(limit);
    SWLowerLimitChanged(limit);
    _sw_lower = limit;
}

namespace {

// Whether the position is the 32-bit pattern, sign-extended (as a 32-bit program stored it) or zero-extended
// (as written in hexadecimal).
bool IsPattern(long pos, unsigned long pattern)
{
    return static_cast<unsigned long>(pos) == pattern ||
           pos == static_cast<std::int32_t>(static_cast<std::uint32_t>(pattern));
}

} // namespace

void VELM_ZDriveControl::MoveToInitPos()
{
    long target = _init_pos;
    if (IsPattern(_init_pos, INIT_POS_CURRENT)) {
        target = ReadPos();
    } else if (IsPattern(_init_pos, INIT_POS_LOWER)) {
        target = _hw_lower;
    } else if (IsPattern(_init_pos, INIT_POS_MIDDLE)) {
        target = (_hw_lower + _hw_upper) / 2;
    } else if (IsPattern(_init_pos, INIT_POS_UPPER)) {
        target = _hw_upper;
    }
    CheckPos(target);
    Move(target);
    while (IsMoving()) {
    }
}

} // namespace velm
