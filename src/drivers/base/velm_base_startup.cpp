#include "drivers/base/velm_base.h"

#include "drivers/base/filter.h"
#include "drivers/base/microscope_body.h"
#include "drivers/base/shutter.h"
#include "drivers/base/stage.h"
#include "drivers/base/zdrive.h"
#include "velm_config.h"
#include "velm_db.h"
#include "velm_driver_manager.h"
#include "velm_driver_package.h"
#include "velm_prompt.h"

#include <algorithm>

namespace velm {

// How the start of a device is told.
struct VELM_BaseControl::DeviceWords {
    char const * group; // of the ini file
    char const * banner;
    char const * name; // in sentences
};

namespace {

// Far more than any microscope has; a damaged file must not keep the start busy with complaints.
constexpr int max_combined_drivers = 100;

// The entry, in nanometres per pixel, asked for until it is given; the answer is stored in the file.
int ReadScale(wxFileConfig & config, wxString const & path, wxString const & key, char const * axis)
{
    int scale = config::ReadOr(config, key, -1);
    while (scale <= 0) {
        if (!prompt::IsInteractive()) {
            throw VELM_BaseControlError(wxString::Format(
                "The scale of the images is unknown: entry %s is missing or not above 0 in '%s'.", key,
                path));
        }
        scale = static_cast<int>(
            prompt::AskNumber(wxString::Format("Please enter %s resolution of your system in nm/pixel", axis),
                              key + " = ", "Set " + key, 100, 1, 10000));
        if (scale > 0) {
            config::Write(config, key, scale);
        }
    }
    return scale;
}

bool ReadFlip(wxFileConfig const & config, char const * key, char const * axis)
{
    bool const flip = config::ReadOr(config, key, false);
    VELM_LOG_MESSAGE("System image orientation in %s axis: %d", axis, int{flip});
    return flip;
}

int ReadOrientation(wxFileConfig const & config, char const * key, char const * axis)
{
    int const orientation = config::ReadOr(config, key, 1) > 0 ? 1 : -1;
    VELM_LOG_MESSAGE("Stage orientation in %s axis: %d", axis, orientation);
    return orientation;
}

long ReadTolerance(wxFileConfig const & config, char const * key, long otherwise, char const * device)
{
    long const tolerance = std::max(config::ReadOr(config, key, otherwise), 0L);
    VELM_LOG_MESSAGE("Tolerance of the %s (in 0.1 microns): %ld", device, tolerance);
    return tolerance;
}

} // namespace

void VELM_BaseControl::ReadSystem(wxFileConfig & config, wxString const & path)
{
    _hw_desc = config::ReadOr(config, "HWDesc", "Unknown");
    _mic_res_x = ReadScale(config, path, "MicResX", "X");
    _mic_res_y = ReadScale(config, path, "MicResY", "Y");
    _mic_flip_x = ReadFlip(config, "MicFlipX", "x");
    _mic_flip_y = ReadFlip(config, "MicFlipY", "y");
    _stage_orientation_x = ReadOrientation(config, "StageOrientationX", "x");
    _stage_orientation_y = ReadOrientation(config, "StageOrientationY", "y");
    _stage_tolerance = ReadTolerance(config, "StageTolerance", 10, "stage");
    _zdrive_tolerance = ReadTolerance(config, "ZDriveTolerance", 2, "ZDrive");
    _spin_disk_time = config::ReadOr(config, "SpinDiskTime", 25000L);
    _no_hw_warning_disabled = config::ReadOr(config, "DisableNoHwWarning", false);
}

template <typename Control, typename General>
void VELM_BaseControl::LoadDevice(wxFileConfig & config, DeviceWords const & words, Control *& device,
                                  Control * (VELM_DriverPackage::*factory)(wxFileConfig &),
                                  General const & general, VELM_DriverManager * manager)
{
    config.SetPath(words.group);
    VELM_LOG_MESSAGE("-------------------- %s ------------------------", words.banner);
    wxString driver_name;
    try {
        VELM_DriverPackage * const package = LoadDriver(config, driver_name, manager);
        if (package != nullptr) {
            device = (package->*factory)(config);
        } else if (driver_name == "General") {
            device = general();
        }
    } catch (std::exception const & error) {
        VELM_LOG_ERROR("Exception: %s", detail::ExceptionText(error));
    }
    if (device == nullptr) {
        _serious_errors = true;
        VELM_LOG_MESSAGE("%s not available.", words.name);
    } else {
        VELM_LOG_MESSAGE("%s control class '%s' created.", words.name, driver_name);
    }
}

VELM_BaseControl::VELM_BaseControl(wxString const & path, VELM_Database const * db,
                                   VELM_DriverManager * manager)
    : _db(db)
{
    wxASSERT(db);
    VELM_LOG_MESSAGE("=============== Driver Initialization ===============");
    config::DescriptionFile config(path, config::Expansion::On);
    ReadSystem(config, path);

    auto const load = [&](DeviceWords const & words, auto *& device, auto factory, auto const & general) {
        LoadDevice(config, words, device, factory, general, manager);
    };
    auto const none = [] { return nullptr; };
    auto const general_body = [&] {
        wxString const model = config::ReadOr(config, "Model", "General microscope body");
        return new VELM_MicroscopeBodyControl(model, db->GetObjectiveList(), nullptr);
    };
    using Package = VELM_DriverPackage;
    load({"/Camera", "Camera", "Camera"}, _camera, &Package::CreateCameraControl, none);
    load({"/ZDrive", "ZDrive", "ZDrive"}, _zdrive, &Package::CreateZDriveControl, none);
    load({"/Stage", "Stage", "Stage"}, _stage, &Package::CreateStageControl, none);
    load({"/Shutter", "Shutter", "Shutter"}, _shutter, &Package::CreateShutterControl, none);
    load({"/ExFilter", "Excitation Filters", "Excitation filters"}, _ex_filter,
         &Package::CreateExFilterControl, none);
    load({"/EmFilter", "Emission Filters", "Emission filters"}, _em_filter, &Package::CreateEmFilterControl,
         none);
    load({"/MicroscopeBody", "Microscope Body", "Microscope body"}, _microscope_body,
         &Package::CreateMicroscopeBodyControl, general_body);

    if (!_serious_errors) {
        VELM_LOG_MESSAGE("All HW drivers successfully loaded.");
    } else if (_no_hw_warning_disabled) {
        VELM_LOG_MESSAGE("No hardware available.");
    } else {
        VELM_LOG_ERROR("There were serious errors!.");
    }
}

VELM_DriverPackage * VELM_BaseControl::LoadDriver(wxFileConfig & config, wxString & name,
                                                  VELM_DriverManager * manager)
{
    name = "None";
    VELM_LOG_MESSAGE("Loading driver...");
    wxString const driver = config::ReadOr(config, "Driver", "None");
    if (driver == "None") {
        VELM_LOG_MESSAGE("Driver: None.");
        return nullptr;
    }
    if (driver == "Combo") {
        VELM_LOG_MESSAGE("Combo driver recognized");
        return LoadComboDriver(config, name, manager);
    }
    return FindDriverPackage(config, driver, name, manager);
}

VELM_DriverPackage * VELM_BaseControl::LoadComboDriver(wxFileConfig & config, wxString & name,
                                                       VELM_DriverManager * manager)
{
    auto const section = config::Read<wxString>(config, "Section");
    if (!section) {
        VELM_LOG_ERROR("Mandatory parameter 'Section' is missing!");
        return nullptr;
    }
    VELM_LOG_MESSAGE("Section: %s", *section);
    auto const num_drivers = config::Read<int>(config, "NumDrvs");
    if (!num_drivers) {
        VELM_LOG_ERROR("Mandatory parameter 'NumDrvs' is missing!");
        return nullptr;
    }
    VELM_LOG_MESSAGE("NumDrvs: %d", *num_drivers);
    if (*num_drivers < 2) {
        VELM_LOG_ERROR("Combo driver requires at least two drivers!");
        return nullptr;
    }

    if (*num_drivers > max_combined_drivers) {
        VELM_LOG_ERROR("Combo driver allows at most %d drivers!", max_combined_drivers);
        return nullptr;
    }

    // A missing part doesn't end the loop: all that is wrong with the combination is told at once.
    wxString const group = config.GetPath();
    bool good = true;
    wxString part;
    for (int i = 1; i <= *num_drivers; ++i) {
        config.SetPath(group);
        wxString const key = wxString::Format("Driver%d", i);
        if (auto const given = config::Read<wxString>(config, key)) {
            part = *given;
        } else {
            VELM_LOG_ERROR("Mandatory parameter '%s' is missing!", key);
            good = false;
        }
        VELM_LOG_MESSAGE("Loading %s...", part);
        if (FindDriverPackage(config, part, name, manager) == nullptr && name != "General") {
            good = false;
        }
    }
    if (!good) {
        VELM_LOG_ERROR("Loading of the combo driver failed!");
        return nullptr;
    }
    VELM_LOG_MESSAGE("Loading combo driver...");
    return FindDriverPackage(config, *section, name, manager);
}

VELM_DriverPackage * VELM_BaseControl::FindDriverPackage(wxFileConfig & config, wxString const & section,
                                                         wxString & name, VELM_DriverManager * manager)
{
    VELM_LOG_MESSAGE("Driver: %s", section);
    wxString const group = "/" + section;
    if (!config.HasGroup(group)) {
        VELM_LOG_ERROR("Driver section [%s] is not present in ini file (needed by section '%s').", section,
                       config.GetPath());
        return nullptr;
    }
    config.SetPath(group);
    name = config::ReadOr(config, "Name", "None");
    VELM_LOG_MESSAGE("Name: %s", name);
    if (name == "General") {
        return nullptr;
    }
    VELM_DriverPackage * const package = manager->GetPackage(name);
    if (package == nullptr) {
        VELM_LOG_ERROR("Driver '%s' not supported.", name);
        return nullptr;
    }
    if (package->IsDriverReady()) {
        VELM_LOG_MESSAGE("Driver is already loaded in memory.");
        return package;
    }
    return package->CreateAndInitDriver(_db, config) ? package : nullptr;
}

} // namespace velm
