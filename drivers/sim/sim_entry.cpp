#include "drivers/base/driver_contract.h"
#include "sim_package.h"

VELM_DRIVER_ENTRY(velm::sim::SimPackage)
