#include "drivers/base/hw_control.h"

namespace velm {

VELM_HWError::~VELM_HWError() = default;
VELM_BaseControlError::~VELM_BaseControlError() = default;
VELM_CameraControlError::~VELM_CameraControlError() = default;
VELM_ZDriveControlError::~VELM_ZDriveControlError() = default;
VELM_StageControlError::~VELM_StageControlError() = default;
VELM_ShutterControlError::~VELM_ShutterControlError() = default;
VELM_FilterControlError::~VELM_FilterControlError() = default;
VELM_MicroscopeBodyControlError::~VELM_MicroscopeBodyControlError() = default;

VELM_HWDriver::~VELM_HWDriver() = default;

VELM_HWControl::~VELM_HWControl() = default;

wxString VELM_HWControl::HWInfo() const
{
    return wxString::Format("General HW Control (%s)", GetDriverInfo());
}

void VELM_HWControl::EnableUserInteraction(bool) {}

bool VELM_HWControl::IsActive()
{
    return true;
}

void VELM_HWControl::Init()
{
    if (!_initialized) {
        InitHW();
        _initialized = true;
    }
}

void VELM_HWControl::Close()
{
    if (_initialized) {
        // First the flag: a device that failed to close isn't closed again.
        _initialized = false;
        CloseHW();
    }
}

wxString VELM_HWControl::GetDriverInfo() const
{
    return _driver != nullptr ? _driver->GetInfo() : wxString("No driver");
}

} // namespace velm
