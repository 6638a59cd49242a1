#include "drivers/base/velm_base.h"

#include "drivers/base/velm_base_autofocus_steps.h"
#include "velm_calib_img.h"
#include "velm_channel.h"
#include "velm_coords.h"
#include "velm_frame_buffer.h"
#include "velm_log_macros.h"
#include "velm_prompt.h"
#include "vexaalgo/slice_statistics.h"

#include <memory>

namespace velm {

namespace {

using Image = VELM_Calibration_Image::Image;

// A camera setting of its own in force as long as this lives, then the camera's default setting.
class SettingInForce {
  public:
    // place: where to take the region from.
    SettingInForce(VELM_BaseControl & velm, VELM_CameraSetting const & setting, VELM_Coord const & place)
        : _velm(velm), _setting(setting.Clone())
    {
        _velm.Camera_Set(_setting.get(), &place);
    }
    ~SettingInForce() { _velm.Camera_SetDefaultSetting(); }
    SettingInForce(SettingInForce const &) = delete;
    SettingInForce & operator=(SettingInForce const &) = delete;

    VELM_CameraSetting const & Get() const { return *_setting; }

  private:
    VELM_BaseControl & _velm;
    std::unique_ptr<VELM_CameraSetting> _setting;
};

// One capture of calibration images, for one or several channels.
class CalibrationCapture {
  public:
    CalibrationCapture(VELM_BaseControl & velm, VELM_Depository const * depository, long num_frames,
                       VELM_CalibMethod method)
        : _velm(velm), _depository(depository), _num_frames(num_frames), _method(method),
          _buffer(velm.GetImgFlipX(), velm.GetImgFlipY())
    {
    }

    // Sets the filters of each channel, too.
    void SetFilters() { _sets_filters = true; }

    // Captures the channel's image if it needs one. For the first that does everything goes out of focus and
    // the shutter opens.
    void Calibrate(VELM_Channel & channel);

    // If anything was captured: closes the shutter and goes back.
    void Finish();

  private:
    void Capture(VELM_Channel const & channel, VELM_Calibration_Image & image);
    void TakeFrames(VELM_CameraSetting const & setting);
    void GiveResult(VELM_Calibration_Image & image) const;

    VELM_BaseControl & _velm;
    VELM_Depository const * _depository;
    long _num_frames;
    VELM_CalibMethod _method;
    bool _sets_filters = false;
    bool _is_there = false; // out of focus and with the shutter open
    VELM_Coord _saved;      // where to go back
    VELM_Coord _place;      // where to take the frames
    Image _stack;           // a slice for each frame
    VELM_FrameBuffer _buffer;
};

void CalibrationCapture::Calibrate(VELM_Channel & channel)
{
    if (channel.Calibrate(_depository, true)) {
        return;
    }
    VELM_Calibration_Image * const image = channel.GetCalibImage();
    if (image == nullptr || image->GetCameraSetting() == nullptr) { // from a damaged file
        throw VELM_BaseControlError(wxString::Format(
            "Channel '%s' has no camera setting to take a calibration image with.", channel.GetName()));
    }
    VELM_LOG_MESSAGE("Creating calibration image for channel '%s' (num_frames = %ld, method = %s)...",
                     channel.GetName(), _num_frames, GetCalibMethodName(_method));
    prompt::BusyBox const busy(wxString::Format(
        "Please wait, creating the calibration image for channel '%s'...", channel.GetName()));
    Capture(channel, *image);
    if (!_sets_filters) {
        Finish();
    }
    GiveResult(*image);
}

void CalibrationCapture::Capture(VELM_Channel const & channel, VELM_Calibration_Image & image)
{
    if (!_is_there) {
        _velm.Coordinate_Get(_saved);
        long x = 0;
        long y = 0;
        long z = 0;
        _saved.GetPosition(x, y, z);
        _place = VELM_Coord(-1, x, y, z - _velm.ZDrive_GetCalibOffset());
    }
    if (_sets_filters) {
        _velm.Channel_Set(channel, _velm.GetDatabase());
    }
    SettingInForce const setting(_velm, *image.GetCameraSetting(), _place);
    if (!_is_there) {
        _velm.Coordinate_Set(_place);
        _velm.Shutter_Open();
        _is_there = true;
    } else {
        _velm.Camera_SetFullFrame();
    }
    TakeFrames(setting.Get());
}

void CalibrationCapture::TakeFrames(VELM_CameraSetting const & setting)
{
    for (long i = 0; i < _num_frames; ++i) {
        SnapFrame(_velm, _buffer);
        if (i == 0) { // the camera has made the region whole pixels by now
            _stack.MakeRoom(_buffer.GetSizeX(), _buffer.GetSizeY(), static_cast<unsigned int>(_num_frames));
            _velm.AlterImageOffsetAndResolution(_stack, &setting, 1);
        }
        _buffer.Map(_stack, static_cast<unsigned int>(i));
    }
}

void CalibrationCapture::GiveResult(VELM_Calibration_Image & image) const
{
    auto result = std::make_unique<Image>();
    if (_method == CALIB_MEAN) {
        vexa::MeanOfSlices(_stack, *result);
    } else {
        vexa::MedianOfSlices(_stack, *result);
    }
    image.SetMean(VELM_Calibration_Image::ComputeMean(*result));
    image.SetImage(result.release());
}

void CalibrationCapture::Finish()
{
    if (_is_there) {
        _velm.Shutter_RequestClose();
        _velm.Coordinate_Set(_saved);
    }
}

} // namespace

void VELM_BaseControl::Calibrate(VELM_Channel & channel, VELM_Depository const * depository, long num_frames,
                                 VELM_CalibMethod method)
{
    CalibrationCapture(*this, depository, num_frames, method).Calibrate(channel);
}

void VELM_BaseControl::Calibrate(VELM_ChannelList & channels, wxArrayInt const & indices,
                                 VELM_Depository const * depository, long num_frames, VELM_CalibMethod method)
{
    CalibrationCapture capture(*this, depository, num_frames, method);
    capture.SetFilters();
    for (int const index : indices) {
        capture.Calibrate(channels[static_cast<unsigned int>(index)]);
    }
    capture.Finish();
}

} // namespace velm
