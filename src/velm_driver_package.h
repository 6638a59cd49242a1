#ifndef VELM_DRIVER_PACKAGE_H
#define VELM_DRIVER_PACKAGE_H

#include "velm_export.h"

#include <wx/string.h>

class wxFileConfig;

namespace velm {

class VELM_CameraControl;
class VELM_CameraSetting;
class VELM_Database;
class VELM_FilterControl;
class VELM_HWDriver;
class VELM_MicroscopeBodyControl;
class VELM_ShutterControl;
class VELM_StageControl;
class VELM_ZDriveControl;

// What a driver library gives: a factory of its device controls, and the owner of its one connection.
//
// Each factory gets the hardware ini file with the path on the driver's section; the caller owns the result.
// A factory of a device that the driver doesn't serve returns null.
class VELM_API VELM_DriverPackage {
  public:
    VELM_DriverPackage() = default;
    VELM_DriverPackage(VELM_DriverPackage const &) = delete;
    VELM_DriverPackage & operator=(VELM_DriverPackage const &) = delete;

    // Deletes the driver object.
    virtual ~VELM_DriverPackage();

    // Makes the VELM_HWDriver and stores it in _driver. Throws VELM_HWError.
    virtual void CreateDriver(VELM_Database const * db, wxFileConfig & config) = 0;

    // Whether _driver exists and is initialized.
    virtual bool IsDriverReady() = 0;

    // The driver's name, the key of the whole system: never empty, always the same.
    virtual wxString GetName() = 0;

    virtual VELM_CameraControl * CreateCameraControl(wxFileConfig & config) = 0;
    virtual VELM_ZDriveControl * CreateZDriveControl(wxFileConfig & config) = 0;
    virtual VELM_StageControl * CreateStageControl(wxFileConfig & config) = 0;
    virtual VELM_ShutterControl * CreateShutterControl(wxFileConfig & config) = 0;
    virtual VELM_FilterControl * CreateExFilterControl(wxFileConfig & config) = 0;
    virtual VELM_FilterControl * CreateEmFilterControl(wxFileConfig & config) = 0;
    virtual VELM_MicroscopeBodyControl * CreateMicroscopeBodyControl(wxFileConfig & config) = 0;

    // A new setting of the driver's own class; works without the driver being created.
    virtual VELM_CameraSetting * CreateCameraSetting() = 0;

    // Creates the driver and opens its connection, once in a run: after a failure it is never tried again.
    // False and error lines on failure.
    bool CreateAndInitDriver(VELM_Database const * db, wxFileConfig & config);

  protected:
    VELM_HWDriver * _driver = nullptr; // owned; null before creation and after a failure

  private:
    bool InitCreatedDriver();

    bool _created = false; // from the first attempt on
};

} // namespace velm

#endif
