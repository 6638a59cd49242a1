#ifndef SIM_PACKAGE_H
#define SIM_PACKAGE_H

#include "drivers/base/hw_control.h"
#include "sim_machine.h"
#include "velm_driver_package.h"

#include <vector>

namespace velm::sim {

// The connection to the simulated microscope: it holds the machine that all controls share.
class SimDriver : public VELM_HWDriver {
  public:
    explicit SimDriver(SimConfig const & config);
    ~SimDriver() override;

    wxString GetInfo() override;

    // There is nothing to connect to.
    void InitDriver() override;

    Machine & GetMachine() { return _machine; }

  private:
    Machine _machine;
};

// The driver package "Simulated microscope": it serves all seven devices from one driver.
class SimPackage : public VELM_DriverPackage {
  public:
    void CreateDriver(VELM_Database const * db, wxFileConfig & config) override;
    bool IsDriverReady() override;
    wxString GetName() override;
    VELM_CameraControl * CreateCameraControl(wxFileConfig & config) override;
    VELM_ZDriveControl * CreateZDriveControl(wxFileConfig & config) override;
    VELM_StageControl * CreateStageControl(wxFileConfig & config) override;
    VELM_ShutterControl * CreateShutterControl(wxFileConfig & config) override;
    VELM_FilterControl * CreateExFilterControl(wxFileConfig & config) override;
    VELM_FilterControl * CreateEmFilterControl(wxFileConfig & config) override;
    VELM_MicroscopeBodyControl * CreateMicroscopeBodyControl(wxFileConfig & config) override;
    VELM_CameraSetting * CreateCameraSetting() override;

  private:
    // The machine. Throws VELM_HWError when there is no driver.
    Machine & GetMachine() const;

    VELM_Database const * _db = nullptr; // whose list of objectives the body keeps
};

} // namespace velm::sim

#endif
