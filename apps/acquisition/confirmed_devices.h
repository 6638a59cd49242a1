#ifndef ACQUISITION_CONFIRMED_DEVICES_H
#define ACQUISITION_CONFIRMED_DEVICES_H

#include "velm_coords.h"

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <wx/string.h>

namespace velm {
class VELM_BaseControl;
class VELM_Channel;
class VELM_Database;
class VELM_FrameBuffer;
} // namespace velm

namespace velm::acquisition {

// A device failed or didn't confirm in time; the text names it, for the program's user.
class DeviceFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// How long each device may take before it counts as failed. The camera's time is what it may take beyond the
// exposure; those of focusing and of taking one calibration image are for the whole of it.
struct Deadlines {
    std::chrono::milliseconds stage{30000};
    std::chrono::milliseconds zdrive{15000};
    std::chrono::milliseconds filter{10000};
    std::chrono::milliseconds shutter{5000};
    std::chrono::milliseconds camera{10000};
    std::chrono::milliseconds autofocus{180000};
    std::chrono::milliseconds calibration{600000};
};

// Reads the group "Deadlines" of a hardware ini file: Stage, ZDrive, Filter, Shutter, Camera, AutoFocus and
// Calibration, each in milliseconds; an entry that is missing or not above 0 keeps its default.
Deadlines ReadDeadlines(wxString const & hardware_ini);

// Moves the microscope's devices and returns only when each has confirmed that it is where it was asked to
// be. A device that doesn't in time is asked once more; after that the operation throws a DeviceFailure that
// names the device. What a driver throws becomes one too. Every wait ends early with Interrupted.
class ConfirmedDevices {
  public:
    // Neither is owned.
    ConfirmedDevices(VELM_BaseControl & base, Deadlines const & deadlines);

    // Where stage and Z drive stand, as a full frame.
    VELM_Coord ReadPlace();

    void SetLightPathToCamera();

    // Stage and Z drive to the place of the coordinate, travelling together; z is the logical position.
    void GoTo(VELM_Coord const & coord, long z);

    // The Z drive alone.
    void GoToZ(long z);

    // Both filter exchangers to the channel's filters.
    void SetFilters(VELM_Channel const & channel, VELM_Database const & db);

    void OpenShutter();
    void CloseShutter();

    // The same on the way out after a failure: also when a stop was requested, and never waiting longer than
    // half a second for a shutter that doesn't confirm. What fails is an error in the log.
    void CloseShutterNow() noexcept;

    // On the way out, too: closes the shutter and sends the Z drive to the logical position. What fails is
    // told in the log.
    void Withdraw(long z) noexcept;

    // Takes one frame with the setting in force. A frame that the camera didn't deliver whole is taken once
    // more. Before each exposure stage, Z drive, filters and shutter are read back and have to be where they
    // were asked to be; one that isn't any more is asked once more.
    void Snap(VELM_FrameBuffer & buffer, std::chrono::microseconds exposure);

  private:
    struct Target {
        long stage_x = 0;
        long stage_y = 0;
        long z = 0;
        long ex_filter = 0;
        long em_filter = 0;
    };

    // What is wrong with a device, empty when nothing is.
    using Check = std::function<std::string()>;

    // A device on its way to its target: how it is sent there and how it tells that it has arrived.
    struct Errand {
        char const * device;
        std::chrono::milliseconds deadline;
        std::function<void()> start;
        Check check;
    };

    Errand StageErrand();
    Errand ZDriveErrand();
    Errand ExFilterErrand();
    Errand EmFilterErrand();
    Errand ShutterErrand(bool opened);

    static void Confirm(Errand const & errand);

    // Throws DeviceFailure.
    void TryToCloseShutterNow();

    // For devices that travel side by side: whether the start went through; and the confirmation of one that
    // was started before, which is asked again at once if it wasn't.
    static bool Started(Errand const & errand);
    static void ConfirmStarted(bool started, Errand const & errand);

    // Whether nothing is wrong; a device that fails to answer counts as wrong.
    static bool IsThere(Errand const & errand);

    static void Await(char const * device, std::chrono::milliseconds deadline, Check const & check);

    std::string CheckStage();
    std::string CheckZDrive();
    std::string CheckExFilter();
    std::string CheckEmFilter();
    std::string CheckShutter(bool opened);

    void ConfirmStillThere();
    void Expose(VELM_FrameBuffer & buffer, std::chrono::microseconds exposure);
    void AwaitFrame(std::chrono::milliseconds deadline);
    void AbortQuietly();

    VELM_BaseControl & _base;
    Deadlines _deadlines;
    Target _target; // what was last asked for
};

} // namespace velm::acquisition

#endif
