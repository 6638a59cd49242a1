#include "drivers/base/shutter.h"

namespace velm {

VELM_ShutterControl::VELM_ShutterControl(VELM_HWDriver * driver) : VELM_HWControl(driver) {}

VELM_ShutterControl::~VELM_ShutterControl() = default;

} // namespace velm
