#ifndef DRIVERS_BASE_VELM_BASE_H
#define DRIVERS_BASE_VELM_BASE_H

#include "drivers/base/camera.h"
#include "drivers/base/hw_control.h"
#include "vexacore/geometry.h"
#include "vexacore/image3d.h"

#include <array>
#include <atomic>
#include <limits>
#include <memory>
#include <wx/dynarray.h>
#include <wx/string.h>

class wxFileConfig;
class wxWindow;

namespace velm {

class VELM_Channel;
class VELM_ChannelList;
class VELM_Coord;
class VELM_Database;
class VELM_Depository;
class VELM_DriverManager;
class VELM_DriverPackage;
class VELM_FilterControl;
class VELM_FrameBuffer;
class VELM_MicroscopeBodyControl;
class VELM_ShutterControl;
class VELM_StageControl;
class VELM_ZDriveControl;
enum VELM_CalibMethod : int;

// How AutoFocus searches.
struct VELM_AutoFocusParams {
    VELM_AutoFocusParams(long binning = 4, long shift = 40, long samples = 5, long distance = 10,
                         long passes = 4)
        : binning_exp(binning), max_shift(shift), dir_samples(samples), step(distance),
          exposure_passes(passes)
    {
    }

    long binning_exp; // the focus measure works at binning 2 to this power, 0 to 15; the camera bins no more
    long max_shift;   // how far from the centre of the search the result may lie; tenths of a micron
    long dir_samples; // planes that are looked at to find the direction
    long step;        // from plane to plane; tenths of a micron
    long exposure_passes; // exposure, in passes of the spinning disk
};

// What the devices were last seen at or asked for, so that another thread can tell it when one never answers.
struct VELM_LastSeen {
    enum class Shutter { UNKNOWN, CLOSED, OPEN };
    static constexpr long unknown = std::numeric_limits<long>::min();

    std::atomic<Shutter> shutter{Shutter::UNKNOWN};
    std::atomic<long> z{unknown};            // logical position in tenths of a micron
    std::atomic<unsigned long> exposures{0}; // begun so far
};

// The whole microscope: the one object through which an application drives it.
//
// Construction selects and builds the seven devices that the hardware ini file asks for; Init opens them.
// When IsOK is false a device is missing, and only GetDatabase and the plain values of the ini file may be
// asked: the other operations don't test for a missing device. All positions are logical, in tenths of a
// micron; what moves returns at once unless its name says "Wait" or it is Coordinate_Set. What a driver
// throws passes. Used on one thread, which waits block.
class VELM_API VELM_BaseControl : public VELM_HWControl {
  public:
    // path: the hardware ini file; see docs/formats/hardware-ini.md. Failures of the hardware are told in the
    // log and by IsOK. When the scale of the images (MicResX, MicResY) is missing the user is asked for it
    // until it is given; without a display VELM_BaseControlError is thrown, which names the key. db has to
    // outlive the control, and so has the manager.
    VELM_BaseControl(wxString const & path, VELM_Database const * db, VELM_DriverManager * manager);

    // Closes and deletes all devices.
    ~VELM_BaseControl() override;

    // A copy shares the devices, which both objects would delete: nothing uses these two.
    VELM_BaseControl(VELM_BaseControl const &) = default;
    VELM_BaseControl & operator=(VELM_BaseControl const &) = default;

    // Whether every device is there and none failed to start.
    bool IsOK() const { return !_serious_errors; }
    bool IsNoHwWarningDisabled() const { return _no_hw_warning_disabled; }

    VELM_Database const * GetDatabase() const { return _db; }
    VELM_CameraControl const * GetCamera() const { return _camera; }
    wxString GetHardwareDescription() const { return _hw_desc; }

    // The one thing that may be read on any thread, also while a device hangs; it outlives the control.
    std::shared_ptr<VELM_LastSeen const> GetLastSeen() const { return _seen; }

    // The flips of the system's frames; see VELM_FrameBuffer.
    bool GetImgFlipX() const { return _mic_flip_x; }
    bool GetImgFlipY() const { return _mic_flip_y; }

    // +1 or -1: whether the stage's axis runs along the image's.
    int GetStageOrientationX() const { return _stage_orientation_x; }
    int GetStageOrientationY() const { return _stage_orientation_y; }

    // How far a position may be from the one asked for and still count as reached; tenths of a micron.
    long GetStageTolerance() const { return _stage_tolerance; }
    long GetZDriveTolerance() const { return _zdrive_tolerance; }

    // The time of one pass of the spinning disk, in the unit of the camera's exposure.
    long GetSpinningDiskTime() const { return _spin_disk_time; }

    // What the microscope is made of, a line for each device. Only when IsOK.
    wxString HWInfo() const override;

    // Switches keypads and knobs of all devices. A device that fails is reported to the user, and the next
    // one follows.
    void EnableUserInteraction(bool enable) override;

    // ---- Z drive

    // What the hardware can reach; hardware positions.
    long ZDrive_GetHWLowerLimit() const;
    long ZDrive_GetHWUpperLimit() const;
    long ZDrive_GetCalibOffset() const;

    // The offset makes another place the logical zero; nothing moves by it.
    bool ZDrive_HasOffset() const;
    void ZDrive_AddOffset(long offset);
    void ZDrive_ClearOffset();

    long ZDrive_GetCurPos();
    bool ZDrive_IsMoving();
    void ZDrive_WaitPos();

    // Throw VELM_ZDriveControlError, with nothing moved, when the target is out of range. The step counts
    // from where the drive stands.
    void ZDrive_SetPos(long pos);
    void ZDrive_SetRelPos(long step);

    // ---- Stage

    // The position last asked for, and the one that the hardware reports.
    void Stage_GetPos(long & x, long & y) const;
    void Stage_GetCurPos(long & x, long & y);
    bool Stage_IsMoving();
    void Stage_WaitPos();

    // Throw VELM_StageControlError, with nothing moved, when the target is out of range. The step counts from
    // the position last asked for.
    void Stage_SetPos(long x, long y);
    void Stage_SetRelPos(long dx, long dy);

    // Offsets add up; nothing moves by them.
    void Stage_SetPosOffset(long dx, long dy);
    bool Stage_IsOffsetSet() const;
    void Stage_RemovePosOffset();

    // ---- Shutter

    void Shutter_Open();

    // RequestClose always closes; DemandClose only in economy mode.
    void Shutter_RequestClose();
    void Shutter_DemandClose();
    void Shutter_EconomyMode(bool economy);
    bool Shutter_IsOpened();
    bool Shutter_IsMoving();
    void Shutter_WaitPos();
    bool Shutter_IsActive();

    // ---- Filter exchangers; revolver positions

    // The position last asked for, and the one that the hardware reports.
    long ExFilter_GetPos() const;
    long ExFilter_GetHWPos();
    bool ExFilter_IsMoving();
    void ExFilter_SetPos(long pos);
    long EmFilter_GetPos() const;
    long EmFilter_GetHWPos();
    bool EmFilter_IsMoving();
    void EmFilter_SetPos(long pos);

    // ---- Microscope body

    void MicroscopeBody_CreateControlWindow(wxWindow * parent);
    void MicroscopeBody_RefreshControlWindow();
    void MicroscopeBody_SetLightPathToCamera();
    wxString MicroscopeBody_GetObjectiveDescription() const;

    // ---- Channel

    // Starts both filter exchangers, so that they turn side by side. Touches neither shutter nor camera.
    void Channel_Set(VELM_Channel const & channel, VELM_Database const * db);
    bool Channel_IsMoving();
    void Channel_Wait();

    // ---- Coordinate

    // Moves stage and Z drive at the same time, sets the camera's region and waits. Not atomic: when the Z
    // position is refused, the stage moves already and the region is as it was.
    void Coordinate_Set(VELM_Coord const & coord);

    // Where the hardware is now, and the region of the setting in force; id and type stay as they are.
    void Coordinate_Get(VELM_Coord & coord);

    // ---- Camera

    unsigned short Camera_GetCCDSerSize() const;
    unsigned short Camera_GetCCDParSize() const;
    unsigned short Camera_GetPixelSizeX() const;
    unsigned short Camera_GetPixelSizeY() const;
    bool Camera_LoadGlobalSetting(wxFileConfig const & config);
    bool Camera_SaveGlobalSetting(wxFileConfig & config) const;
    wxString Camera_GetStatusText();
    void Camera_GetGlobalSetting(wxWindow * parent);
    bool Camera_IsReady(wxString * text);
    VELM_CameraStatusType Camera_GetStatus(wxString * text);
    void Camera_AbortAcquisition();

    void Camera_SetDefaultSetting() const;
    VELM_CameraSetting * Camera_CreateNewSetting() const;
    VELM_CameraSetting * Camera_GetSetting() const;

    // As the camera's own operations; the last validates the setting in force.
    void Camera_ValidateRegion(int sbin, int pbin, int & s1, int & p1, int & s2, int & p2);
    void Camera_ValidateRegion(VELM_CameraSetting * setting);
    void Camera_ValidateRegion();
    void Camera_SetFullFrame();

    void Camera_StartSnap(VELM_FrameBuffer * buffer);
    void Camera_StartFrameCapture(void * pixels, unsigned int num_pixels);

    // Puts the setting, which stays the caller's, in force; with a coordinate its region goes into the
    // setting. Null is allowed for either. Asserts that the setting is of the camera's own class.
    void Camera_Set(VELM_CameraSetting * s, VELM_Coord const * coord);
    bool Camera_CheckCameraSettingType(VELM_CameraSetting * setting);

    // Fills the parent with the panel of the camera's additional settings.
    void Camera_CreateControlWindow(wxWindow * parent);

    // ---- Focus and calibration; both block until they are done, behind a busy box

    // Finds the best Z position for the channel at the present stage position and leaves the Z drive there,
    // with the shutter closed and the channel's filters set. The search begins with some planes around where
    // the drive is and goes on upwards or downwards. The result lies within max_shift of a centre two steps
    // from the lowest of those planes in the search's direction: upwards, with five planes, that is where the
    // drive was; downwards it is four steps lower.
    //
    // The channel has to have a camera setting, VELM_BaseControlError is thrown otherwise. The setting is
    // changed for good, to the exposure, binning and full frame of the search, and stays in force: a caller
    // that wants its setting back passes a copy of the channel, and sets another one before that copy goes.
    // What the devices throw passes, with the shutter open and the Z drive where it then is; a light that
    // never settles and a camera that never answers are waited for without end.
    void AutoFocus(VELM_Database const * db, VELM_Channel & channel, VELM_AutoFocusParams const & params,
                   wxWindow * parent);

    // Makes the calibration image of a channel that needs one: so many frames, at least one, taken with the
    // calibration image's setting and out of focus by the Z drive's calibration offset, joined pixel by
    // pixel. Ends with the shutter closed, everything where it was, and the camera's default setting in
    // force. The image is stored when the channel is saved. The filters are the caller's matter. What the
    // devices throw passes, with shutter and position as they then are.
    void Calibrate(VELM_Channel & channel, VELM_Depository const * depository, long num_frames,
                   VELM_CalibMethod method);

    // The same for the channels at those indices, whose filters it does set. Moves and opens the shutter
    // once.
    void Calibrate(VELM_ChannelList & channels, wxArrayInt const & indices,
                   VELM_Depository const * depository, long num_frames, VELM_CalibMethod method);

    // ---- Scale

    // Nanometres per unbinned pixel, with the objective in force.
    float GetImgPixelSizeX() const;
    float GetImgPixelSizeY() const;

    // Gives the image the scale and the place, in microns from the sensor's first pixel, of frames taken with
    // the setting. step: distance of the slices in tenths of a micron.
    void AlterImageOffsetAndResolution(vexa::Image3d<unsigned short> & image, VELM_CameraSetting const * s,
                                       int step) const;

  protected:
    void InitHW() override;
    void CloseHW() override;

    // Voxels per micron; step as above.
    vexa::Resolution GetResolution(int sbin, int pbin, int step) const;

  private:
    struct DeviceWords;

    // Reads the ini file's root entries.
    void ReadSystem(wxFileConfig & config, wxString const & path);

    // Builds one device from its group of the ini file. general: makes the built-in form of the device, or
    // null when it has none. Leaves device null, with lines in the log, on any failure.
    template <typename Control, typename General>
    void LoadDevice(wxFileConfig & config, DeviceWords const & words, Control *& device,
                    Control * (VELM_DriverPackage::*factory)(wxFileConfig &), General const & general,
                    VELM_DriverManager * manager);

    // The running package of the device whose group is the current path, which then becomes the driver's
    // section. Null, with lines in the log, when there is none. name: the driver's name, as far as it was
    // found.
    VELM_DriverPackage * LoadDriver(wxFileConfig & config, wxString & name, VELM_DriverManager * manager);
    VELM_DriverPackage * LoadComboDriver(wxFileConfig & config, wxString & name,
                                         VELM_DriverManager * manager);
    VELM_DriverPackage * FindDriverPackage(wxFileConfig & config, wxString const & section, wxString & name,
                                           VELM_DriverManager * manager);

    // All devices in the order of start and end; null for a missing one.
    std::array<VELM_HWControl *, 7> GetDevices() const;

    // What the two exchangers, and what coordinates and settings, do alike.
    static void SetFilterPos(VELM_FilterControl & filter, long pos);
    static void SetRegionOf(VELM_Coord const & coord, VELM_CameraSetting & setting);

    void CloseControl(VELM_HWControl * control);
    void DeleteMemory();

    bool _serious_errors = false; // for good, once set
    bool _no_hw_warning_disabled = false;
    VELM_Database const * _db;              // not owned
    VELM_CameraControl * _camera = nullptr; // owned, as all devices
    VELM_ZDriveControl * _zdrive = nullptr;
    VELM_StageControl * _stage = nullptr;
    VELM_ShutterControl * _shutter = nullptr;
    VELM_FilterControl * _ex_filter = nullptr;
    VELM_FilterControl * _em_filter = nullptr;
    VELM_MicroscopeBodyControl * _microscope_body = nullptr;
    int _mic_res_x = 0; // nanometres per pixel at magnification 1
    int _mic_res_y = 0;
    bool _mic_flip_x = false;
    bool _mic_flip_y = false;
    int _stage_orientation_x = 1; // +1 or -1
    int _stage_orientation_y = 1;
    long _stage_tolerance = 0; // tenths of a micron, not negative
    long _zdrive_tolerance = 0;
    long _spin_disk_time = 0;
    wxString _hw_desc;
    std::shared_ptr<VELM_LastSeen> _seen = std::make_shared<VELM_LastSeen>();
};

} // namespace velm

#endif
