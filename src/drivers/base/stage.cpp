#include "drivers/base/stage.h"

namespace velm {

VELM_StageControl::VELM_StageControl(VELM_HWDriver * driver) : VELM_HWControl(driver) {}

VELM_StageControl::~VELM_StageControl() = default;

namespace {

void CheckAxis(long pos, long lower, long upper, char const * axis)
{
    if ((lower != NO_LIMIT && pos < lower) || (upper != NO_LIMIT && pos > upper)) {
        throw VELM_StageControlError(
            wxString::Format("Attempt to move stage out of range [%ld,%ld] in %s axis! (Value = %ld)", lower,
                             upper, axis, pos));
    }
}

} // namespace

void VELM_StageControl::CheckPos(long x, long y) const
{
    CheckAxis(x, _lower_x, _upper_x, "x");
    CheckAxis(y, _lower_y, _upper_y, "y");
}

} // namespace velm
