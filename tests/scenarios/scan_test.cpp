// A whole scan by the program, read back in this process.

#include "drivers/base/camera_setting.h"
#include "scenarios/scan_rig.h"
#include "support/log_recorder.h"
#include "velm_depository.h"
#include "velm_paths.h"
#include "vexaalgo/projection.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>

namespace velm::test {

namespace {

class ScanTest : public testing::Test {
  protected:
    // The voxels that a run leaves of channel 1 at its first place.
    std::vector<unsigned short> FirstStack(std::string const & name, std::vector<std::string> const & plan)
    {
        RunResult const run = _rig.Scan(name, plan);
        EXPECT_EQ(run.status, 0) << run.errors;
        vexa::Image3d<unsigned short> stack;
        EXPECT_TRUE(_rig.Open(name).FOV_LoadImage(1, 1, stack, nullptr));
        return {stack.begin(), stack.end()};
    }

    // All that is stored of the channel at that position of the record of a stack of three slices.
    static void ExpectChannelLoadsBack(VELM_Depository & depository, VELM_FOV const & fov, unsigned int i)
    {
        VELM_Channel const & channel = fov.GetChannel(i);
        VELM_TimeInterval const & time = fov.GetTimeInterval(i);
        ASSERT_NE(channel.GetCameraSetting(), nullptr);
        EXPECT_FALSE(channel.GetCameraSetting()->IsFullFrame())
            << "the region that was really taken is recorded";
        EXPECT_LE(time.GetStartTime(), time.GetEndTime());
        long const id = fov.GetId();
        std::string const file =
            wxString::Format("%s%02ld.ics", depository.FOV_GetDir(id), channel.GetId()).utf8_string();
        vexa::ImageNotes const notes = vexa::ReadImageNotes(file.c_str(), vexa::FileFormat::FromName);
        EXPECT_EQ(notes.channel, channel.GetName().utf8_string());
        EXPECT_EQ(notes.acquired, time.GetStartTime().Format("%Y-%m-%dT%H:%M:%S.%lZ", wxDateTime::UTC));
        vexa::Image3d<unsigned short> stack;
        ASSERT_TRUE(depository.FOV_LoadImage(id, channel.GetId(), stack, nullptr));
        EXPECT_EQ(stack.size.z, 3u);
        EXPECT_EQ(stack.size.x, static_cast<unsigned int>(channel.GetCameraSetting()->GetSerSize()));
        vexa::Image3d<unsigned short> projection;
        vexa::Image3d<unsigned short> expected;
        ASSERT_TRUE(depository.FOV_LoadAFImage(id, channel.GetId(), projection, nullptr));
        vexa::Get_AF_XY(stack, expected);
        EXPECT_TRUE(std::equal(projection.begin(), projection.end(), expected.begin()));
        nubo::Histogram<unsigned short> histogram;
        ASSERT_TRUE(depository.FOV_LoadHistogram(id, channel.GetId(), histogram));
        auto const & bins = histogram.GetBins();
        EXPECT_EQ(std::accumulate(bins.begin(), bins.end(), std::size_t{0}), stack.GetCount());
        EXPECT_NE(depository.FOV_GetThumbnailURL(id, channel.GetId()), "");
    }

    ScanRig _rig;
};

} // namespace

TEST_F(ScanTest, AGridIsScannedAndEveryRecordLoadsBack)
{
    RunResult const run =
        _rig.Scan("dep", {"--grid", "3x2", "--slices", "3", "--step", "5", "--channels", "1,3"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "FOV 1 saved\nFOV 2 saved\nFOV 3 saved\nFOV 4 saved\nFOV 5 saved\nFOV 6 saved\n");
    EXPECT_EQ(run.errors, "");

    LogRecorder log;
    VELM_Depository & depository = _rig.Open();
    ASSERT_EQ(depository.FOV_GetCount(), 6u);
    ASSERT_EQ(depository.GetCoordListRef().GetCount(), 6u);
    for (long id = 1; id <= 6; ++id) {
        VELM_FOV fov;
        ASSERT_TRUE(depository.FOV_Load(id, fov));
        EXPECT_EQ(fov.GetNumSlices(), 3);
        EXPECT_EQ(fov.GetStepZ(), 5);
        VELM_Coord const & planned = depository.GetCoordListRef().GetById(id);
        long x = 0;
        long y = 0;
        long z = 0;
        planned.GetPosition(x, y, z);
        long fov_x = 0;
        long fov_y = 0;
        long fov_z = 0;
        fov.GetCoord().GetPosition(fov_x, fov_y, fov_z);
        EXPECT_EQ(std::make_tuple(fov_x, fov_y, fov_z), std::make_tuple(x, y, z));
        EXPECT_NE(fov.GetHardwareParams().GetHWDesc(), "Unknown");
        EXPECT_NE(fov.GetHardwareParams().GetObjDesc(), "Unknown");
        ASSERT_EQ(fov.GetNumChannels(), 2u);
        EXPECT_EQ(fov.GetChannel(0).GetId(), 1);
        EXPECT_EQ(fov.GetChannel(1).GetId(), 3);
        for (unsigned int i = 0; i < 2; ++i) {
            ExpectChannelLoadsBack(depository, fov, i);
        }
    }
    EXPECT_EQ(log.Lines(), std::vector<LogLine>());
}

TEST_F(ScanTest, EveryVoxelIsWhatTheCameraDelivered)
{
    // The simulated camera writes each frame that it delivers to a file of its own.
    wxString const frames = _rig.Depository("frames");
    Path::MakeDirectory(frames);
    _rig.Set("FrameDir", frames.utf8_string());
    RunResult const run = _rig.Scan("dep", {"--grid", "2x1", "--slices", "3", "--channels", "1,2"});
    ASSERT_EQ(run.status, 0) << run.errors;
    VELM_Depository & depository = _rig.Open();
    unsigned int frame = 0;
    for (long id = 1; id <= 2; ++id) {
        for (long const channel : {1L, 2L}) {
            vexa::Image3d<unsigned short> stack;
            ASSERT_TRUE(depository.FOV_LoadImage(id, channel, stack, nullptr));
            for (unsigned int slice = 0; slice < 3; ++slice) {
                std::string const delivered = ReadFile(frames + wxString::Format("/%06u.raw", ++frame));
                std::size_t const pixels = std::size_t{stack.size.x} * stack.size.y;
                ASSERT_EQ(delivered.size(), pixels * 2);
                EXPECT_EQ(std::memcmp(delivered.data(), stack.GetVoxelAddr(0, 0, slice), delivered.size()), 0)
                    << "FOV " << id << ", channel " << channel << ", slice " << slice;
            }
        }
    }
}

TEST_F(ScanTest, TheSameSeedGivesTheSameImagesAndAnotherSeedOthers)
{
    auto const plan = [](char const * seed) {
        return std::vector<std::string>{"--grid", "1x1", "--slices", "2", "--channels", "1", "--seed", seed};
    };
    auto const first = FirstStack("a", plan("5"));
    EXPECT_EQ(FirstStack("b", plan("5")), first);
    EXPECT_NE(FirstStack("c", plan("6")), first);
}

TEST_F(ScanTest, ASecondScanGoesOnInTheSameDepository)
{
    EXPECT_EQ(_rig.Scan("dep", {"--grid", "2x1", "--slices", "1", "--channels", "1"}).status, 0);
    RunResult const again = _rig.Scan("dep", {"--slices", "1", "--channels", "1"});
    EXPECT_EQ(again.status, 0) << again.errors;
    EXPECT_EQ(again.output, "FOV 3 saved\nFOV 4 saved\n") << "the coordinates come from the depository";
}

TEST_F(ScanTest, WhatCannotBeDoneIsToldWithStatus1)
{
    RunResult const no_coordinates = _rig.Scan("a", {"--channels", "1"});
    EXPECT_EQ(no_coordinates.status, 1);
    EXPECT_EQ(no_coordinates.errors, "Error: The depository has no coordinates; make some with --grid.\n");

    RunResult const no_channel = _rig.Scan("b", {"--grid", "1x1", "--channels", "77"});
    EXPECT_EQ(no_channel.status, 1);
    EXPECT_EQ(no_channel.errors, "Error: The depository has no channel 77 that this microscope can image.\n");

    std::filesystem::create_directories(_rig.Depository("c").utf8_string());
    WriteFile(_rig.Depository("c") + "/thesis.tex", "years of work");
    RunResult const foreign = _rig.Scan("c", {"--grid", "1x1"});
    EXPECT_EQ(foreign.status, 1);
    EXPECT_EQ(foreign.errors, "Error: The directory " + _rig.Depository("c").utf8_string() +
                                  " holds something else than a depository.\n");

    ScanProcess no_ini({"--ini", "/none/velm.ini", "--depository", _rig.Depository("d").utf8_string()});
    RunResult const result = no_ini.Finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "Error: The installation's ini file /none/velm.ini does not exist.\n");
}

TEST_F(ScanTest, ADepositoryThatCannotBeMadeOrWrittenToIsTold)
{
    std::vector<std::string> const plan{"--grid", "1x1", "--slices", "1", "--channels", "1"};
    WriteFile(_rig.Depository("file"), "no directory");
    RunResult const unmade = _rig.Scan("file/dep", plan);
    EXPECT_EQ(unmade.status, 1);
    EXPECT_THAT(
        unmade.errors,
        testing::EndsWith("Error: The depository " + _rig.Depository("file/dep").utf8_string() +
                          " could not be opened or made; its parent has to exist and to be writable.\n"));

    ASSERT_EQ(_rig.Scan("dep", plan).status, 0);
    Path::MakeDirectory(_rig.Depository() + "/read-only-test.txt"); // in the way of the file that is to tell
    RunResult const unwritable = _rig.Scan("dep", plan);
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.errors, "Warning: Opening depository in read-only mode.\nError: The depository " +
                                     _rig.Depository().utf8_string() + " cannot be written to.\n");
}

TEST_F(ScanTest, ARefusedScanChangesNothing)
{
    ASSERT_EQ(_rig.Scan("dep", {"--grid", "2x1", "--slices", "1", "--channels", "1"}).status, 0);
    std::string const coordinates = ReadFile(_rig.Depository() + "/coordinates.txt");
    RunResult const too_many = _rig.Scan("dep", {"--grid", "100x100", "--slices", "1", "--channels", "1"});
    EXPECT_EQ(too_many.status, 1);
    EXPECT_EQ(too_many.errors,
              "Error: This scan takes 10000 FOVs, and the depository can number only 9997 more.\n");
    RunResult const no_channel = _rig.Scan("dep", {"--grid", "1x1", "--slices", "1", "--channels", "77"});
    EXPECT_EQ(no_channel.status, 1);
    EXPECT_EQ(ReadFile(_rig.Depository() + "/coordinates.txt"), coordinates);
    EXPECT_EQ(_rig.Open().FOV_GetCount(), 2u);
}

TEST_F(ScanTest, ACoordinateOrChannelThatLeavesNothingOfTheSensorIsToldBeforeTheFirstFrame)
{
    std::vector<std::string> const plan{"--slices", "1", "--channels", "1"};
    ASSERT_EQ(_rig.Scan("dep", {"--grid", "2x1", "--slices", "1", "--channels", "1"}).status, 0);
    {
        VELM_Depository & depository = _rig.Open();
        depository.GetCoordListRef().GetById(2).SetCameraRegion(50, 50, 20, 20);
        ASSERT_TRUE(depository.SaveCoords());
    }
    RunResult const reversed = _rig.Scan("dep", plan);
    EXPECT_EQ(reversed.status, 1);
    EXPECT_EQ(reversed.output, "");
    EXPECT_EQ(reversed.errors, "Error: The camera region of coordinate 2 ends before it begins.\n");
    {
        VELM_Depository & depository = _rig.Open();
        depository.GetCoordListRef().GetById(2).SetCameraRegion(20, 20, 50, 50);
        depository.GetChannelListRef().GetById(1).GetCameraSetting()->SetBinning(500, 1);
        ASSERT_TRUE(depository.SaveCoords() && depository.SaveChannels(nullptr));
    }
    RunResult const coarse = _rig.Scan("dep", plan);
    EXPECT_EQ(coarse.status, 1);
    EXPECT_EQ(coarse.output, "");
    EXPECT_EQ(coarse.errors,
              "Error: The binning of channel 1 leaves nothing of the sensor at coordinate 1.\n");
}

TEST_F(ScanTest, TheLightIsSentToTheCamera)
{
    std::vector<std::string> const plan{"--grid", "1x1", "--slices", "1", "--channels", "1"};
    auto const usual = FirstStack("a", plan);
    _rig.Set("StartsAtEyepiece", "1");
    EXPECT_EQ(FirstStack("b", plan), usual);

    _rig.Set("Fault1", "Body.SetLightPathToCamera throw from 1");
    RunResult const run = _rig.Scan("c", plan);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "Error: The microscope body failed: Simulated fault in Body.SetLightPathToCamera, call 2\n");
}

TEST_F(ScanTest, ADeviceThatFailsBeforeTheFirstPlaceIsNamed)
{
    _rig.Set("Fault1", "Stage.ReadPos throw from 1");
    RunResult const run = _rig.Scan("dep", {"--grid", "1x1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: The stage failed: Simulated fault in Stage.ReadPos, call 2\n");
}

TEST_F(ScanTest, AScanGoesOnWhenNobodyReadsItsProgressAnyMore)
{
    ScanProcess process(_rig.Arguments("dep", {"--grid", "6x1", "--slices", "1", "--channels", "1"}));
    ASSERT_TRUE(process.WaitForLine("FOV 1 saved"));
    process.StopReading();
    RunResult const run = process.Finish();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(_rig.Open().FOV_GetCount(), 6u);
}

TEST_F(ScanTest, ASecondRunIntoTheSameDepositoryIsRefused)
{
    _rig.Set("TimeScale", "1");
    std::vector<std::string> const plan{"--grid", "200x1", "--slices", "1", "--channels", "1"};
    ScanProcess first(_rig.Arguments("dep", plan));
    ASSERT_TRUE(first.WaitForLine("FOV 1 saved"));
    RunResult const second = _rig.Scan("dep", plan);
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors,
              "Error: Another run is storing into the depository " + _rig.Depository().utf8_string() + ".\n");
    first.Signal(SIGINT);
    EXPECT_EQ(first.Finish().status, 130);
}

TEST_F(ScanTest, AFullDiskEndsTheRunWithAClearErrorAndNoHalfFov)
{
    // Files may grow large enough for lists and records, but not for the second place's stack.
    RunResult const first = _rig.Scan("dep", {"--grid", "1x1", "--slices", "2", "--channels", "1"});
    ASSERT_EQ(first.status, 0) << first.errors;
    RunResult const full =
        ScanProcess(_rig.Arguments("dep", {"--slices", "9", "--channels", "1"}), {60000}).Finish();
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.errors,
                testing::HasSubstr("Error: The images of channel 1 of FOV 2 could not be stored.\n"));
    VELM_Depository & depository = _rig.Open();
    EXPECT_EQ(depository.FOV_GetCount(), 1u);
    VELM_FOV fov;
    EXPECT_TRUE(depository.FOV_Load(1, fov));
    EXPECT_FALSE(std::filesystem::exists((_rig.Depository() + "/rawdata/0002").utf8_string()));
}

TEST_F(ScanTest, AFovWithoutItsThumbnailIsNotWhole)
{
    std::vector<std::string> const plan{"--slices", "1", "--channels", "1"};
    ASSERT_EQ(_rig.Scan("dep", {"--grid", "1x1", "--slices", "1", "--channels", "1"}).status, 0);
    // With few large pixels the thumbnail, which has its own size, is the largest file.
    VELM_Depository & depository = _rig.Open();
    depository.GetChannelListRef().GetById(1).GetCameraSetting()->SetBinning(16, 16);
    ASSERT_TRUE(depository.SaveChannels(nullptr));
    RunResult const full = ScanProcess(_rig.Arguments("dep", plan), {1700}).Finish();
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.output, "");
    EXPECT_THAT(full.errors,
                testing::EndsWith("Error: The thumbnail of channel 1 of FOV 2 could not be stored.\n"));
    EXPECT_FALSE(std::filesystem::exists((_rig.Depository() + "/rawdata/0002").utf8_string()));
    EXPECT_EQ(_rig.Scan("dep", plan).status, 0) << "without a limit";
}

TEST_F(ScanTest, WrongUsageHasStatus2)
{
    RunResult const run = ScanProcess({"--grid"}).Finish();
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "velm-scan: --grid needs a value\nTry \"velm-scan --help\".\n");
}

TEST_F(ScanTest, HelpAndVersionGoToStandardOutput)
{
    RunResult const help = ScanProcess({"--help"}).Finish();
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, testing::StartsWith("usage: velm-scan "));
    EXPECT_THAT(ScanProcess({"--version"}).Finish().output, testing::MatchesRegex("velm-scan [0-9.]+\n"));
}

class SignalTest : public ScanTest, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(CtrlCTerminationAndLossOfTheTerminal, SignalTest,
                         testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(SignalTest, AnInterruptedScanClosesTheShutterAndKeepsEveryFinishedFovAndNoOther)
{
    _rig.Set("TimeScale", "1");
    ScanProcess process(_rig.Arguments("dep", {"--grid", "20x1", "--slices", "2", "--channels", "1"}));
    ASSERT_TRUE(process.WaitForLine("FOV 1 saved"));
    auto const asked = std::chrono::steady_clock::now();
    process.Signal(GetParam());
    RunResult const run = process.Finish();
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(2));
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.errors, "Warning: Interrupted; every FOV finished so far is whole on disk.\n");
    EXPECT_THAT(_rig.State(), testing::HasSubstr("Shutter=closed"));
    VELM_Depository & depository = _rig.Open();
    std::vector<long> const saved = SavedIds(run.output);
    EXPECT_EQ(depository.FOV_GetCount(), saved.size()) << "no FOV is half-registered";
    for (long const id : saved) {
        VELM_FOV fov;
        EXPECT_TRUE(depository.FOV_Load(id, fov));
    }
}

} // namespace velm::test
