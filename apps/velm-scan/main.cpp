// velm-scan: takes the stacks of a plan at every coordinate of a depository.

#include "acquisition/calibrator.h"
#include "acquisition/depository_lock.h"
#include "acquisition/focuser.h"
#include "acquisition/installation.h"
#include "acquisition/interruption.h"
#include "acquisition/program.h"
#include "acquisition/progress.h"
#include "acquisition/scanner.h"
#include "acquisition/watchdog.h"
#include "drivers/base/velm_base.h"
#include "export/ome_tiff.h"
#include "velm-scan/mix.h"
#include "velm-scan/options.h"
#include "velm-scan/overview.h"
#include "velm_depository.h"
#include "velm_log_macros.h"
#include "velm_prefs.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <unistd.h>
#include <wx/fileconf.h>
#include <wx/filename.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

namespace velm::scan {

namespace {

constexpr int status_done = 0;
constexpr int status_failed = 1;
constexpr int status_usage = 2;
constexpr int status_interrupted = 130;

using namespace acquisition;

// The simulated rig: installed beside the program.
wxString DefaultIni()
{
    wxFileName ini(wxFileName(wxStandardPaths::Get().GetExecutablePath()).GetPath() + "/../" VELM_RIG_SUBDIR
                                                                                      "/velm.ini");
    ini.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_ABSOLUTE);
    return ini.GetFullPath();
}

wxString IniOf(Options const & options)
{
    return options.ini.empty() ? DefaultIni() : wxString::FromUTF8(options.ini);
}

wxString DirectoryOf(Options const & options)
{
    wxFileName directory = wxFileName::DirName(wxString::FromUTF8(options.depository));
    directory.MakeAbsolute();
    return directory.GetPath();
}

// Whether the frames that are to be corrected by calibration images can be.
void CheckCalibrations(Options const & options, ScanPlan const & plan, VELM_Depository & depository)
{
    if (options.calibrate) {
        VELM_ChannelList const & channels = depository.GetChannelListRef();
        if (std::none_of(plan.channel_ids.begin(), plan.channel_ids.end(),
                         [&](long id) { return channels.GetById(id).UseCalibration(); })) {
            Log::Warning(
                "No channel of this scan is corrected by a calibration image; --calibrate does nothing.");
        }
        return;
    }
    std::vector<long> const missing = ChannelsWithoutImage(plan.channel_ids, depository);
    if (!missing.empty()) {
        throw PlanError("Channel " + std::to_string(missing.front()) +
                        " is to be corrected by a calibration image and has none that fits its camera "
                        "setting; capture one with --calibrate.");
    }
}

// Coordinates and channels of the run, from the depository, or made for it and stored in it once it is clear
// that the run is possible.
ScanPlan Prepare(Options const & options, Installation & installation, ConfirmedDevices & devices,
                 VELM_Depository & depository)
{
    VELM_BaseControl & base = installation.GetBase();
    if (options.grid) {
        MakeGrid(*options.grid, devices.ReadPlace(), base, depository.GetCoordListRef());
    }
    if (depository.GetCoordListRef().IsEmpty()) {
        throw PlanError("The depository has no coordinates; make some with --grid.");
    }
    bool const makes_channels = depository.GetChannelListRef().IsEmpty();
    if (makes_channels) {
        MakeChannels(base, installation.GetDatabase(), depository, options.calibrate.has_value());
    }
    ScanPlan plan{ChooseChannels(options.channels, base, depository), options.slices, options.step,
                  options.autofocus};
    if (options.autofocus != 0) {
        ChooseChannels({options.autofocus}, base, depository);
    }
    CheckCalibrations(options, plan, depository);
    CheckIds(depository.GetCoordListRef().GetCount(), depository.FOV_GetLastID(), depository.FOV_GetMaxId());
    ScanNeeds const needs =
        NeedsOf(plan, base, depository, VELM_Preferences::GetInstance()->GetEnableCompression());
    CheckRoom(needs.disk_bytes, depository.GetDir());
    CheckMemory(needs.memory_bytes);
    if (options.grid && !depository.SaveCoords()) {
        throw StoreError("The coordinates could not be stored.");
    }
    if (makes_channels && !depository.SaveChannels(nullptr)) {
        throw StoreError("The channels could not be stored.");
    }
    return plan;
}

void Calibrate(Options const & options, ScanPlan const & plan, Calibrator & calibrator,
               ConfirmedDevices & devices, VELM_Depository & depository)
{
    std::vector<long> const missing = ChannelsWithoutImage(plan.channel_ids, depository);
    if (!missing.empty()) {
        VELM_Coord const & first = depository.GetCoordListRef()[0];
        devices.SetLightPathToCamera();
        devices.GoTo(first, first.GetZDrivePosition());
        calibrator.Run(missing, *options.calibrate);
    }
}

// How the pictures of a rig lie on its stage.
Orientation OrientationOf(wxString const & hardware_ini)
{
    wxFileConfig const config(wxEmptyString, wxEmptyString, hardware_ini, wxEmptyString,
                              wxCONFIG_USE_RELATIVE_PATH);
    return {config.ReadLong("StageOrientationX", 1) > 0 ? 1 : -1,
            config.ReadLong("StageOrientationY", 1) > 0 ? 1 : -1};
}

void OpenForWriting(VELM_Depository & depository)
{
    if (depository.Exist() && !depository.IsValid()) {
        throw StoreError("The directory " + depository.GetDir().utf8_string() +
                         " holds something else than a depository.");
    }
    if (!depository.Open()) {
        throw StoreError("The depository " + depository.GetDir().utf8_string() +
                         " could not be opened or made; its parent has to exist and to be writable.");
    }
    if (depository.IsReadOnly()) {
        throw StoreError("The depository " + depository.GetDir().utf8_string() + " cannot be written to.");
    }
}

void Scan(Options const & options, Program & program)
{
    Interruption const interruption;
    if (options.seed) {
        wxSetEnv("VELM_SIM_SEED", std::to_string(*options.seed));
    }
    Installation installation(IniOf(options));
    VELM_Depository depository(DirectoryOf(options), &installation.GetDatabase());
    DepositoryLock const lock(depository.GetDir());
    OpenForWriting(depository);
    program.LogToFile(depository.GetLogFileName());
    installation.StartMicroscope();
    Interruption::Check();

    VELM_BaseControl & base = installation.GetBase();
    Deadlines const deadlines = ReadDeadlines(installation.GetHardwareIni());
    ConfirmedDevices devices(base, deadlines);
    Watchdog watchdog(base, depository.GetLogFileName());
    devices.CloseShutter(); // also where the run goes no further
    ScanPlan const plan = Prepare(options, installation, devices, depository);
    long const fovs = depository.GetCoordListRef().GetCount();
    Progress progress(stdout, isatty(STDOUT_FILENO) != 0,
                      fovs * plan.slices * static_cast<long>(plan.channel_ids.size()), fovs);
    VELM_Database & db = installation.GetDatabase();
    Calibrator calibrator(base, db, depository, devices, watchdog, deadlines.calibration);
    Calibrate(options, plan, calibrator, devices, depository);
    long const left_out =
        Scanner(base, db, depository, devices, watchdog, deadlines.autofocus, progress).Run(plan);
    if (left_out > 0) {
        throw FocusLost(std::to_string(left_out) + " of " + std::to_string(fovs) +
                        " places were left out, since their focus was not found.");
    }
}

// An existing depository, opened.
class StoredDepository {
  public:
    explicit StoredDepository(Options const & options)
        : _installation(IniOf(options)), _depository(DirectoryOf(options), &_installation.GetDatabase())
    {
        if (!_depository.IsValid() || !_depository.Open()) {
            throw StoreError(options.depository + " is not a depository.");
        }
    }

    Installation & GetInstallation() { return _installation; }
    VELM_Depository & Get() { return _depository; }

  private:
    Installation _installation;
    VELM_Depository _depository;
};

void Draw(Options const & options)
{
    StoredDepository stored(options);
    DrawOverview(stored.Get(), OrientationOf(stored.GetInstallation().GetHardwareIni()),
                 wxString::FromUTF8(options.out));
}

void Export(Options const & options)
{
    Interruption const interruption;
    StoredDepository stored(options);
    ome::ExportOptions export_options;
    export_options.channels = options.channels;
    bool const terminal = isatty(STDOUT_FILENO) != 0;
    std::string const fov = "FOV " + std::to_string(options.fov);
    std::optional<ProgressLine> line;
    ome::ExportFov(stored.Get(), options.fov, wxString::FromUTF8(options.out), export_options,
                   [&](long, long slices) {
                       Interruption::Check();
                       if (terminal) {
                           (line ? *line : line.emplace(stdout, "slice", slices)).Advance(fov);
                       }
                   });
    if (!terminal) {
        std::puts((fov + " exported").c_str());
    }
}

void Mix(Options const & options)
{
    StoredDepository stored(options);
    DrawMix(stored.Get(), options.fov, options.mix, wxString::FromUTF8(options.out));
}

int Run(Options const & options)
{
    Program program;
    try {
        switch (options.command) {
        case Command::Overview:
            Draw(options);
            break;
        case Command::Export:
            Export(options);
            break;
        case Command::Mix:
            Mix(options);
            break;
        default:
            Scan(options, program);
        }
        return status_done;
    } catch (Interrupted const &) {
        Log::Warning(options.command == Command::Export
                         ? "Interrupted; no file was written."
                         : "Interrupted; every FOV finished so far is whole on disk.");
        return status_interrupted;
    } catch (std::exception const & error) {
        Log::Error(detail::EscapePercent(detail::ExceptionText(error)));
        return status_failed;
    } catch (...) {
        // From a driver that breaks its contract; caught so that the guards of the shutter and of an
        // unfinished FOV do their work.
        Log::Error("The microscope failed: a driver threw something unknown.");
        return status_failed;
    }
}

} // namespace

} // namespace velm::scan

int main(int argc, char ** argv)
{
    using namespace velm::scan;
    try {
        Options const options = ParseOptions({argv, argv + argc});
        switch (options.command) {
        case Command::Help:
            std::fputs(HelpText().c_str(), stdout);
            return status_done;
        case Command::Version:
            std::puts("velm-scan " VELM_VERSION);
            return status_done;
        default:
            return Run(options);
        }
    } catch (UsageError const & error) {
        std::fprintf(stderr, "velm-scan: %s\nTry \"velm-scan --help\".\n", error.what());
        return status_usage;
    }
}
