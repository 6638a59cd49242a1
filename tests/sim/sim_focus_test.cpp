// Focus and calibration images, compared with what is on the slide and with what the camera delivered.

#include "drivers/base/camera_setting.h"
#include "sim/kept_frames.h"
#include "sim/sim_base_control.h"
#include "support/voxels.h"

#include <algorithm>

namespace velm::sim::test {

using velm::test::Voxels;

class SimFocus : public SimRig {};

TEST_F(SimFocus, AutoFocusFindsTheSlideFromEitherSide)
{
    // The nuclei's centres lie within 0.8 microns of the plane.
    VELM_BaseControl & base = Start("FocusTilt=0\nFocusWave=0\nNoise=0\n");
    for (long const start : {5030L, 4970L, 5000L}) {
        VELM_Channel channel = ChannelOf(0);
        channel.GetCameraSetting()->SetExposure(1600000);
        base.ZDrive_SetPos(start);
        base.AutoFocus(&_db, channel, VELM_AutoFocusParams(), nullptr);
        EXPECT_EQ(channel.GetCameraSetting()->GetSBin(), 4);
        EXPECT_NEAR(static_cast<double>(base.ZDrive_GetCurPos()), 5000.0, 8.0) << "from " << start;
        EXPECT_FALSE(base.Shutter_IsOpened());
        base.Camera_SetDefaultSetting();
    }
}

TEST_F(SimFocus, ACalibrationImageIsTheMeanOrMedianOfTheFramesToTheLastBit)
{
    wxString const frames = _dir / "frames";
    ASSERT_TRUE(wxMkdir(frames));
    VELM_BaseControl & base = Start(
        "Density=0\nSensorWidth=320\nSensorHeight=240\nFrameDir=" + std::string(frames.utf8_str()) + "\n");
    base.ZDrive_SetPos(5000);
    int taken = 0;
    for (VELM_CalibMethod const method : {CALIB_MEAN, CALIB_MEDIAN}) {
        for (int const count : {4, 5}) {
            VELM_Channel channel = ChannelOf(0);
            channel.SetCalibType(CALIBRATION_YES);
            channel.TakeCalibImage(new VELM_Calibration_Image);
            base.Channel_Set(channel, &_db);
            base.Calibrate(channel, nullptr, count, method);
            FramePixels const expected = JoinKeptFrames(frames, taken + 1, count, method);
            taken += count;
            VELM_Calibration_Image const & result = *channel.GetCalibImage();
            EXPECT_TRUE(Voxels(*result.GetFullImage()) == expected) << count << " frames";
            EXPECT_NE(expected, ReadKeptFrame(frames, taken)) << "the frames have noise";
            double sum = 0.0;
            for (unsigned short const pixel : expected) {
                sum += pixel;
            }
            EXPECT_EQ(result.GetMean(), sum / (320.0 * 240.0));
            EXPECT_EQ(base.ZDrive_GetCurPos(), 5000);
        }
    }
}

TEST_F(SimFocus, CalibrationFramesAreTakenOutOfFocus)
{
    VELM_BaseControl & base = Start("SensorWidth=320\nSensorHeight=240\nNoise=0\nVignetting=0\n");
    VELM_Channel channel = ChannelOf(0);
    channel.SetCalibType(CALIBRATION_YES);
    channel.TakeCalibImage(new VELM_Calibration_Image);
    base.Channel_Set(channel, &_db);
    base.ZDrive_SetPos(5000);
    auto const range = [](vexa::Image3d<unsigned short> const & image) {
        auto const ends = std::minmax_element(image.begin(), image.end());
        return *ends.second - *ends.first;
    };
    int const sharp = range(Snap());
    base.Calibrate(channel, nullptr, 1, CALIB_MEAN);
    EXPECT_LT(range(*channel.GetCalibImage()->GetFullImage()), sharp / 20) << "of " << sharp;
}

} // namespace velm::sim::test
