#include "drivers/base/velm_base.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/stub_microscope.h"

namespace velm::test {

namespace {

using Lines = std::vector<LogLine>;
using Strings = std::vector<std::string>;

struct Words {
    char const * group;
    char const * banner;
    char const * name;
    char const * factory;
};

Words const devices[] = {
    {"Camera", "Camera", "Camera", "CreateCameraControl"},
    {"ZDrive", "ZDrive", "ZDrive", "CreateZDriveControl"},
    {"Stage", "Stage", "Stage", "CreateStageControl"},
    {"Shutter", "Shutter", "Shutter", "CreateShutterControl"},
    {"ExFilter", "Excitation Filters", "Excitation filters", "CreateExFilterControl"},
    {"EmFilter", "Emission Filters", "Emission filters", "CreateEmFilterControl"},
    {"MicroscopeBody", "Microscope Body", "Microscope body", "CreateMicroscopeBodyControl"},
};

// The lines in front of the first device, for an ini file with no more than the scale.
Lines const system_lines{
    Message("=============== Driver Initialization ==============="),
    Message("System image orientation in x axis: 0"),
    Message("System image orientation in y axis: 0"),
    Message("Stage orientation in x axis: 1"),
    Message("Stage orientation in y axis: 1"),
    Message("Tolerance of the stage (in 0.1 microns): 10"),
    Message("Tolerance of the ZDrive (in 0.1 microns): 2"),
};

void Append(Lines & lines, Lines const & more)
{
    lines.insert(lines.end(), more.begin(), more.end());
}

Lines Banner(Words const & words)
{
    return {Message("-------------------- " + std::string(words.banner) + " ------------------------"),
            Message("Loading driver...")};
}

LogLine Absent(Words const & words)
{
    return Message(std::string(words.name) + " not available.");
}

class BaseControlStart : public testing::Test {
  protected:
    VELM_BaseControl & Build(std::string const & ini) { return microscope.Build(ini); }

    // What the log says about the first device, the camera, when the ini file has that text behind the scale.
    Lines CameraLines(std::string const & ini)
    {
        log.Clear();
        Build(StubMicroscope::known_scale + ini);
        return Section("-------------------- Camera ------------------------",
                       "-------------------- ZDrive ------------------------");
    }

    // The lines between two, neither included.
    Lines Section(std::string const & first, std::string const & last) const
    {
        auto const & lines = log.Lines();
        auto const begin = std::find(lines.begin(), lines.end(), Message(first));
        auto const end = std::find(begin, lines.end(), Message(last));
        return begin == end ? Lines() : Lines(begin + 1, end);
    }

    LogRecorder log;
    StubMicroscope microscope;
};

} // namespace

TEST_F(BaseControlStart, AWholeRigOfOneDriverIsBuiltDeviceByDevice)
{
    VELM_BaseControl const & control = Build(StubMicroscope::WholeRig());
    EXPECT_TRUE(control.IsOK());

    Lines expected = system_lines;
    for (Words const & words : devices) {
        Append(expected, Banner(words));
        Append(expected, {Message("Driver: SecA"), Message("Name: StubA")});
        if (&words == devices) {
            Append(expected,
                   {Message("Building 'StubA' driver..."), Message("Driver info: Stub driver"),
                    Message("Driver was successfully created. Initializing..."), Message("Success.")});
        } else {
            expected.push_back(Message("Driver is already loaded in memory."));
        }
        expected.push_back(Message(std::string(words.name) + " control class 'StubA' created."));
    }
    expected.push_back(Message("All HW drivers successfully loaded."));
    EXPECT_EQ(log.Lines(), expected);
}

TEST_F(BaseControlStart, TheDriverIsMadeOnceAndEachDeviceIsAskedForWithThePathOnTheDriversSection)
{
    Build(StubMicroscope::WholeRig());
    Strings expected{"StubA.CreateDriver(/SecA)", "driver.InitDriver()"};
    for (Words const & words : devices) {
        expected.push_back("StubA." + std::string(words.factory) + "(/SecA)");
    }
    EXPECT_EQ(Rig().TakeCalls(), expected);
}

TEST_F(BaseControlStart, BuildingTouchesNoDevice)
{
    Build(StubMicroscope::WholeRig());
    EXPECT_FALSE(Rig().camera->IsInitialized());
    EXPECT_FALSE(Rig().body->IsInitialized());
}

TEST_F(BaseControlStart, AnIniFileWithoutDevicesGivesSevenAbsentDevicesAndSeriousErrors)
{
    VELM_BaseControl const & control = Build(StubMicroscope::known_scale);
    EXPECT_FALSE(control.IsOK());
    EXPECT_FALSE(control.IsNoHwWarningDisabled());
    EXPECT_EQ(control.GetCamera(), nullptr);

    Lines expected = system_lines;
    for (Words const & words : devices) {
        Append(expected, Banner(words));
        Append(expected, {Message("Driver: None."), Absent(words)});
    }
    expected.push_back(Error("There were serious errors!."));
    EXPECT_EQ(log.Lines(), expected);
}

TEST_F(BaseControlStart, WithTheWarningDisabledAMissingRigIsNoError)
{
    VELM_BaseControl const & control = Build(StubMicroscope::known_scale + "DisableNoHwWarning=1\n");
    EXPECT_FALSE(control.IsOK());
    EXPECT_TRUE(control.IsNoHwWarningDisabled());
    EXPECT_EQ(log.Lines().back(), Message("No hardware available."));
    EXPECT_TRUE(log.Texts('E').empty());
}

TEST_F(BaseControlStart, ThePlainValuesHaveTheirDefaults)
{
    VELM_BaseControl const & control = Build(StubMicroscope::known_scale);
    EXPECT_EQ(control.GetHardwareDescription(), "Unknown");
    EXPECT_FALSE(control.GetImgFlipX());
    EXPECT_FALSE(control.GetImgFlipY());
    EXPECT_EQ(control.GetStageOrientationX(), 1);
    EXPECT_EQ(control.GetStageOrientationY(), 1);
    EXPECT_EQ(control.GetStageTolerance(), 10);
    EXPECT_EQ(control.GetZDriveTolerance(), 2);
    EXPECT_EQ(control.GetSpinningDiskTime(), 25000);
    EXPECT_EQ(control.GetDatabase(), &microscope.GetDatabase());
}

TEST_F(BaseControlStart, ThePlainValuesComeFromTheIniFile)
{
    VELM_BaseControl const & control =
        Build(StubMicroscope::known_scale + "HWDesc=Room 12\nMicFlipX=1\nMicFlipY=1\nStageOrientationX=-5\n"
                                            "StageOrientationY=7\nStageTolerance=33\nZDriveTolerance=44\n"
                                            "SpinDiskTime=-1\n");
    EXPECT_EQ(control.GetHardwareDescription(), "Room 12");
    EXPECT_TRUE(control.GetImgFlipX());
    EXPECT_TRUE(control.GetImgFlipY());
    EXPECT_EQ(control.GetStageOrientationX(), -1);
    EXPECT_EQ(control.GetStageOrientationY(), 1);
    EXPECT_EQ(control.GetStageTolerance(), 33);
    EXPECT_EQ(control.GetZDriveTolerance(), 44);
    EXPECT_EQ(control.GetSpinningDiskTime(), -1);
    EXPECT_EQ(Lines(log.Lines().begin(), log.Lines().begin() + 7),
              (Lines{Message("=============== Driver Initialization ==============="),
                     Message("System image orientation in x axis: 1"),
                     Message("System image orientation in y axis: 1"),
                     Message("Stage orientation in x axis: -1"), Message("Stage orientation in y axis: 1"),
                     Message("Tolerance of the stage (in 0.1 microns): 33"),
                     Message("Tolerance of the ZDrive (in 0.1 microns): 44")}));
}

TEST_F(BaseControlStart, AStageOrientationOfZeroIsMinusOne)
{
    VELM_BaseControl const & control =
        Build(StubMicroscope::known_scale + "StageOrientationX=0\nStageOrientationY=0\n");
    EXPECT_EQ(control.GetStageOrientationX(), -1);
    EXPECT_EQ(control.GetStageOrientationY(), -1);
}

TEST_F(BaseControlStart, ANegativeToleranceIsZero)
{
    VELM_BaseControl const & control =
        Build(StubMicroscope::known_scale + "StageTolerance=-3\nZDriveTolerance=-1\n");
    EXPECT_EQ(control.GetStageTolerance(), 0);
    EXPECT_EQ(control.GetZDriveTolerance(), 0);
}

TEST_F(BaseControlStart, TheIniFileMayUseTheEnvironment)
{
    wxSetEnv("VELM_TEST_ROOM", "Room 12");
    EXPECT_EQ(Build(StubMicroscope::known_scale + "HWDesc=$VELM_TEST_ROOM\n").GetHardwareDescription(),
              "Room 12");
}

TEST_F(BaseControlStart, WithoutADisplayAMissingScaleStopsTheStartAndIsNamed)
{
    auto const refusal = [&](std::string const & ini) {
        try {
            Build(ini);
        } catch (VELM_BaseControlError const & error) {
            return error.GetMessage();
        }
        return wxString();
    };
    wxString const format = "The scale of the images is unknown: entry %s is missing or not above 0 in '%s'.";
    EXPECT_EQ(refusal("MicResY=1\n"), wxString::Format(format, "MicResX", microscope.GetIniPath()));
    EXPECT_EQ(refusal("MicResX=0\nMicResY=1\n"),
              wxString::Format(format, "MicResX", microscope.GetIniPath()));
    EXPECT_EQ(refusal("MicResX=1\nMicResY=-7\n"),
              wxString::Format(format, "MicResY", microscope.GetIniPath()));
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(BaseControlStart, ADatabaseIsNeeded)
{
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_BaseControl("", nullptr, VELM_DriverManager::GetInstance())), "db");
}

TEST_F(BaseControlStart, ADriverWhoseSectionIsAbsentIsToldWithTheGroupThatNeededIt)
{
    EXPECT_EQ(
        CameraLines("[Camera]\nDriver=Nowhere\n"),
        (Lines{Message("Loading driver..."), Message("Driver: Nowhere"),
               Error("Driver section [Nowhere] is not present in ini file (needed by section '/Camera')."),
               Message("Camera not available.")}));
}

TEST_F(BaseControlStart, ADriverThatIsNotLoadedIsNotSupported)
{
    EXPECT_EQ(CameraLines("[Camera]\nDriver=SecX\n[SecX]\nName=stuba\n"),
              (Lines{Message("Loading driver..."), Message("Driver: SecX"), Message("Name: stuba"),
                     Error("Driver 'stuba' not supported."), Message("Camera not available.")}));
    EXPECT_EQ(CameraLines("[Camera]\nDriver=SecX\n[SecX]\nPort=1\n"),
              (Lines{Message("Loading driver..."), Message("Driver: SecX"), Message("Name: None"),
                     Error("Driver 'None' not supported."), Message("Camera not available.")}));
}

TEST_F(BaseControlStart, AGeneralCameraIsAnAbsentCameraWithoutAnError)
{
    EXPECT_EQ(CameraLines("[Camera]\nDriver=SecX\n[SecX]\nName=General\n"),
              (Lines{Message("Loading driver..."), Message("Driver: SecX"), Message("Name: General"),
                     Message("Camera not available.")}));
}

TEST_F(BaseControlStart, AFactoryThatGivesNothingLeavesTheDeviceAbsentAndTheOthersAreBuilt)
{
    Rig().absent = {"stage"};
    EXPECT_FALSE(Build(StubMicroscope::WholeRig()).IsOK());
    EXPECT_EQ(Rig().stage, nullptr);
    EXPECT_NE(Rig().shutter, nullptr);
    EXPECT_EQ(log.Texts('E'), Strings{"There were serious errors!."});
    EXPECT_THAT(log.Texts('M'), testing::Contains("Stage not available."));
}

TEST_F(BaseControlStart, AFactoryThatThrowsLeavesTheDeviceAbsentAndTheOthersAreBuilt)
{
    Rig().on_call["StubA.CreateShutterControl"] = [] { throw VELM_ShutterControlError("no shutter here"); };
    EXPECT_FALSE(Build(StubMicroscope::WholeRig()).IsOK());
    EXPECT_NE(Rig().body, nullptr);
    EXPECT_EQ(Section("-------------------- Shutter ------------------------",
                      "-------------------- Excitation Filters ------------------------"),
              (Lines{Message("Loading driver..."), Message("Driver: SecA"), Message("Name: StubA"),
                     Message("Driver is already loaded in memory."), Error("Exception: no shutter here"),
                     Message("Shutter not available.")}));
}

TEST_F(BaseControlStart, ADriverThatFailsIsNotTriedAgainByTheNextDevice)
{
    Rig().on_call["driver.InitDriver"] = [] { throw VELM_HWError("no power"); };
    EXPECT_FALSE(Build(StubMicroscope::WholeRig()).IsOK());
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"StubA.CreateDriver(/SecA)", "driver.InitDriver()", "driver.~()"}));
    EXPECT_EQ(Section("-------------------- ZDrive ------------------------",
                      "-------------------- Stage ------------------------"),
              (Lines{Message("Loading driver..."), Message("Driver: SecA"), Message("Name: StubA"),
                     Error("Driver does not work. Previous attempt to initialize the driver failed."),
                     Message("ZDrive not available.")}));
}

TEST_F(BaseControlStart, AGeneralBodyNeedsNoDriverAndTakesItsModelFromTheSection)
{
    Build(StubMicroscope::known_scale +
          "[MicroscopeBody]\nDriver=Stand\nModel=wrong place\n[Stand]\nName=General\nModel=Stand 7\n");
    EXPECT_EQ(Section("-------------------- Microscope Body ------------------------", ""),
              (Lines{Message("Loading driver..."), Message("Driver: Stand"), Message("Name: General"),
                     Message("Microscope body control class 'General' created."),
                     Error("There were serious errors!.")}));
    EXPECT_EQ(microscope.Get().MicroscopeBody_GetObjectiveDescription(), "Plan 10x");
}

TEST_F(BaseControlStart, ACombinationLoadsItsPartsAndThenTheCombinationsOwnDriver)
{
    EXPECT_EQ(CameraLines("[Camera]\nDriver=Combo\nSection=Both\nNumDrvs=2\nDriver1=SecA\nDriver2=SecB\n"
                          "[SecA]\nName=StubA\n[SecB]\nName=StubB\n[Both]\nName=StubCombo\n"),
              (Lines{Message("Loading driver..."),
                     Message("Combo driver recognized"),
                     Message("Section: Both"),
                     Message("NumDrvs: 2"),
                     Message("Loading SecA..."),
                     Message("Driver: SecA"),
                     Message("Name: StubA"),
                     Message("Building 'StubA' driver..."),
                     Message("Driver info: Stub driver"),
                     Message("Driver was successfully created. Initializing..."),
                     Message("Success."),
                     Message("Loading SecB..."),
                     Message("Driver: SecB"),
                     Message("Name: StubB"),
                     Message("Building 'StubB' driver..."),
                     Message("Driver info: Stub driver"),
                     Message("Driver was successfully created. Initializing..."),
                     Message("Success."),
                     Message("Loading combo driver..."),
                     Message("Driver: Both"),
                     Message("Name: StubCombo"),
                     Message("Building 'StubCombo' driver..."),
                     Message("Driver info: Stub driver"),
                     Message("Driver was successfully created. Initializing..."),
                     Message("Success."),
                     Message("Camera control class 'StubCombo' created.")}));
    EXPECT_EQ(Rig().TakeCalls(),
              (Strings{"StubA.CreateDriver(/SecA)", "driver.InitDriver()", "StubB.CreateDriver(/SecB)",
                       "driver.InitDriver()", "StubCombo.CreateDriver(/Both)", "driver.InitDriver()",
                       "StubCombo.CreateCameraControl(/Both)"}));
}

TEST_F(BaseControlStart, ACombinationNeedsItsSectionAndItsNumberOfDrivers)
{
    EXPECT_EQ(CameraLines("[Camera]\nDriver=Combo\n"),
              (Lines{Message("Loading driver..."), Message("Combo driver recognized"),
                     Error("Mandatory parameter 'Section' is missing!"), Message("Camera not available.")}));
    EXPECT_EQ(
        CameraLines("[Camera]\nDriver=Combo\nSection=Both\n"),
        (Lines{Message("Loading driver..."), Message("Combo driver recognized"), Message("Section: Both"),
               Error("Mandatory parameter 'NumDrvs' is missing!"), Message("Camera not available.")}));
}

TEST_F(BaseControlStart, ACombinationOfOneIsRefused)
{
    EXPECT_EQ(
        CameraLines("[Camera]\nDriver=Combo\nSection=Both\nNumDrvs=1\nDriver1=SecA\n"),
        (Lines{Message("Loading driver..."), Message("Combo driver recognized"), Message("Section: Both"),
               Message("NumDrvs: 1"), Error("Combo driver requires at least two drivers!"),
               Message("Camera not available.")}));
}

TEST_F(BaseControlStart, ACombinationOfMoreDriversThanAnyMicroscopeHasIsRefusedAtOnce)
{
    EXPECT_EQ(CameraLines("[Camera]\nDriver=Combo\nSection=Both\nNumDrvs=101\nDriver1=SecA\n"),
              (Lines{Message("Loading driver..."), Message("Combo driver recognized"),
                     Message("Section: Both"), Message("NumDrvs: 101"),
                     Error("Combo driver allows at most 100 drivers!"), Message("Camera not available.")}));
}

TEST_F(BaseControlStart, AMissingPartFailsTheCombinationButTheOtherPartsAreStillLoaded)
{
    EXPECT_EQ(CameraLines("[Camera]\nDriver=Combo\nSection=Both\nNumDrvs=3\nDriver1=SecG\nDriver3=SecX\n"
                          "[SecG]\nName=General\n[SecX]\nName=Other\n[Both]\nName=StubCombo\n"),
              (Lines{Message("Loading driver..."), Message("Combo driver recognized"),
                     Message("Section: Both"), Message("NumDrvs: 3"), Message("Loading SecG..."),
                     Message("Driver: SecG"), Message("Name: General"),
                     Error("Mandatory parameter 'Driver2' is missing!"), Message("Loading SecG..."),
                     Message("Driver: SecG"), Message("Name: General"), Message("Loading SecX..."),
                     Message("Driver: SecX"), Message("Name: Other"), Error("Driver 'Other' not supported."),
                     Error("Loading of the combo driver failed!"), Message("Camera not available.")}));
}

TEST_F(BaseControlStart, APartThatIsGeneralDoesNotSpoilTheCombination)
{
    Build(
        StubMicroscope::known_scale +
        "[ZDrive]\nDriver=Combo\nSection=Both\nNumDrvs=2\nDriver1=SecG\nDriver2=SecG\n[SecG]\nName=General\n"
        "[Both]\nName=StubCombo\n");
    EXPECT_NE(Rig().zdrive, nullptr);
    EXPECT_EQ(log.Texts('E'), Strings{"There were serious errors!."});
}

} // namespace velm::test
