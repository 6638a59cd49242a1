// velm-scan with --autofocus and --calibrate, as a user runs it.

#include "drivers/base/camera_setting.h"
#include "scenarios/scan_rig.h"
#include "velm_depository.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>
#include <wx/filefn.h>

namespace velm::test {

namespace {

// On a level slide whose focus is at 5000 (tenths of a micron), with the Z drive 2 microns below it.
class FocusTest : public testing::Test {
  protected:
    FocusTest()
    {
        for (auto const & [key, value] :
             std::initializer_list<std::pair<char const *, char const *>>{{"FocusHeight", "500"},
                                                                          {"FocusTilt", "0"},
                                                                          {"FocusWave", "0"},
                                                                          {"ZStart", "4980"},
                                                                          {"SensorWidth", "480"},
                                                                          {"SensorHeight", "352"}}) {
            _rig.Set(key, value);
        }
    }

    RunResult Scan(std::vector<std::string> const & more) const
    {
        std::vector<std::string> arguments{"--slices", "1", "--channels", "1"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return _rig.Scan("dep", arguments);
    }

    void ExpectShutterClosedAndDriveWhereItWas() const
    {
        EXPECT_THAT(_rig.State(), testing::HasSubstr("Shutter=closed\n"));
        EXPECT_THAT(_rig.State(), testing::HasSubstr("Z=4980\n"));
    }

    // The camera delivers frames before the n-th, which fails.
    void ExpectFailureAtFrame(int n, std::vector<std::string> const & more, std::string const & doing)
    {
        std::string const fault = "Camera.StartFrameCapture";
        _rig.Set("Fault1", fault + " throw from " + std::to_string(n));
        RunResult const run = Scan(more);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.errors, "Error: " + doing + " failed: Simulated fault in " + fault + ", call " +
                                  std::to_string(n) + "\n");
        ExpectShutterClosedAndDriveWhereItWas();
    }

    // The last line of the depository's log, without its time.
    std::string LastLogged() const
    {
        std::string const log = ReadFile(_rig.Depository() + "/log.txt");
        std::size_t const begin = log.rfind('\n', log.size() - 2) + 1;
        std::string const time = "2026-11-21 23:59:59: ";
        EXPECT_THAT(log.substr(begin, time.size()), testing::MatchesRegex("[-0-9]{10} [:0-9]{8}: "));
        return log.substr(begin + time.size());
    }

    VELM_FOV LoadFov(long id)
    {
        VELM_FOV fov;
        EXPECT_TRUE(_rig.Open().FOV_Load(id, fov));
        return fov;
    }

    ScanRig _rig;
};

} // namespace

TEST_F(FocusTest, EveryPlaceIsRecordedWithTheFocusThatWasFoundThere)
{
    RunResult const run = Scan({"--grid", "2x1", "--autofocus", "1"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(SavedIds(run.output), (std::vector<long>{1, 2}));
    for (long const id : {1L, 2L}) {
        EXPECT_NEAR(static_cast<double>(LoadFov(id).GetCoord().GetZDrivePosition()), 5000.0, 5.0);
    }
    EXPECT_EQ(_rig.Open().GetCoordListRef()[0].GetZDrivePosition(), 4980) << "a plan stays as it was made";
}

TEST_F(FocusTest, SettingsOfTheChannelsAreNotThoseOfTheSearch)
{
    ASSERT_EQ(Scan({"--grid", "1x1", "--autofocus", "1"}).status, 0);
    VELM_FOV const fov = LoadFov(1);
    EXPECT_EQ(fov.GetChannelById(1).GetCameraSetting()->GetExposure(), 40000U);
    EXPECT_EQ(fov.GetChannelById(1).GetCameraSetting()->GetSBin(), 2);
}

TEST_F(FocusTest, OnABlankFieldLeavesThePlaceOutWithTheShutterClosedAndTheDriveWhereItWas)
{
    _rig.Set("Density", "0");
    RunResult const run = Scan({"--grid", "1x1", "--autofocus", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors,
              "Error: Focusing on channel 'DAPI' at coordinate 1 failed: there is nothing to be seen. The "
              "place is left out.\n"
              "Error: 1 of 1 places were left out, since their focus was not found.\n");
    ExpectShutterClosedAndDriveWhereItWas();
    EXPECT_EQ(_rig.Open().FOV_GetCount(), 0U);
}

TEST_F(FocusTest, BeyondTheDrivesRangeLeavesThePlaceOutAndTheOthersFollow)
{
    _rig.Set("ZUpper", "5080");
    VELM_Depository & depository = _rig.Open();
    for (long const z : {5075L, 4980L}) {
        VELM_Coord coord(-1, 0, 0, z, -1, -1, -1, -1);
        depository.GetCoordListRef().Add(coord);
    }
    ASSERT_TRUE(depository.SaveCoords());
    RunResult const run = Scan({"--autofocus", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "FOV 1 saved\n");
    EXPECT_THAT(run.errors,
                testing::StartsWith("Error: Focusing on channel 'DAPI' at coordinate 1 failed: "));
    EXPECT_THAT(run.errors,
                testing::EndsWith("Error: 1 of 2 places were left out, since their focus was not found.\n"));
    EXPECT_NEAR(static_cast<double>(LoadFov(1).GetCoord().GetZDrivePosition()), 5000.0, 5.0);
}

TEST_F(FocusTest, ThatADriverFailsInEndsTheRunWithTheShutterClosedAndTheDriveWhereItWas)
{
    ExpectFailureAtFrame(5, {"--grid", "1x1", "--autofocus", "1"},
                         "Focusing on channel 'DAPI' at coordinate 1");
}

TEST_F(FocusTest, ThatTheCameraHangsInIsEndedByTheWatchdog)
{
    ASSERT_EQ(Scan({"--grid", "1x1"}).status, 0);
    _rig.Set("Deadlines", "AutoFocus", "300");
    _rig.Set("Fault1", "Camera.StartFrameCapture hang from 1");
    RunResult const run = Scan({"--autofocus", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "Error: Focusing on channel 'DAPI' at coordinate 1 hangs: it is not done after 0.3 seconds "
              "(exposures begun: 1). The shutter was last seen open, the Z drive at 498.0 microns. The run "
              "ends here; "
              "every FOV finished so far is whole on disk. Close the shutter by hand.\n");
    EXPECT_EQ(LastLogged(), run.errors);
    EXPECT_EQ(_rig.Open().FOV_GetCount(), 1U);
    EXPECT_EQ(LoadFov(1).GetNumChannels(), 1U);
}

TEST_F(FocusTest, IsEndedByTheWatchdogWhereNoLogCanBeWrittenToo)
{
    ASSERT_EQ(Scan({"--grid", "1x1"}).status, 0);
    wxString const log = _rig.Depository() + "/log.txt";
    ASSERT_TRUE(wxRemoveFile(log) && wxMkdir(log));
    _rig.Set("Deadlines", "AutoFocus", "300");
    _rig.Set("Fault1", "Camera.StartFrameCapture hang from 1");
    RunResult const run = Scan({"--autofocus", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::StartsWith("Warning: velm::Log::AddFileTarget: Log file '"));
    EXPECT_THAT(run.errors,
                testing::HasSubstr("'Default' log targets instead.\nError: Focusing on channel 'DAPI' "
                                   "at coordinate 1 hangs: it is not done after 0.3 seconds "));
}

TEST_F(FocusTest, OnALightThatNeverSettlesIsEndedByTheWatchdog)
{
    _rig.Set("Density", "0"); // noise alone, and little of it, is never twice the same
    _rig.Set("SensorWidth", "128");
    _rig.Set("SensorHeight", "128");
    _rig.Set("Deadlines", "AutoFocus", "600");
    RunResult const run = Scan({"--grid", "1x1", "--autofocus", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(
        run.errors,
        testing::MatchesRegex(
            "Error: Focusing on channel 'DAPI' at coordinate 1 hangs: it is not done after 0.6 seconds "
            ".exposures begun: [2345].. The shutter was last seen open, the Z drive at 498.0 microns. The "
            "run ends here; every FOV finished so far is whole on disk. Close the shutter by hand.\n"));
}

TEST_F(FocusTest, OnAChannelThatIsNotThereIsRefused)
{
    RunResult const run = Scan({"--grid", "1x1", "--autofocus", "7"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: The depository has no channel 7 that this microscope can image.\n");
}

TEST_F(FocusTest, CalibrationImagesAreCapturedOnceAndCorrectWhatIsShown)
{
    ASSERT_EQ(Scan({"--grid", "1x1", "--calibrate", "3,median"}).status, 0);
    {
        VELM_FOV const fov = LoadFov(1);
        VELM_Channel const & channel = fov.GetChannelById(1);
        EXPECT_TRUE(channel.UseCalibration());
        ASSERT_NE(channel.GetCalibImage(), nullptr);
        EXPECT_EQ(channel.GetCalibImage()->GetId(), 1);
        EXPECT_GT(channel.GetCalibImage()->GetMean(), 100.0);
        VELM_IlluminationCorrection const & correction =
            *fov.GetCorrSettingsById(1).GetIlluminationCorrection();
        EXPECT_TRUE(correction.IsApplied());
        EXPECT_EQ(correction.GetMethod().Get(), VELM_IlluminationCorrectionMethod::CALIBRATION_IMAGE);
    }
    for (std::vector<std::string> const & more :
         {std::vector<std::string>{}, std::vector<std::string>{"--calibrate", "3,median"}}) {
        RunResult const again = Scan(more);
        EXPECT_EQ(again.status, 0) << again.errors;
        EXPECT_EQ(_rig.Open().CI_FindMaxId(), 1) << "the image that is there is used";
    }
    EXPECT_THAT(_rig.State(), testing::HasSubstr("Shutter=closed"));
}

TEST_F(FocusTest, AChannelWhoseCalibrationImageIsMissingIsTold)
{
    ASSERT_EQ(Scan({"--grid", "1x1", "--calibrate", "2,mean"}).status, 0);
    wxRemoveFile(_rig.Depository() + "/calib_images/ci_0001.ics");
    RunResult const run = Scan({});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors,
                testing::EndsWith("Error: Channel 1 is to be corrected by a calibration image and has "
                                  "none that fits its camera setting; capture one with --calibrate.\n"));
    EXPECT_EQ(Scan({"--calibrate", "2,mean"}).status, 0) << "another is captured";
}

TEST_F(FocusTest, CalibratingWhatIsNotCorrectedIsToldAndDoesNothing)
{
    ASSERT_EQ(Scan({"--grid", "1x1"}).status, 0);
    RunResult const run = Scan({"--calibrate", "2,mean"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(
        run.errors,
        "Warning: No channel of this scan is corrected by a calibration image; --calibrate does nothing.\n");
    EXPECT_EQ(_rig.Open().CI_FindMaxId(), 0);
}

TEST_F(FocusTest, ACalibrationThatFailsEndsTheRunWithTheShutterClosedAndTheDriveWhereItWas)
{
    ExpectFailureAtFrame(2, {"--grid", "1x1", "--calibrate", "3,mean"},
                         "Taking the calibration image of channel 'DAPI'");
}

TEST_F(FocusTest, ACalibrationThatHangsIsEndedByTheWatchdog)
{
    _rig.Set("Deadlines", "Calibration", "100");
    _rig.Set("Fault1", "Camera.StartFrameCapture hang from 2");
    RunResult const run = Scan({"--grid", "1x1", "--calibrate", "3,mean"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::MatchesRegex(
                                "Error: Taking the calibration image of channel 'DAPI' hangs: it is not done "
                                "after 0.1 seconds .exposures begun: [12].. The shutter was last seen open, "
                                "the Z drive at 198.0 microns. .*\n"));
}

} // namespace velm::test
