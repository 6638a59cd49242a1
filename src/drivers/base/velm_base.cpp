#include "drivers/base/velm_base.h"

#include "drivers/base/filter.h"
#include "drivers/base/microscope_body.h"
#include "drivers/base/shutter.h"
#include "drivers/base/stage.h"
#include "drivers/base/zdrive.h"
#include "velm_log_macros.h"
#include "velm_prompt.h"

namespace velm {

VELM_BaseControl::~VELM_BaseControl()
{
    CloseHW();
    DeleteMemory();
}

std::array<VELM_HWControl *, 7> VELM_BaseControl::GetDevices() const
{
    return {_camera, _zdrive, _stage, _shutter, _ex_filter, _em_filter, _microscope_body};
}

wxString VELM_BaseControl::HWInfo() const
{
    static std::array<char const *, 7> const labels{
        "\nCamera: ",     "\nZdrive: ",   "\nStage: ",          "\nShutter: ",
        "\nExcitation: ", "\nEmission: ", "\nMicroscope body: "};
    auto const devices = GetDevices();
    wxString info;
    info << "Base control of the microscope\nDescription: " << _hw_desc;
    for (std::size_t i = 0; i < devices.size(); ++i) {
        info << labels[i] << devices[i]->HWInfo();
    }
    return info;
}

namespace {

// A failure of one device's keypad is told to the user and no reason to leave the others as they are.
template <typename Error>
void EnableDevice(VELM_HWControl * device, bool enable)
{
    if (device == nullptr) {
        return;
    }
    try {
        device->EnableUserInteraction(enable);
    } catch (Error const & error) {
        prompt::ShowLogged(error.GetMessage());
        VELM_LOG_ERROR("%s", error.GetMessage());
    }
}

} // namespace

void VELM_BaseControl::EnableUserInteraction(bool enable)
{
    EnableDevice<VELM_CameraControlError>(_camera, enable);
    EnableDevice<VELM_ZDriveControlError>(_zdrive, enable);
    EnableDevice<VELM_StageControlError>(_stage, enable);
    EnableDevice<VELM_ShutterControlError>(_shutter, enable);
    EnableDevice<VELM_FilterControlError>(_ex_filter, enable);
    EnableDevice<VELM_FilterControlError>(_em_filter, enable);
    EnableDevice<VELM_MicroscopeBodyControlError>(_microscope_body, enable);
}

void VELM_BaseControl::InitHW()
{
    if (_serious_errors) {
        VELM_LOG_ERROR("======== HW does not work =========");
        throw VELM_BaseControlError("Serious errors occurred during driver initialization.");
    }
    VELM_LOG_MESSAGE("=============== HW Initialization ==================");
    static std::array<char const *, 7> const names{"Camera",
                                                   "Z drive",
                                                   "Stage",
                                                   "Shutter",
                                                   "Excitation filter exchanger",
                                                   "Emission filter exchanger",
                                                   "Microscope body"};
    auto const devices = GetDevices();
    try {
        for (std::size_t i = 0; i < devices.size(); ++i) {
            if (devices[i] != nullptr) {
                VELM_LOG_MESSAGE("-------------------- %s initialization...", names[i]);
                devices[i]->Init();
                VELM_LOG_MESSAGE("HW info:\n%s\nOK", devices[i]->HWInfo());
            }
        }
    } catch (std::exception const & error) {
        VELM_LOG_ERROR("%s", detail::ExceptionText(error));
        _serious_errors = true;
    } catch (...) {
        VELM_LOG_ERROR("Unknown exception");
        _serious_errors = true;
    }
    if (_serious_errors) {
        VELM_LOG_ERROR("HW does not work!.");
        throw VELM_HWError("HW initialization failed!");
    }
    VELM_LOG_MESSAGE("HW successufully initialized and should work.");
}

void VELM_BaseControl::CloseHW()
{
    for (VELM_HWControl * const device : GetDevices()) {
        CloseControl(device);
    }
}

void VELM_BaseControl::CloseControl(VELM_HWControl * control)
{
    if (control == nullptr || !control->_initialized) {
        return;
    }
    control->_initialized = false;
    try {
        control->CloseHW();
    } catch (VELM_HWError const & error) {
        VELM_LOG_ERROR("HW error: %s", error.GetMessage());
    } catch (...) {
        VELM_LOG_ERROR("%s: Unknown exception!", VELM_FUNCTION);
    }
}

void VELM_BaseControl::DeleteMemory()
{
    for (VELM_HWControl * const device : GetDevices()) {
        delete device;
    }
}

} // namespace velm
