#include "drivers/base/filter.h"

namespace velm {

VELM_FilterControl::VELM_FilterControl(VELM_HWDriver * driver) : VELM_HWControl(driver) {}

VELM_FilterControl::~VELM_FilterControl() = default;

} // namespace velm
