#include "velm_camset_reader.h"

#include "drivers/base/general_camera_setting.h"
#include "velm_config.h"
#include "velm_driver_manager.h"
#include "velm_driver_package.h"

namespace velm {

bool VELM_CameraSetting_Reader::Load(wxFileConfig & config, VELM_CameraSetting ** setting)
{
    delete *setting;
    *setting = nullptr;
    if (!config.HasGroup("CameraSetting")) {
        return LoadCameraSetting(config, setting);
    }
    config::GroupScope const group(config, "CameraSetting");
    return LoadCameraSetting(config, setting);
}

namespace {

VELM_CameraSetting * NewSetting(wxString const & driver_name)
{
    VELM_DriverManager const * const manager = VELM_DriverManager::GetInstance();
    VELM_DriverPackage * const package = manager != nullptr ? manager->GetPackage(driver_name) : nullptr;
    if (package != nullptr) {
        return package->CreateCameraSetting();
    }
    return new VELM_GeneralCameraSetting("None", 1, 1, -1, -1, -1, -1, 0, 16, 8, 0, 0);
}

} // namespace

bool VELM_CameraSetting_Reader::LoadCameraSetting(wxFileConfig & config, VELM_CameraSetting ** setting)
{
    try {
        auto const driver_name = config::Read<wxString>(config, "DRIVER");
        // Older records name the class of the setting in place of the driver.
        if (!driver_name && !config::Read<wxString>(config, "CSTYPE")) {
            return true;
        }
        *setting = NewSetting(driver_name.value_or(""));
        if (*setting == nullptr || (*setting)->LoadCameraSetting(config)) {
            return true;
        }
        VELM_LOG_ERROR("%s: Loading of camera setting failed", VELM_FUNCTION);
    } catch (std::exception const & error) {
        VELM_LOG_ERROR("%s: Exception (%s) caught while trying to load camera setting", VELM_FUNCTION,
                       detail::ExceptionText(error));
    }
    return false;
}

} // namespace velm
