#include "drivers/base/velm_base.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/stub_microscope.h"
#include "support/voxels.h"
#include "velm_calib_img.h"
#include "velm_channel.h"

#include <gmock/gmock.h>

namespace velm::test {

namespace {

using Strings = std::vector<std::string>;
using Pixels = std::vector<unsigned short>;
using Image = VELM_Calibration_Image::Image;
using testing::Contains;
using testing::Not;

void Append(Strings & calls, Strings const & more)
{
    calls.insert(calls.end(), more.begin(), more.end());
}

std::vector<int> RegionOf(VELM_CameraSetting const & setting)
{
    return {setting.GetS1(), setting.GetP1(), setting.GetS2(), setting.GetP2()};
}

// A microscope with a camera of 32 x 16 pixels, at a place and with a default setting of its own, that waits
// for one turn of every motion.
class Calibrate : public testing::Test {
  protected:
    static constexpr unsigned short width = 32;
    static constexpr unsigned short height = 16;

    Calibrate() { SetUpRig(); }

    void SetUpRig()
    {
        Rig().camera->SetCCDSize(width, height);
        Rig().camera->GiveDefaultSetting(new StubSetting("Default"));
        microscope.Get().Camera_SetDefaultSetting();
        microscope.Get().Camera_GetSetting()->SetRegion(1, 2, 20, 10);
        Rig().stage->hw_x = 100;
        Rig().stage->hw_y = 200;
        Rig().zdrive->pos = 50;
        Rig().moving_polls = 1;
        // Frame n of a capture comes from the n-th of frames, every one after the last is dark.
        Rig().expose = [this](unsigned short * pixels, unsigned int count) {
            Pixels frame = taken < frames.size() ? frames[taken] : Pixels();
            ++taken;
            frame.resize(count);
            std::copy(frame.begin(), frame.end(), pixels);
        };
        Rig().TakeCalls();
    }

    // A channel that wants calibration and has no image that fits.
    static VELM_Channel ChannelOf(long id, wxString const & name, int bin = 1)
    {
        VELM_Channel channel(name, 0, 1, 0);
        channel.SetId(id);
        channel.SetCalibType(CALIBRATION_YES);
        channel.TakeCalibImage(new VELM_Calibration_Image);
        channel.TakeCameraSetting(new StubSetting);
        channel.GetCameraSetting()->SetBinning(bin, bin);
        channel.GetCameraSetting()->SetRegion(8, 4, 15, 9);
        return channel;
    }

    // The calls that a number of frames takes.
    static Strings Snaps(int count, std::string const & arguments = "512,0,0")
    {
        Strings calls;
        for (int i = 0; i < count; ++i) {
            Append(calls, {"camera.StartFrameCapture(" + arguments + ")", "camera.GetStatus(null)",
                           "camera.GetStatus(null)"});
        }
        return calls;
    }

    // The calls of going to a height at the place.
    static Strings GoTo(long z)
    {
        return {"stage.Move(100,200)", "zdrive.Move(" + std::to_string(z) + ")",
                "stage.IsMoving()",    "stage.IsMoving()",
                "zdrive.IsMoving()",   "zdrive.IsMoving()"};
    }

    // The full image that a capture of the frames gives.
    Pixels Joined(std::vector<Pixels> const & of, VELM_CalibMethod method)
    {
        frames = of;
        taken = 0;
        VELM_Channel channel = ChannelOf(1, "FITC");
        LogRecorder const progress;
        microscope.Get().Calibrate(channel, nullptr, static_cast<long>(of.size()), method);
        return Voxels(*channel.GetCalibImage()->GetFullImage());
    }

    StubMicroscope microscope;
    VELM_BaseControl & control = microscope.Start();
    std::vector<Pixels> frames;
    std::size_t taken = 0;
};

std::vector<LogLine> LogOf(std::string const & channel, std::string const & rest)
{
    return {Message("Creating calibration image for channel '" + channel + "' (" + rest + ")..."),
            Message("Please wait, creating the calibration image for channel '" + channel + "'...")};
}

} // namespace

// ---- One channel

TEST_F(Calibrate, OneChannelIsCapturedOutOfFocusWithTheFiltersAsTheyAre)
{
    VELM_Channel channel = ChannelOf(1, "FITC");
    LogRecorder const log;
    control.Calibrate(channel, nullptr, 3, CALIB_MEDIAN);
    EXPECT_EQ(log.Lines(), LogOf("FITC", "num_frames = 3, method = Median"));
    // The first setting that goes is that of a comparison of classes, the second one the clone.
    Strings expected{"stage.ReadPos()", "zdrive.ReadPos()", "setting.~()"};
    Append(expected, GoTo(30));
    Append(expected, {"shutter.Open()"});
    Append(expected, Snaps(3));
    Append(expected, {"setting.~()", "shutter.Close()"});
    Append(expected, GoTo(50));
    EXPECT_EQ(Rig().TakeCalls(), expected);
}

TEST_F(Calibrate, AValidImageMovesNothingAndLogsNothing)
{
    VELM_Channel channel = ChannelOf(1, "FITC");
    channel.GetCalibImage()->SetCameraSetting(channel.GetCameraSetting());
    channel.GetCalibImage()->SetImage(new Image(ConstantImage<unsigned short>(width, height, 1, 7)));
    Rig().TakeCalls();
    LogRecorder const log;
    control.Calibrate(channel, nullptr, 3, CALIB_MEAN);
    VELM_ChannelList channels;
    channels.Add(channel);
    wxArrayInt indices;
    indices.Add(0);
    Rig().TakeCalls();
    control.Calibrate(channels, indices, nullptr, 3, CALIB_MEAN);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_TRUE(Rig().TakeCalls().empty());
    EXPECT_EQ(channel.GetCalibImage()->GetFullImage()->GetVoxel(0), 7);
}

TEST_F(Calibrate, AChannelWithoutCalibrationNeedsNoImage)
{
    VELM_Channel channel = ChannelOf(1, "FITC");
    channel.SetCalibType(CALIBRATION_NO);
    LogRecorder const log;
    control.Calibrate(channel, nullptr, 3, CALIB_MEAN);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(Calibrate, TheImageIsTheWholeFrameWithTheScaleOfTheSetting)
{
    VELM_Channel channel = ChannelOf(1, "FITC", 2);
    frames = {Pixels(128, 10), Pixels(128, 13)};
    frames[1][0] = 20;
    LogRecorder const progress;
    control.Calibrate(channel, nullptr, 2, CALIB_MEAN);
    VELM_Calibration_Image const & result = *channel.GetCalibImage();
    Image const & image = *result.GetFullImage();
    EXPECT_EQ(image.size, vexa::Vector3d<unsigned int>(16, 8, 1));
    EXPECT_EQ(image.offset, vexa::Vector3d<float>(0.0F, 0.0F, 0.0F));
    EXPECT_EQ(image.resolution.GetRes(), vexa::Vector3d<float>(static_cast<float>(1000.0 / 1200.0),
                                                               static_cast<float>(1000.0 / 1260.0), 10.0F));
    Pixels expected(128, 11);
    expected[0] = 15;
    EXPECT_EQ(Voxels(image), expected);
    EXPECT_EQ(result.GetMean(), (127 * 11.0 + 15.0) / 128.0);
    EXPECT_FALSE(result.IsSaved());
    std::unique_ptr<Image const> const region(result.GetImageRegion());
    EXPECT_EQ(region->size, vexa::Vector3d<unsigned int>(4, 3, 1)) << "what the channel's setting covers";
    EXPECT_EQ(RegionOf(*result.GetCameraSetting()), RegionOf(*channel.GetCameraSetting()));
}

TEST_F(Calibrate, TheImageIsTheRightWayRoundWhateverTheFlips)
{
    {
        LogRecorder const progress;
        microscope.Build(StubMicroscope::WholeRig(StubMicroscope::known_scale + "MicFlipX=1\nMicFlipY=1\n"))
            .Init();
    }
    SetUpRig();
    Pixels ramp;
    for (unsigned short i = 0; i < width * height; ++i) {
        ramp.push_back(i);
    }
    EXPECT_EQ(Joined({ramp}, CALIB_MEAN), Pixels(ramp.rbegin(), ramp.rend()));
    EXPECT_THAT(Rig().TakeCalls(), Contains("camera.StartFrameCapture(512,1,1)"));
}

// ---- Joining frames

TEST_F(Calibrate, TwoFramesByTheMedianAreTheirTruncatedMean)
{
    EXPECT_EQ(Joined({Pixels(512, 3), Pixels(512, 6)}, CALIB_MEDIAN), Pixels(512, 4));
}

TEST_F(Calibrate, ThreeFramesGiveTheMiddleValueByTheMedianAndTheTruncatedMeanByTheMean)
{
    std::vector<Pixels> const three{Pixels(512, 1), Pixels(512, 9), Pixels(512, 2)};
    EXPECT_EQ(Joined(three, CALIB_MEDIAN), Pixels(512, 2));
    EXPECT_EQ(Joined(three, CALIB_MEAN), Pixels(512, 4));
}

TEST_F(Calibrate, AnyMethodButTheMeanIsTheMedian)
{
    std::vector<Pixels> const three{Pixels(512, 1), Pixels(512, 9), Pixels(512, 2)};
    EXPECT_EQ(Joined(three, static_cast<VELM_CalibMethod>(7)), Pixels(512, 2));
}

TEST_F(Calibrate, WithoutFramesTheImageIsEmpty)
{
    VELM_Channel channel = ChannelOf(1, "FITC");
    channel.GetCameraSetting()->SetRegion(-1, -1, -1, -1);
    LogRecorder const log;
    control.Calibrate(channel, nullptr, 0, CALIB_MEDIAN);
    EXPECT_EQ(log.Lines(), LogOf("FITC", "num_frames = 0, method = Median"));
    EXPECT_EQ(channel.GetCalibImage()->GetFullImage()->GetCount(), 0U);
    EXPECT_EQ(channel.GetCalibImage()->GetMean(), 0.0);
}

// ---- Several channels

TEST_F(Calibrate, ASelectionOpensAndClosesTheShutterOnceAndReturnsOnce)
{
    VELM_Channel first = ChannelOf(1, "FITC");
    VELM_Channel without = ChannelOf(2, "DAPI");
    without.SetCalibType(CALIBRATION_NO);
    VELM_Channel last = ChannelOf(3, "Cy5", 2);
    last.SetExId(1);
    last.SetEmId(0);
    VELM_ChannelList channels;
    for (VELM_Channel * const channel : {&last, &without, &first}) {
        channels.Add(*channel);
    }
    wxArrayInt indices;
    for (int const index : {2, 1, 0}) {
        indices.Add(index);
    }
    Rig().TakeCalls();
    frames = {Pixels(128, 1), Pixels(128, 2), Pixels(512, 30), Pixels(512, 40)};
    LogRecorder const log;
    control.Calibrate(channels, indices, nullptr, 2, CALIB_MEAN);

    std::vector<LogLine> lines = LogOf("Cy5", "num_frames = 2, method = Mean");
    for (LogLine const & line : LogOf("FITC", "num_frames = 2, method = Mean")) {
        lines.push_back(line);
    }
    EXPECT_EQ(log.Lines(), lines);
    Strings expected{"stage.ReadPos()", "zdrive.ReadPos()", "ex.Move(2)", "em.Move(0)", "setting.~()"};
    Append(expected, GoTo(30));
    Append(expected, {"shutter.Open()"});
    Append(expected, Snaps(2, "128,0,0"));
    Append(expected, {"setting.~()", "ex.Move(1)", "em.Move(3)", "setting.~()"});
    Append(expected, Snaps(2));
    Append(expected, {"setting.~()", "shutter.Close()"});
    Append(expected, GoTo(50));
    EXPECT_EQ(Rig().TakeCalls(), expected);
    EXPECT_EQ(Voxels(*channels[2].GetCalibImage()->GetFullImage()), Pixels(128, 1));
    EXPECT_EQ(Voxels(*channels[0].GetCalibImage()->GetFullImage()), Pixels(512, 35));
    EXPECT_EQ(channels[0].GetCalibImage()->GetMean(), 35.0);
}

TEST_F(Calibrate, AnIndexOutsideTheListTripsAnAssertion)
{
    VELM_ChannelList channels;
    wxArrayInt indices;
    indices.Add(0);
    EXPECT_EQ(VELM_TRIPPED_BY(control.Calibrate(channels, indices, nullptr, 2, CALIB_MEAN)),
              "i < GetCount()");
}

TEST_F(Calibrate, AnEmptySelectionDoesNothing)
{
    VELM_ChannelList channels;
    control.Calibrate(channels, wxArrayInt(), nullptr, 2, CALIB_MEAN);
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

// ---- Afterwards

TEST_F(Calibrate, TheDefaultSettingIsInForceAfterwardsWithTheRegionOfBefore)
{
    VELM_CameraSetting const * const own = control.Camera_GetSetting();
    VELM_Channel channel = ChannelOf(1, "FITC");
    LogRecorder const progress;
    control.Calibrate(channel, nullptr, 1, CALIB_MEAN);
    EXPECT_EQ(control.Camera_GetSetting(), own);
    EXPECT_EQ(RegionOf(*own), (std::vector<int>{1, 2, 20, 10}));
    EXPECT_FALSE(Rig().shutter->opened);
}

TEST_F(Calibrate, WhatADriverThrowsLeavesShutterAndPlaceAsTheyAreAndTheDefaultSettingInForce)
{
    VELM_CameraSetting const * const own = control.Camera_GetSetting();
    Rig().on_call["camera.StartFrameCapture"] = [] { throw VELM_CameraControlError("no camera"); };
    VELM_ChannelList channels;
    VELM_Channel channel = ChannelOf(1, "FITC");
    channels.Add(channel);
    wxArrayInt indices;
    indices.Add(0);
    LogRecorder const progress;
    EXPECT_THROW(control.Calibrate(channel, nullptr, 1, CALIB_MEAN), VELM_CameraControlError);
    EXPECT_THROW(control.Calibrate(channels, indices, nullptr, 1, CALIB_MEAN), VELM_CameraControlError);
    EXPECT_EQ(control.Camera_GetSetting(), own);
    EXPECT_TRUE(Rig().shutter->opened);
    EXPECT_EQ(Rig().zdrive->pos, 10) << "twice the offset out of focus";
    EXPECT_THAT(Rig().TakeCalls(), Not(Contains("shutter.Close()")));
}

TEST_F(Calibrate, AChannelWithoutACameraSettingIsRefusedBeforeAnythingMoves)
{
    VELM_Channel channel = ChannelOf(1, "FITC");
    channel.TakeCameraSetting(nullptr);
    Rig().TakeCalls();
    LogRecorder const log;
    try {
        control.Calibrate(channel, nullptr, 1, CALIB_MEAN);
        FAIL();
    } catch (VELM_BaseControlError const & error) {
        EXPECT_EQ(error.GetMessage(),
                  "Channel 'FITC' has no camera setting to take a calibration image with.");
    }
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

} // namespace velm::test
