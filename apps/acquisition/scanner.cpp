#include "acquisition/scanner.h"

#include "acquisition/durable_files.h"
#include "acquisition/focuser.h"
#include "acquisition/interruption.h"
#include "acquisition/setting_in_force.h"
#include "drivers/base/velm_base.h"
#include "velm_depository.h"
#include "velm_frame_buffer.h"
#include "velm_log_macros.h"
#include "velm_paths.h"
#include "velm_thumbnail.h"
#include "vexaalgo/projection.h"

#include <algorithm>
#include <memory>
#include <string>
#include <system_error>
#include <wx/filefn.h>

namespace velm::acquisition {

namespace {

constexpr int thumbnail_size = 128; // of those that go with a stored projection

// Removes the directory of a FOV at the end of the scope, unless the FOV was finished.
class UnfinishedFov {
  public:
    explicit UnfinishedFov(wxString const & directory) : _directory(directory) {}
    ~UnfinishedFov()
    {
        if (!_finished) {
            Path::RemoveDirectory(_directory);
        }
    }
    UnfinishedFov(UnfinishedFov const &) = delete;
    UnfinishedFov & operator=(UnfinishedFov const &) = delete;

    void Finished() { _finished = true; }

  private:
    wxString _directory;
    bool _finished = false;
};

// Closes the shutter when the scope is left by an exception; the regular way closes it itself and confirms.
class ClosedOnFailure {
  public:
    explicit ClosedOnFailure(ConfirmedDevices & devices) : _devices(devices) {}
    ~ClosedOnFailure()
    {
        if (std::uncaught_exceptions() > _uncaught) {
            _devices.CloseShutterNow();
        }
    }
    ClosedOnFailure(ClosedOnFailure const &) = delete;
    ClosedOnFailure & operator=(ClosedOnFailure const &) = delete;

  private:
    ConfirmedDevices & _devices;
    int _uncaught = std::uncaught_exceptions();
};

// What the deadline of a frame reckons with. A setting may hold any number; no exposure takes longer than a
// day.
std::chrono::microseconds ExposureOf(VELM_CameraSetting const & setting)
{
    constexpr std::chrono::microseconds day = std::chrono::hours(24);
    return std::chrono::microseconds(
        std::min(setting.GetExposure(), static_cast<unsigned long>(day.count())));
}

// The z of slice i of a stack that is centred on the coordinate, lowest slice first.
long SliceZ(ScanPlan const & plan, VELM_Coord const & coord, long i)
{
    return coord.GetZDrivePosition() - (plan.slices - 1) * plan.step / 2 + i * plan.step;
}

// So that whoever shows the FOV corrects its frames, which are stored as they were taken.
void CorrectByCalibration(VELM_CorrectionSettings & settings)
{
    VELM_IlluminationCorrectionMethod method;
    method.Set(VELM_IlluminationCorrectionMethod::CALIBRATION_IMAGE);
    settings.GetIlluminationCorrection()->SetMethod(method);
    settings.GetIlluminationCorrection()->Apply(true);
}

// A FOV is reported as saved to somebody who may then trust it with a night's work, so it has to outlive a
// loss of power too.
void ForceFovToDisk(VELM_Depository const & depository, long id)
{
    try {
        ForceToDisk(std::string(depository.FOV_GetDir(id).fn_str()));
    } catch (std::system_error const & error) {
        throw StoreError("The files of FOV " + std::to_string(id) +
                         " did not reach the disk: " + error.what() + ".");
    }
}

} // namespace

Scanner::Scanner(VELM_BaseControl & base, VELM_Database & db, VELM_Depository & depository,
                 ConfirmedDevices & devices, Watchdog & watchdog, std::chrono::milliseconds focus_limit,
                 ScanObserver & observer)
    : _base(base), _db(db), _depository(depository), _devices(devices), _watchdog(watchdog),
      _focus_limit(focus_limit), _observer(observer)
{
}

long Scanner::Run(ScanPlan const & plan)
{
    long left_out = 0;
    ClosedOnFailure const shutter(_devices);
    _devices.CloseShutter();
    _devices.SetLightPathToCamera();
    VELM_CoordList const & coords = _depository.GetCoordListRef();
    for (unsigned int i = 0; i < coords.GetCount(); ++i) {
        Interruption::Check();
        try {
            TakeFov(plan, plan.focus_channel_id != 0 ? InFocus(plan, coords[i]) : coords[i]);
        } catch (FocusLost const & error) {
            Log::Error(detail::EscapePercent(detail::ExceptionText(error)) + " The place is left out.");
            ++left_out;
        }
    }
    return left_out;
}

VELM_Coord Scanner::InFocus(ScanPlan const & plan, VELM_Coord const & coord)
{
    _devices.GoTo(coord, coord.GetZDrivePosition());
    VELM_Channel const & channel = _depository.GetChannelListRef().GetById(plan.focus_channel_id);
    VELM_Coord in_focus = coord;
    in_focus.SetZDrivePosition(Focuser(_base, _db, _devices, _watchdog, channel, _focus_limit)
                                   .FindFocus("coordinate " + std::to_string(coord.GetId())));
    return in_focus;
}

void Scanner::TakeFov(ScanPlan const & plan, VELM_Coord const & coord)
{
    VELM_FOV fov;
    fov.SetCoord(coord);
    fov.SetNumSlices(plan.slices);
    fov.SetStepZ(plan.step);
    VELM_HardwareParams hardware;
    hardware.SetHWDesc(_base.GetHardwareDescription());
    hardware.SetObjDesc(_base.MicroscopeBody_GetObjectiveDescription());
    fov.SetHardwareParams(hardware);

    long const id = _depository.FOV_GetLastID() + 1;
    if (id > _depository.FOV_GetMaxId()) {
        throw StoreError("The depository is full: it holds FOV " +
                         std::to_string(_depository.FOV_GetMaxId()) + ", the last one that it can number.");
    }
    UnfinishedFov unfinished(_depository.FOV_GetDir(id));
    _devices.GoTo(coord, SliceZ(plan, coord, 0));
    for (long const channel_id : plan.channel_ids) {
        Interruption::Check();
        VELM_Channel channel = _depository.GetChannelListRef().GetById(channel_id);
        vexa::Image3d<unsigned short> stack;
        fov.StartChannel(channel);
        TakeStack(plan, coord, channel, stack);
        fov.EndChannel();
        fov.GetChannelById(channel_id).SetCameraSetting(channel.GetCameraSetting());
        if (channel.UseCalibration()) {
            CorrectByCalibration(fov.GetCorrSettingsById(channel_id));
        }
        StoreChannel(fov, id, channel_id, stack);
    }
    // The images before the record, which is what makes a FOV of them.
    ForceFovToDisk(_depository, id);
    if (!_depository.FOV_Save(fov)) {
        throw StoreError("The record of FOV " + std::to_string(id) + " could not be stored.");
    }
    ForceFovToDisk(_depository, id);
    unfinished.Finished();
    _observer.FovSaved(id);
}

void Scanner::TakeStack(ScanPlan const & plan, VELM_Coord const & coord, VELM_Channel & channel,
                        vexa::Image3d<unsigned short> & stack)
{
    VELM_CameraSetting & setting = *channel.GetCameraSetting();
    SettingInForce const in_force(_base);
    _base.Camera_Set(&setting, &coord);
    if (coord.IsFullFrame()) {
        _base.Camera_SetFullFrame();
    }
    _devices.SetFilters(channel, _db);

    VELM_FrameBuffer buffer(_base.GetImgFlipX(), _base.GetImgFlipY());
    _devices.GoToZ(SliceZ(plan, coord, 0));
    _devices.OpenShutter();
    for (long slice = 0; slice < plan.slices; ++slice) {
        Interruption::Check();
        _devices.GoToZ(SliceZ(plan, coord, slice));
        _devices.Snap(buffer, ExposureOf(setting));
        if (slice == 0) {
            stack.MakeRoom(buffer.GetSizeX(), buffer.GetSizeY(), static_cast<unsigned int>(plan.slices));
        }
        buffer.Map(stack, static_cast<unsigned int>(slice));
        _observer.FrameTaken();
    }
    _devices.CloseShutter();
    _base.AlterImageOffsetAndResolution(stack, &setting, static_cast<int>(plan.step));
}

void Scanner::StoreChannel(VELM_FOV const & fov, long fov_id, long channel_id,
                           vexa::Image3d<unsigned short> & stack)
{
    vexa::Image3d<unsigned short> projection;
    vexa::Get_AF_XY(stack, projection);
    auto const failure = [&](char const * what) {
        return StoreError(std::string("The ") + what + " of channel " + std::to_string(channel_id) +
                          " of FOV " + std::to_string(fov_id) + " could not be stored.");
    };
    wxDateTime const acquired = fov.GetTimeIntervalById(channel_id).GetStartTime();
    if (!_depository.FOV_SaveImage(fov_id, channel_id, stack, acquired) ||
        !_depository.FOV_SaveAFImage(fov_id, channel_id, projection)) {
        throw failure("images");
    }
    // The depository goes on without these two, since they can be made again; a disk that has no room for
    // them is full all the same.
    if (!wxFileExists(wxString::Format("%s%02ld.hist", _depository.FOV_GetDir(fov_id), channel_id))) {
        throw failure("histogram");
    }
    if (!wxFileExists(
            VELM_FOV_Thumbnail(&_depository, fov_id).GetThumbnailFile(channel_id, thumbnail_size))) {
        throw failure("thumbnail");
    }
}

} // namespace velm::acquisition
