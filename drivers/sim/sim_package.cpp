#include "sim_package.h"

#include "sim_camera.h"
#include "sim_camera_setting.h"
#include "sim_devices.h"
#include "sim_truth.h"
#include "velm_db.h"

namespace velm::sim {

SimDriver::SimDriver(SimConfig const & config) : _machine(config)
{
    SetCurrentMachine(_machine);
}

SimDriver::~SimDriver()
{
    ForgetMachine(_machine);
}

wxString SimDriver::GetInfo()
{
    SimConfig const & config = _machine.Config();
    return wxString::Format("%s, seed %lu, time scale %s", DRIVER_NAME, config.seed,
                            wxString::FromCDouble(config.time_scale));
}

void SimDriver::InitDriver() {}

void SimPackage::CreateDriver(VELM_Database const * db, wxFileConfig & config)
{
    if (db == nullptr) {
        throw VELM_HWError("The simulated microscope needs the catalogue of filters and objectives");
    }
    _db = db;
    _driver = new SimDriver(ReadConfig(config, *db));
}

bool SimPackage::IsDriverReady()
{
    return _driver != nullptr && _driver->_initialized;
}

wxString SimPackage::GetName()
{
    return DRIVER_NAME;
}

Machine & SimPackage::GetMachine() const
{
    if (_driver == nullptr) {
        throw VELM_HWError("The simulated microscope has not been created");
    }
    return static_cast<SimDriver *>(_driver)->GetMachine();
}

VELM_CameraControl * SimPackage::CreateCameraControl(wxFileConfig &)
{
    return new SimCamera(GetMachine(), _driver);
}

VELM_ZDriveControl * SimPackage::CreateZDriveControl(wxFileConfig &)
{
    return new SimZDrive(GetMachine(), _driver);
}

VELM_StageControl * SimPackage::CreateStageControl(wxFileConfig &)
{
    return new SimStage(GetMachine(), _driver);
}

VELM_ShutterControl * SimPackage::CreateShutterControl(wxFileConfig &)
{
    return new SimShutter(GetMachine(), _driver);
}

VELM_FilterControl * SimPackage::CreateExFilterControl(wxFileConfig &)
{
    return new SimFilter(GetMachine(), Device::EX_FILTER, _driver);
}

VELM_FilterControl * SimPackage::CreateEmFilterControl(wxFileConfig &)
{
    return new SimFilter(GetMachine(), Device::EM_FILTER, _driver);
}

VELM_MicroscopeBodyControl * SimPackage::CreateMicroscopeBodyControl(wxFileConfig &)
{
    return new SimBody(GetMachine(), _db->GetObjectiveList(), _driver);
}

VELM_CameraSetting * SimPackage::CreateCameraSetting()
{
    return new SimCameraSetting(CameraParams());
}

} // namespace velm::sim
