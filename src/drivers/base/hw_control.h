#ifndef DRIVERS_BASE_HW_CONTROL_H
#define DRIVERS_BASE_HW_CONTROL_H

#include "velm_error.h"
#include "velm_export.h"

#include <wx/string.h>

namespace velm {

class VELM_BaseControl;

// Failures of the hardware. A driver reports every failure by throwing the class of the device, or
// VELM_HWError itself from the driver object; nothing else may cross from a driver into the library.
class VELM_API VELM_HWError : public VELM_Error {
  public:
    using VELM_Error::VELM_Error;
    ~VELM_HWError() override;
};

class VELM_API VELM_BaseControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_BaseControlError() override;
};

class VELM_API VELM_CameraControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_CameraControlError() override;
};

class VELM_API VELM_ZDriveControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_ZDriveControlError() override;
};

class VELM_API VELM_StageControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_StageControlError() override;
};

class VELM_API VELM_ShutterControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_ShutterControlError() override;
};

class VELM_API VELM_FilterControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_FilterControlError() override;
};

class VELM_API VELM_MicroscopeBodyControlError : public VELM_HWError {
  public:
    using VELM_HWError::VELM_HWError;
    ~VELM_MicroscopeBodyControlError() override;
};

// Switches off a software limit of the stage or the Z drive: the 32-bit pattern 0x80000000.
constexpr long NO_LIMIT = -2147483647L - 1L;

// One loaded driver's connection to its hardware, shared by all controls of its package, which owns it.
// Deleting it closes the connection.
class VELM_API VELM_HWDriver {
  public:
    VELM_HWDriver() = default;
    virtual ~VELM_HWDriver();
    VELM_HWDriver(VELM_HWDriver const &) = delete;
    VELM_HWDriver & operator=(VELM_HWDriver const &) = delete;

    // One line about driver and hardware, for the log.
    virtual wxString GetInfo() = 0;

    // Opens the connection. Throws VELM_HWError or a class derived from it.
    virtual void InitDriver() = 0;

    // Both are set by the package: the name right after creation, the flag once InitDriver has returned.
    wxString _name;
    bool _initialized = false;
};

// Root of the device controls.
//
// Building a control touches no hardware; Init does, and Close ends it. All operations are called on one
// thread, and waits are loops on IsMoving or GetStatus, which must answer from any state.
class VELM_API VELM_HWControl {
  public:
    explicit VELM_HWControl(VELM_HWDriver * driver = nullptr) : _driver(driver) {}
    VELM_HWControl(VELM_HWControl const &) = default;
    VELM_HWControl & operator=(VELM_HWControl const &) = default;

    // Doesn't close the hardware.
    virtual ~VELM_HWControl();

    // What this control is, for the log.
    virtual wxString HWInfo() const;

    // Switches the device's own keypads and knobs on and off.
    virtual void EnableUserInteraction(bool enable);

    // Whether the device takes part; a device that can be bypassed overrides it.
    virtual bool IsActive();

    // Starts the hardware, unless it is started. What InitHW throws passes, and leaves the control closed.
    void Init();

    // Stops the hardware, if it is started. What CloseHW throws passes, and leaves the control closed.
    void Close();

    // The driver's own line, or "No driver".
    wxString GetDriverInfo() const;

  protected:
    virtual void InitHW() = 0;
    virtual void CloseHW() = 0;

    friend class VELM_BaseControl;

    bool _initialized = false; // between a successful InitHW and the following CloseHW
    VELM_HWDriver * _driver;   // not owned; may be null
};

} // namespace velm

#endif
