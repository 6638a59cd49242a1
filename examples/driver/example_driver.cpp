// The smallest complete driver: a motor on the focus knob. It serves the Z drive and leaves the other devices
// of the microscope to other drivers. docs/writing-a-driver.md walks through this file.

#include "focus_motor.h"

#include <drivers/base/driver_contract.h>
#include <drivers/base/zdrive.h>

#include <memory>
#include <wx/fileconf.h>

namespace {

// The motor makes ten steps in a micron's tenth.
long const steps_per_unit = 10;

// The connection. One object serves all devices of the package; this driver has just one device.
class ExampleDriver : public velm::VELM_HWDriver {
  public:
    ExampleDriver(wxString const & port, double speed) : _port(port), _speed(speed) {}

    wxString GetInfo() override { return "Example focus motor on port '" + _port + "'"; }

    void InitDriver() override
    {
        try {
            _motor = std::make_unique<FocusMotor>(std::string(_port.utf8_str()), _speed * steps_per_unit);
        } catch (std::exception const & error) {
            // The vendor's own exceptions stay in here.
            throw velm::VELM_HWError(wxString::Format("Example focus motor: %s", error.what()));
        }
    }

    // Null before InitDriver.
    FocusMotor & GetMotor() { return *_motor; }

  private:
    wxString _port;
    double _speed; // tenths of a micron per second
    std::unique_ptr<FocusMotor> _motor;
};

class ExampleZDrive : public velm::VELM_ZDriveControl {
  public:
    ExampleZDrive(long lower, long upper, long calib_offset, ExampleDriver & driver)
        : VELM_ZDriveControl(lower, upper, calib_offset, static_cast<long>(INIT_POS_MIDDLE), &driver),
          _example(driver)
    {
    }

    wxString HWInfo() const override
    {
        return wxString::Format("Example Z drive, range %ld to %ld (%s)", _hw_lower, _hw_upper,
                                GetDriverInfo());
    }

    bool IsMoving() override { return _example.GetMotor().IsRunning(); }

  protected:
    void InitHW() override
    {
        _example.GetMotor().PowerOn();
        MoveToInitPos();
    }

    void CloseHW() override { _example.GetMotor().PowerOff(); }

  private:
    void Move(long pos) override
    {
        try {
            _example.GetMotor().GoTo(pos * steps_per_unit);
        } catch (std::exception const & error) {
            throw velm::VELM_ZDriveControlError(wxString::Format("Example Z drive: %s", error.what()));
        }
    }

    void MoveRel(long step) override { Move(ReadPos() + step); }

    long ReadPos() override { return _example.GetMotor().GetSteps() / steps_per_unit; }

    ExampleDriver & _example;
};

class ExamplePackage : public velm::VELM_DriverPackage {
  public:
    wxString GetName() override { return "Example"; }

    // The path of the configuration is this driver's section of the hardware ini file.
    void CreateDriver(velm::VELM_Database const *, wxFileConfig & config) override
    {
        _driver = new ExampleDriver(config.Read("Port", ""), config.ReadDouble("Speed", 1000.0));
    }

    bool IsDriverReady() override { return _driver != nullptr && _driver->_initialized; }

    velm::VELM_ZDriveControl * CreateZDriveControl(wxFileConfig & config) override
    {
        return new ExampleZDrive(config.ReadLong("Lower", 0), config.ReadLong("Upper", 100000),
                                 config.ReadLong("CalibOffset", 500), static_cast<ExampleDriver &>(*_driver));
    }

    // Null: not served.
    velm::VELM_CameraControl * CreateCameraControl(wxFileConfig &) override { return nullptr; }
    velm::VELM_StageControl * CreateStageControl(wxFileConfig &) override { return nullptr; }
    velm::VELM_ShutterControl * CreateShutterControl(wxFileConfig &) override { return nullptr; }
    velm::VELM_FilterControl * CreateExFilterControl(wxFileConfig &) override { return nullptr; }
    velm::VELM_FilterControl * CreateEmFilterControl(wxFileConfig &) override { return nullptr; }
    velm::VELM_MicroscopeBodyControl * CreateMicroscopeBodyControl(wxFileConfig &) override
    {
        return nullptr;
    }
    velm::VELM_CameraSetting * CreateCameraSetting() override { return nullptr; }
};

} // namespace

VELM_DRIVER_ENTRY(ExamplePackage)
