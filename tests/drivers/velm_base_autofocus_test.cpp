#include "drivers/base/velm_base.h"

#include "support/log_recorder.h"
#include "support/stub_microscope.h"
#include "velm_channel.h"

#include <cstdlib>
#include <gmock/gmock.h>

namespace velm::test {

namespace {

using Strings = std::vector<std::string>;
using Positions = std::vector<long>;
using testing::Contains;
using testing::Not;

// What the search logs from end to end.
std::vector<LogLine> const whole_log{
    Message("Please wait, auto focusing..."),
    Message("VELM_BaseControl::AutoFocus: Fading cycle has started..."),
    Message("VELM_BaseCorntol::AutoFocus: Fading cycle has finished."),
    Message("Finding of the direction of focusing has started..."),
    Message("Finding of the direction of focusing has finished..."),
    Message("VELM_BaseControl::AutoFocus: Data acquiring loop has started..."),
    Message("VELM_BaseControl::AutoFocus: Data acquiring loop has finished.")};

// A microscope with a small camera, whose frames show steps that are as high as the height function says for
// the Z drive's hardware position: the focus measure is 4 times the height's square.
class AutoFocus : public testing::Test {
  protected:
    static constexpr unsigned short side = 64;

    AutoFocus()
    {
        Rig().camera->SetCCDSize(side, side);
        channel.TakeCameraSetting(new StubSetting);
        channel.GetCameraSetting()->SetRegion(8, 8, 39, 23);
        Rig().expose = [this](unsigned short * pixels, unsigned int count) {
            long const position = Rig().zdrive->pos;
            positions.push_back(position);
            unsigned int const width = count == side * side ? side : side / 2;
            for (unsigned int i = 0; i < count; ++i) {
                bool const right = i % width >= width / 2;
                pixels[i] = static_cast<unsigned short>(right ? height(position) : 0);
            }
        };
    }

    // In focus at that position.
    void Focus(long position)
    {
        height = [position](long z) { return 1000 - std::abs(z - position); };
    }

    std::vector<LogLine> Search(VELM_AutoFocusParams const & params = VELM_AutoFocusParams())
    {
        LogRecorder const log;
        control.AutoFocus(&microscope.GetDatabase(), channel, params, nullptr);
        return log.Lines();
    }

    // The planes of the search, without those of the fading cycle's two frames.
    Positions Planes() const { return {positions.begin() + 2, positions.end()}; }

    StubMicroscope microscope;
    VELM_BaseControl & control = microscope.Start();
    VELM_Channel channel{"FITC", 0, 1, 0};
    std::function<long(long)> height = [](long) { return 0L; };
    Positions positions; // of all frames
};

// The binning that the search gives a channel with that exposure and binning; it ends at the first frame.
int CameraBinning(VELM_BaseControl & control, VELM_Database const & db, VELM_Channel & channel,
                  unsigned long exposure, int bin, VELM_AutoFocusParams const & params)
{
    channel.GetCameraSetting()->SetExposure(exposure);
    channel.GetCameraSetting()->SetBinning(bin, bin);
    Rig().on_call["camera.StartFrameCapture"] = [] { throw VELM_CameraControlError("enough"); };
    LogRecorder const progress;
    EXPECT_THROW(control.AutoFocus(&db, channel, params, nullptr), VELM_CameraControlError);
    EXPECT_EQ(channel.GetCameraSetting()->GetSBin(), channel.GetCameraSetting()->GetPBin());
    return channel.GetCameraSetting()->GetSBin();
}

} // namespace

// ---- Parameters

TEST(AutoFocusParams, ComeInTheOrderOfTheirFieldsWithDefaultsAndAreCopied)
{
    auto const fields = [](VELM_AutoFocusParams const & p) {
        return Positions{p.binning_exp, p.max_shift, p.dir_samples, p.step, p.exposure_passes};
    };
    VELM_AutoFocusParams params;
    EXPECT_EQ(fields(params), (Positions{4, 40, 5, 10, 4}));
    params = VELM_AutoFocusParams(1, 2, 3, 4, 5);
    EXPECT_EQ(fields(params), (Positions{1, 2, 3, 4, 5}));
}

// ---- Exposure and binning

TEST_F(AutoFocus, EachFactorOfFourInLightIsADoublingOfTheCamerasBinning)
{
    struct Case {
        unsigned long exposure;
        int bin;
        VELM_AutoFocusParams params;
        int expected;
    };
    VELM_AutoFocusParams const plain; // an exposure of 4 passes of 25000
    for (Case const & c : {
             Case{100000, 1, plain, 1},
             Case{99999, 1, plain, 1},
             Case{1, 1, plain, 1},
             Case{0, 1, plain, 1},
             Case{399999, 1, plain, 1},
             Case{400000, 1, plain, 2},
             Case{100000, 2, plain, 2},
             Case{1600000, 1, plain, 4},
             Case{100000, 4, plain, 4},
             Case{6400000, 1, plain, 8},
             Case{4000000000, 1, plain, 16}, // no more than what the measure works at
             Case{4000000000, 1, VELM_AutoFocusParams(2), 4},
             Case{4000000000, 1, VELM_AutoFocusParams(0), 1},
             Case{4000000000, 1, VELM_AutoFocusParams(-1), 1},
             Case{4294967296 + 400000, 1, plain, 2}, // the product is one of 32 bits
             Case{4294967296 / 4, 2, plain, 1},
             Case{800000, 1, VELM_AutoFocusParams(4, 40, 5, 10, 8), 2},
         }) {
        EXPECT_EQ(CameraBinning(control, microscope.GetDatabase(), channel, c.exposure, c.bin, c.params),
                  c.expected)
            << c.exposure << ", " << c.bin;
        EXPECT_EQ(channel.GetCameraSetting()->GetExposure(),
                  static_cast<unsigned long>(c.params.exposure_passes) * 25000U);
    }
}

TEST_F(AutoFocus, AMillionTimesTheLightWithAMeasureAtFourIsBinnedByFour)
{
    LogRecorder const progress;
    microscope.Build(StubMicroscope::WholeRig(StubMicroscope::known_scale + "SpinDiskTime=1\n")).Init();
    Rig().camera->SetCCDSize(side, side);
    EXPECT_EQ(CameraBinning(microscope.Get(), microscope.GetDatabase(), channel, 4000000, 1,
                            VELM_AutoFocusParams(2)),
              4);
}

TEST_F(AutoFocus, ADiskThatTakesNoTimeIsBinnedAsFarAsItGoes)
{
    LogRecorder const progress;
    microscope.Build(StubMicroscope::WholeRig(StubMicroscope::known_scale + "SpinDiskTime=0\n")).Init();
    Rig().camera->SetCCDSize(side, side);
    VELM_Database const & db = microscope.GetDatabase();
    EXPECT_EQ(CameraBinning(microscope.Get(), db, channel, 1000, 1, VELM_AutoFocusParams(3)), 8);
    EXPECT_EQ(CameraBinning(microscope.Get(), db, channel, 0, 1, VELM_AutoFocusParams(3)), 1);
}

// ---- Order

TEST_F(AutoFocus, GoesThroughItsStepsInOrderAndWaitsOnlyForTheSearchsEnds)
{
    Rig().moving_polls = 1;
    Focus(25);
    EXPECT_EQ(Search(), whole_log);

    std::string const snap = "camera.StartFrameCapture(4096,0,0)";
    std::string const status = "camera.GetStatus(null)";
    std::string const read = "zdrive.ReadPos()";
    std::string const moving = "zdrive.IsMoving()";
    Strings expected{"ex.Move(1)", "em.Move(3)", "setting.~()", "shutter.Open()", snap, status,
                     status,       snap,         status,        status,           read, "zdrive.MoveRel(-20)",
                     moving,       moving,       read};
    auto const sample = [&](std::string const & move) {
        for (std::string const & call : {read, snap, status, status, read, move}) {
            expected.push_back(call);
        }
    };
    for (int i = 0; i < 5; ++i) {
        sample("zdrive.MoveRel(10)");
    }
    expected.insert(expected.end(), {read, "zdrive.MoveRel(10)"});
    for (int i = 0; i < 4; ++i) {
        sample("zdrive.MoveRel(10)");
    }
    // From 80, behind the last plane, to the focus at 25.
    expected.insert(expected.end(), {"shutter.Close()", read, read, "zdrive.MoveRel(-55)", moving, moving});
    EXPECT_EQ(Rig().TakeCalls(), expected);
}

TEST_F(AutoFocus, LeavesTheSearchsSettingInForceAndTheShutterClosed)
{
    Rig().shutter->opened = true;
    control.Shutter_EconomyMode(false);
    Focus(0);
    Search();
    VELM_CameraSetting const & setting = *channel.GetCameraSetting();
    EXPECT_EQ(control.Camera_GetSetting(), &setting);
    EXPECT_EQ(setting.GetExposure(), 100000U);
    EXPECT_EQ(setting.GetSBin(), 1);
    EXPECT_EQ(setting.GetS1(), 0);
    EXPECT_EQ(setting.GetP1(), 0);
    EXPECT_EQ(setting.GetS2(), side - 1);
    EXPECT_EQ(setting.GetP2(), side - 1);
    EXPECT_FALSE(Rig().shutter->opened);
    EXPECT_EQ(control.ExFilter_GetPos(), 1);
    EXPECT_EQ(control.EmFilter_GetPos(), 3);
}

// ---- Fading

TEST_F(AutoFocus, TheLightStaysOnUntilTwoFramesInARowAgree)
{
    // Measures of 1, 0.5, 0.4 and 0.3994: only the last two are within 0.3 %.
    Positions const heights{2000, 1414, 1265, 1264};
    height = [&](long) { return heights[std::min(positions.size(), heights.size()) - 1]; };
    Search();
    EXPECT_EQ(Positions(positions.begin(), positions.begin() + 5), (Positions{0, 0, 0, 0, -20}));
}

TEST_F(AutoFocus, ALightThatGrowsSettlesToo)
{
    Positions const heights{1000, 1010, 1011, 1011};
    height = [&](long) { return heights[std::min(positions.size(), heights.size()) - 1]; };
    Search();
    EXPECT_EQ(Positions(positions.begin(), positions.begin() + 4), (Positions{0, 0, 0, -20}));
}

TEST_F(AutoFocus, TwoBlackFramesEndTheFadingCycleAtOnce)
{
    Search();
    EXPECT_EQ(Positions(positions.begin(), positions.begin() + 3), (Positions{0, 0, -20}));
}

// ---- The walk

TEST_F(AutoFocus, WalksUpwardsWhenTheMeasureRises)
{
    Focus(25);
    Search();
    EXPECT_EQ(Planes(), (Positions{-20, -10, 0, 10, 20, 40, 50, 60, 70}));
    EXPECT_EQ(control.ZDrive_GetCurPos(), 25);
}

TEST_F(AutoFocus, GoesBackToTheStartAndWalksDownwardsWhenTheMeasureFalls)
{
    Focus(-25);
    Search();
    EXPECT_EQ(Planes(), (Positions{-20, -10, 0, 10, 20, -20, -30, -40, -50, -60, -70}));
    EXPECT_EQ(control.ZDrive_GetCurPos(), -25);
}

TEST_F(AutoFocus, AFlatMeasureCountsAsRisingAndEndsAfterOneSample)
{
    height = [](long) { return 500L; };
    EXPECT_EQ(Search(), whole_log);
    EXPECT_EQ(Planes(), (Positions{-20, -10, 0, 10, 20, 40}));
    EXPECT_EQ(control.ZDrive_GetCurPos(), -40) << "no vertex is the window's lower edge";
}

TEST_F(AutoFocus, AMeasureThatNeverTurnsEndsAtAHundredSamples)
{
    height = [](long z) { return 2000 + z; };
    Search();
    Positions const planes = Planes();
    EXPECT_EQ(planes.size(), 100U);
    EXPECT_EQ(planes.back(), 980);
    EXPECT_EQ(control.ZDrive_GetCurPos(), -40) << "the fitted parabola's vertex lies far below";
}

TEST_F(AutoFocus, OnePlaneForTheDirectionIsThePresentOne)
{
    Focus(25);
    Search(VELM_AutoFocusParams(4, 40, 1, 5, 4));
    EXPECT_THAT(Rig().TakeCalls(), Contains("zdrive.MoveRel(0)"));
    Positions const planes = Planes();
    ASSERT_EQ(planes.size(), 100U) << "one sample has no slope, so none is against it";
    EXPECT_EQ(planes[0], 0);
    EXPECT_EQ(planes[1], 10);
}

TEST_F(AutoFocus, AnEvenNumberOfPlanesBeginsHalfOfThemBelow)
{
    Focus(25);
    Search(VELM_AutoFocusParams(4, 40, 4, 5, 4));
    Positions const planes = Planes();
    EXPECT_EQ(Positions(planes.begin(), planes.begin() + 5), (Positions{-10, -5, 0, 5, 15}));
}

TEST_F(AutoFocus, WorksInLogicalPositions)
{
    control.ZDrive_AddOffset(300);
    Rig().zdrive->pos = 300;
    Focus(325);
    Search();
    EXPECT_EQ(control.ZDrive_GetCurPos(), 25);
    EXPECT_EQ(Rig().zdrive->pos, 325);
}

TEST_F(AutoFocus, TakesEachPositionFromTheDriveInsteadOfAssumingIt)
{
    // Each move falls short by 3, and the samples lie 7 apart.
    Rig().on_call["zdrive.MoveRel"] = [] { Rig().zdrive->pos -= 3; };
    Focus(25);
    Search();
    EXPECT_EQ(Planes(), (Positions{-23, -16, -9, -2, 5, 19, 26, 33, 40, 47, 54, 61, 68, 75}));
    EXPECT_NEAR(static_cast<double>(control.ZDrive_GetCurPos()), 25.0 - 3.0, 1.0);
}

// ---- The clamp

TEST_F(AutoFocus, AFocusFurtherUpThanMaxShiftIsTakenAtTheWindowsEdge)
{
    Focus(60);
    Search();
    EXPECT_EQ(control.ZDrive_GetCurPos(), 40) << "40 above where the search began";
}

TEST_F(AutoFocus, AFocusFurtherDownThanMaxShiftIsTakenAtTheEdgeOfAWindowThatLiesLower)
{
    Focus(-100);
    Search();
    EXPECT_EQ(control.ZDrive_GetCurPos(), -80) << "40 below the point two steps below the start plane";
}

TEST_F(AutoFocus, TheLowerWindowEndsWhereTheSearchBegan)
{
    height = [](long z) { return 2000 - z; };
    Search();
    EXPECT_EQ(control.ZDrive_GetCurPos(), 0) << "although the fitted parabola's vertex lies far above";
}

TEST_F(AutoFocus, ANarrowWindowHoldsAnyFocusNearWhereTheSearchBegan)
{
    Focus(25);
    Search(VELM_AutoFocusParams(4, 7, 5, 10, 4));
    EXPECT_EQ(control.ZDrive_GetCurPos(), 7);
}

// ---- Failures

TEST_F(AutoFocus, AMoveOutOfRangeLeavesTheShutterOpenAndTheDriveWhereItIs)
{
    Rig().zdrive->pos = 970;
    Focus(1100);
    LogRecorder const log;
    try {
        control.AutoFocus(&microscope.GetDatabase(), channel, VELM_AutoFocusParams(), nullptr);
        FAIL();
    } catch (VELM_ZDriveControlError const & error) {
        EXPECT_EQ(error.GetMessage(),
                  "Attempt to move the ZDrive out of the HW range [-1000,1000]! (Pos = 1010, Offset = 0)");
    }
    EXPECT_EQ(log.Lines(), std::vector<LogLine>(whole_log.begin(), whole_log.begin() + 5));
    EXPECT_TRUE(Rig().shutter->opened);
    EXPECT_EQ(Rig().zdrive->pos, 1000);
}

TEST_F(AutoFocus, WhatADriverThrowsPasses)
{
    Rig().on_call["camera.StartFrameCapture"] = [] { throw VELM_CameraControlError("no camera"); };
    LogRecorder const log;
    EXPECT_THROW(control.AutoFocus(&microscope.GetDatabase(), channel, VELM_AutoFocusParams(), nullptr),
                 VELM_CameraControlError);
    EXPECT_EQ(log.Lines(), std::vector<LogLine>(whole_log.begin(), whole_log.begin() + 2));
    EXPECT_THAT(Rig().TakeCalls(), Not(Contains("shutter.Close()")));
}

TEST_F(AutoFocus, AChannelWithoutACameraSettingIsRefusedBeforeAnythingMoves)
{
    channel.TakeCameraSetting(nullptr);
    Rig().TakeCalls();
    LogRecorder const log;
    try {
        control.AutoFocus(&microscope.GetDatabase(), channel, VELM_AutoFocusParams(), nullptr);
        FAIL();
    } catch (VELM_BaseControlError const & error) {
        EXPECT_EQ(error.GetMessage(), "Channel 'FITC' has no camera setting to focus with.");
    }
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

} // namespace velm::test
