// A driver library that needs a function which nobody has.

#include "velm_driver_package.h"

velm::VELM_DriverPackage * FunctionThatNobodyHas();

extern "C" __attribute__((visibility("default"))) velm::VELM_DriverPackage * velm_driver_entry()
{
    return FunctionThatNobodyHas();
}
