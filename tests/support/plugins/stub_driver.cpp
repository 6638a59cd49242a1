// A driver library of the stub rig. VELM_STUB_NAME: the name that its package gives itself.

#include "drivers/base/driver_contract.h"
#include "support/stub_rig.h"

VELM_DRIVER_ENTRY(velm::test::StubPackage(VELM_STUB_NAME))
