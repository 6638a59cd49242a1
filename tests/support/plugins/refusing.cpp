// A driver library that finds it has nothing to drive here.

#include "velm_driver_package.h"

extern "C" __attribute__((visibility("default"))) velm::VELM_DriverPackage * velm_driver_entry()
{
    return nullptr;
}
