#include "velm_driver_package.h"

#include "drivers/base/hw_control.h"
#include "velm_log_macros.h"

namespace velm {

VELM_DriverPackage::~VELM_DriverPackage()
{
    delete _driver;
}

bool VELM_DriverPackage::CreateAndInitDriver(VELM_Database const * db, wxFileConfig & config)
{
    if (_created) {
        if (IsDriverReady()) {
            VELM_LOG_MESSAGE("%s: Driver already created and initialized.", VELM_FUNCTION);
            return true;
        }
        VELM_LOG_ERROR("Driver does not work. Previous attempt to initialize the driver failed.");
        return false;
    }
    _created = true;
    VELM_LOG_MESSAGE("Building '%s' driver...", GetName());
    try {
        CreateDriver(db, config);
        if (_driver == nullptr) {
            throw VELM_HWError("No driver object.");
        }
        _driver->_name = GetName();
        VELM_LOG_MESSAGE("Driver info: %s", _driver->GetInfo());
    } catch (VELM_HWError const & error) {
        VELM_LOG_ERROR("HW error: %s", error.GetMessage());
        VELM_LOG_ERROR("Creating HWDriver for '%s' failed.", GetName());
        // Not deleted: what a failed creation left behind may be half made.
        _driver = nullptr;
        return false;
    }
    VELM_LOG_MESSAGE("Driver was successfully created. Initializing...");
    return InitCreatedDriver();
}

bool VELM_DriverPackage::InitCreatedDriver()
{
    try {
        if (!_driver->_initialized) {
            _driver->InitDriver();
            _driver->_initialized = true;
        }
    } catch (VELM_HWError const & error) {
        VELM_LOG_ERROR("HW error: %s", error.GetMessage());
        delete _driver;
        _driver = nullptr;
        VELM_LOG_MESSAGE("Driver does not work!");
        return false;
    }
    VELM_LOG_MESSAGE("Success.");
    return true;
}

} // namespace velm
