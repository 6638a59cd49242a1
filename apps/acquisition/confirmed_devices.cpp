#include "acquisition/confirmed_devices.h"

#include "acquisition/interruption.h"
#include "drivers/base/velm_base.h"
#include "velm_channel.h"
#include "velm_db.h"
#include "velm_frame_buffer.h"
#include "velm_log_macros.h"

#include <algorithm>
#include <cstdint>
#include <thread>
#include <wx/fileconf.h>

namespace velm::acquisition {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds poll_interval{1};
constexpr std::chrono::milliseconds way_out_limit{250}; // for each of two attempts to close the shutter

// Runs a call into a driver and gives its failure the device's name.
template <typename Call>
auto Named(char const * device, Call const & call) -> decltype(call())
{
    try {
        return call();
    } catch (VELM_Error const & error) {
        throw DeviceFailure(std::string("The ") + device + " failed: " + error.what());
    }
}

std::string NotConfirmed(char const * device, std::string const & problem)
{
    return std::string("The ") + device + " did not confirm in time: " + problem + ".";
}

// The pixel that marks place i of a buffer as not yet written: a pattern that no camera delivers a stretch
// of.
unsigned short Unwritten(std::size_t i)
{
    return static_cast<unsigned short>((static_cast<std::uint32_t>(i) * 2654435761u) >> 16);
}

void MarkUnwritten(VELM_FrameBuffer & buffer)
{
    unsigned short * const pixels = buffer.GetAddr();
    for (std::size_t i = 0; i < buffer.GetSize(); ++i) {
        pixels[i] = Unwritten(i);
    }
}

// Whether the camera wrote every row to its end: no row holds a stretch of the pattern.
bool IsDelivered(VELM_FrameBuffer const & buffer)
{
    std::size_t const width = buffer.GetSizeX();
    std::size_t const stretch = std::min<std::size_t>(width, 8);
    unsigned short const * const pixels = buffer.GetAddr();
    for (std::size_t row = 0; row < buffer.GetSizeY(); ++row) {
        std::size_t unwritten = 0;
        for (std::size_t i = row * width; i < (row + 1) * width; ++i) {
            unwritten = pixels[i] == Unwritten(i) ? unwritten + 1 : 0;
            if (unwritten == stretch) {
                return false;
            }
        }
    }
    return true;
}

// Runs a step, and after a failure of the device the second form of it; what fails then passes.
template <typename First, typename Again>
void RetryOnce(First const & first, Again const & again)
{
    try {
        first();
    } catch (DeviceFailure const &) {
        Interruption::Check();
        again();
    }
}

std::string Position(long value)
{
    return wxString::Format("%.1f", static_cast<double>(value) / 10.0).utf8_string();
}

std::string CheckFilter(bool moving, long pos, long target)
{
    if (moving) {
        return "it is still moving";
    }
    return pos == target
               ? std::string()
               : "it is at position " + std::to_string(pos) + " instead of " + std::to_string(target);
}

} // namespace

Deadlines ReadDeadlines(wxString const & hardware_ini)
{
    wxFileConfig const config(wxEmptyString, wxEmptyString, hardware_ini, wxEmptyString,
                              wxCONFIG_USE_RELATIVE_PATH);
    Deadlines deadlines;
    auto const read = [&config](char const * key, std::chrono::milliseconds & value) {
        long milliseconds = 0;
        if (config.Read(wxString("/Deadlines/") + key, &milliseconds) && milliseconds > 0) {
            value = std::chrono::milliseconds(milliseconds);
        }
    };
    read("Stage", deadlines.stage);
    read("ZDrive", deadlines.zdrive);
    read("Filter", deadlines.filter);
    read("Shutter", deadlines.shutter);
    read("Camera", deadlines.camera);
    read("AutoFocus", deadlines.autofocus);
    read("Calibration", deadlines.calibration);
    return deadlines;
}

ConfirmedDevices::ConfirmedDevices(VELM_BaseControl & base, Deadlines const & deadlines)
    : _base(base), _deadlines(deadlines)
{
}

void ConfirmedDevices::Await(char const * device, std::chrono::milliseconds deadline, Check const & check)
{
    auto const end = Clock::now() + deadline;
    std::string problem = Named(device, check);
    while (!problem.empty()) {
        Interruption::Check();
        if (Clock::now() > end) {
            throw DeviceFailure(NotConfirmed(device, problem));
        }
        std::this_thread::sleep_for(poll_interval);
        problem = Named(device, check);
    }
}

void ConfirmedDevices::Confirm(Errand const & errand)
{
    auto const attempt = [&] {
        Named(errand.device, errand.start);
        Await(errand.device, errand.deadline, errand.check);
    };
    RetryOnce(attempt, attempt);
}

VELM_Coord ConfirmedDevices::ReadPlace()
{
    VELM_Coord place;
    place.SetFullFrame();
    auto const read = [&] {
        long x = 0;
        long y = 0;
        Named("stage", [&] { _base.Stage_GetCurPos(x, y); });
        place.SetStagePosition(x, y);
        Named("Z drive", [&] { place.SetZDrivePosition(_base.ZDrive_GetCurPos()); });
    };
    RetryOnce(read, read);
    return place;
}

void ConfirmedDevices::SetLightPathToCamera()
{
    auto const set = [this] {
        Named("microscope body", [this] { _base.MicroscopeBody_SetLightPathToCamera(); });
    };
    RetryOnce(set, set);
}

std::string ConfirmedDevices::CheckStage()
{
    if (_base.Stage_IsMoving()) {
        return "it is still moving";
    }
    long x = 0;
    long y = 0;
    _base.Stage_GetCurPos(x, y);
    long const tolerance = _base.GetStageTolerance();
    if (std::abs(x - _target.stage_x) <= tolerance && std::abs(y - _target.stage_y) <= tolerance) {
        return {};
    }
    return "it is at (" + Position(x) + ", " + Position(y) + ") microns instead of (" +
           Position(_target.stage_x) + ", " + Position(_target.stage_y) + ")";
}

std::string ConfirmedDevices::CheckZDrive()
{
    if (_base.ZDrive_IsMoving()) {
        return "it is still moving";
    }
    long const z = _base.ZDrive_GetCurPos();
    if (std::abs(z - _target.z) <= _base.GetZDriveTolerance()) {
        return {};
    }
    return "it is at " + Position(z) + " microns instead of " + Position(_target.z);
}

std::string ConfirmedDevices::CheckExFilter()
{
    return CheckFilter(_base.ExFilter_IsMoving(), _base.ExFilter_GetHWPos(), _target.ex_filter);
}

std::string ConfirmedDevices::CheckEmFilter()
{
    return CheckFilter(_base.EmFilter_IsMoving(), _base.EmFilter_GetHWPos(), _target.em_filter);
}

std::string ConfirmedDevices::CheckShutter(bool opened)
{
    if (_base.Shutter_IsMoving()) {
        return "it is still moving";
    }
    return _base.Shutter_IsOpened() == opened ? "" : opened ? "it is closed" : "it is open";
}

ConfirmedDevices::Errand ConfirmedDevices::StageErrand()
{
    return {"stage", _deadlines.stage, [this] { _base.Stage_SetPos(_target.stage_x, _target.stage_y); },
            [this] { return CheckStage(); }};
}

ConfirmedDevices::Errand ConfirmedDevices::ZDriveErrand()
{
    return {"Z drive", _deadlines.zdrive, [this] { _base.ZDrive_SetPos(_target.z); },
            [this] { return CheckZDrive(); }};
}

ConfirmedDevices::Errand ConfirmedDevices::ExFilterErrand()
{
    return {"excitation filter exchanger", _deadlines.filter,
            [this] { _base.ExFilter_SetPos(_target.ex_filter); }, [this] { return CheckExFilter(); }};
}

ConfirmedDevices::Errand ConfirmedDevices::EmFilterErrand()
{
    return {"emission filter exchanger", _deadlines.filter,
            [this] { _base.EmFilter_SetPos(_target.em_filter); }, [this] { return CheckEmFilter(); }};
}

ConfirmedDevices::Errand ConfirmedDevices::ShutterErrand(bool opened)
{
    return {"shutter", _deadlines.shutter,
            [this, opened] { opened ? _base.Shutter_Open() : _base.Shutter_RequestClose(); },
            [this, opened] { return CheckShutter(opened); }};
}

bool ConfirmedDevices::IsThere(Errand const & errand)
{
    try {
        return errand.check().empty();
    } catch (VELM_Error const &) {
        return false;
    }
}

bool ConfirmedDevices::Started(Errand const & errand)
{
    try {
        errand.start();
        return true;
    } catch (VELM_Error const &) {
        return false;
    }
}

void ConfirmedDevices::ConfirmStarted(bool started, Errand const & errand)
{
    auto const await = [&] { Await(errand.device, errand.deadline, errand.check); };
    auto const ask_again = [&] {
        Named(errand.device, errand.start);
        await();
    };
    if (started) {
        RetryOnce(await, ask_again);
    } else {
        ask_again();
    }
}

void ConfirmedDevices::GoTo(VELM_Coord const & coord, long z)
{
    coord.GetStagePosition(_target.stage_x, _target.stage_y);
    _target.z = z;
    // The Z drive is started first and confirmed last, so that both travel at the same time.
    Errand const zdrive = ZDriveErrand();
    bool const z_started = Started(zdrive);
    Confirm(StageErrand());
    ConfirmStarted(z_started, zdrive);
}

void ConfirmedDevices::GoToZ(long z)
{
    Errand const zdrive = ZDriveErrand();
    if (_target.z == z && IsThere(zdrive)) {
        return;
    }
    _target.z = z;
    Confirm(zdrive);
}

void ConfirmedDevices::SetFilters(VELM_Channel const & channel, VELM_Database const & db)
{
    _target.ex_filter = db.GetExFilterPos(channel.GetExId());
    _target.em_filter = db.GetEmFilterPos(channel.GetEmId());
    // Both turn at the same time.
    Errand const ex_filter = ExFilterErrand();
    Errand const em_filter = EmFilterErrand();
    bool const ex_started = Started(ex_filter);
    bool const em_started = Started(em_filter);
    ConfirmStarted(ex_started, ex_filter);
    ConfirmStarted(em_started, em_filter);
}

void ConfirmedDevices::OpenShutter()
{
    Confirm(ShutterErrand(true));
}

void ConfirmedDevices::CloseShutter()
{
    Confirm(ShutterErrand(false));
}

void ConfirmedDevices::CloseShutterNow() noexcept
{
    try {
        TryToCloseShutterNow();
    } catch (std::exception const & error) {
        Log::Error("The shutter could not be closed; close it by hand. " +
                   detail::EscapePercent(detail::ExceptionText(error)));
    } catch (...) { // from a driver that breaks its contract
        Log::Error("The shutter could not be closed; close it by hand.");
    }
}

void ConfirmedDevices::Withdraw(long z) noexcept
{
    CloseShutterNow();
    try {
        GoToZ(z);
    } catch (std::exception const & error) {
        Log::Warning("The Z drive could not be brought back. " +
                     detail::EscapePercent(detail::ExceptionText(error)));
    } catch (Interrupted const &) {
        // It is on its way, and nobody wants to wait for it any more.
    } catch (...) {
        Log::Warning("The Z drive could not be brought back.");
    }
}

void ConfirmedDevices::TryToCloseShutterNow()
{
    std::string failure;
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            _base.Shutter_RequestClose();
            auto const end = Clock::now() + way_out_limit;
            std::string problem = CheckShutter(false);
            while (!problem.empty() && Clock::now() < end) {
                std::this_thread::sleep_for(poll_interval);
                problem = CheckShutter(false);
            }
            if (problem.empty()) {
                return;
            }
            failure = NotConfirmed("shutter", problem);
        } catch (VELM_Error const & error) {
            failure = std::string("The shutter failed: ") + error.what();
        }
    }
    throw DeviceFailure(failure);
}

void ConfirmedDevices::ConfirmStillThere()
{
    for (Errand const & errand :
         {StageErrand(), ZDriveErrand(), ExFilterErrand(), EmFilterErrand(), ShutterErrand(true)}) {
        ConfirmStarted(true, errand);
    }
}

void ConfirmedDevices::Snap(VELM_FrameBuffer & buffer, std::chrono::microseconds exposure)
{
    ConfirmStillThere();
    RetryOnce([&] { Expose(buffer, exposure); },
              [&] {
                  ConfirmStillThere();
                  Expose(buffer, exposure);
              });
}

void ConfirmedDevices::Expose(VELM_FrameBuffer & buffer, std::chrono::microseconds exposure)
{
    VELM_CameraSetting const & setting = *_base.Camera_GetSetting();
    Named("camera", [this] { _base.Camera_ValidateRegion(); });
    buffer.Resize(static_cast<unsigned int>(setting.GetSerSize()),
                  static_cast<unsigned int>(setting.GetParSize()), setting.GetSBin(), setting.GetPBin(),
                  setting.GetS1(), setting.GetP1());
    MarkUnwritten(buffer);
    try {
        Named("camera", [&] { _base.Camera_StartSnap(&buffer); });
        AwaitFrame(std::chrono::duration_cast<std::chrono::milliseconds>(exposure) + _deadlines.camera);
        if (!IsDelivered(buffer)) {
            throw DeviceFailure("The camera failed: it did not deliver the frame.");
        }
    } catch (...) {
        AbortQuietly(); // the camera must let go of the buffer
        throw;
    }
}

void ConfirmedDevices::AwaitFrame(std::chrono::milliseconds deadline)
{
    Await("camera", deadline, [this]() -> std::string {
        switch (_base.Camera_GetStatus(nullptr)) {
        case CAMERA_FRAME_READY:
        case CAMERA_IDLE:
            return {};
        case CAMERA_FAILED:
            throw DeviceFailure("The camera failed: " + _base.Camera_GetStatusText().utf8_string() + ".");
        default:
            return "it is still exposing";
        }
    });
}

void ConfirmedDevices::AbortQuietly()
{
    try {
        _base.Camera_AbortAcquisition();
    } catch (VELM_Error const & error) {
        Log::Warning("The camera could not be stopped: " + detail::EscapePercent(error.GetMessage()));
    }
}

} // namespace velm::acquisition
