#include "drivers/base/velm_base.h"

#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/stub_microscope.h"
#include "velm_channel.h"
#include "velm_coords.h"
#include "velm_frame_buffer.h"

namespace velm::test {

namespace {

using Strings = std::vector<std::string>;

// A control that opens the protected scale to the tests.
class OpenControl : public VELM_BaseControl {
  public:
    using VELM_BaseControl::GetResolution;
    using VELM_BaseControl::VELM_BaseControl;
};

class BaseOperations : public testing::Test {
  protected:
    Strings Calls() { return Rig().TakeCalls(); }

    template <typename Error, typename Call>
    static std::string Refusal(Call const & call)
    {
        try {
            call();
        } catch (Error const & error) {
            return error.what();
        }
        return "";
    }

    std::pair<long, long> StagePos()
    {
        long x = 0;
        long y = 0;
        control.Stage_GetPos(x, y);
        return {x, y};
    }

    StubMicroscope microscope;
    VELM_BaseControl & control = microscope.Start();
};

using Pos = std::pair<long, long>;

std::vector<int> RegionOf(VELM_CameraSetting const & s)
{
    return {s.GetS1(), s.GetP1(), s.GetS2(), s.GetP2()};
}

} // namespace

// ---- Z drive

TEST_F(BaseOperations, ZDriveLimitsAndCalibrationOffsetAreTheDrivers)
{
    control.ZDrive_AddOffset(5);
    EXPECT_EQ(control.ZDrive_GetHWLowerLimit(), -1000);
    EXPECT_EQ(control.ZDrive_GetHWUpperLimit(), 1000);
    EXPECT_EQ(control.ZDrive_GetCalibOffset(), 20);
}

TEST_F(BaseOperations, ZDriveOffsetsAddUpAndMoveNothing)
{
    EXPECT_FALSE(control.ZDrive_HasOffset());
    control.ZDrive_AddOffset(5);
    control.ZDrive_AddOffset(7);
    EXPECT_TRUE(control.ZDrive_HasOffset());
    EXPECT_TRUE(Calls().empty());
    EXPECT_EQ(control.ZDrive_GetCurPos(), -12);
    control.ZDrive_ClearOffset();
    EXPECT_FALSE(control.ZDrive_HasOffset());
    EXPECT_EQ(control.ZDrive_GetCurPos(), 0);
}

TEST_F(BaseOperations, ZDriveSetPosMovesToTheHardwarePosition)
{
    control.ZDrive_AddOffset(5);
    control.ZDrive_SetPos(100);
    EXPECT_EQ(Calls(), Strings{"zdrive.Move(105)"});
    EXPECT_EQ(control.ZDrive_GetCurPos(), 100);
}

TEST_F(BaseOperations, ZDriveSetPosTestsTheHardwarePositionAndShowsTheLogicalOne)
{
    control.ZDrive_AddOffset(5);
    control.ZDrive_SetPos(995);
    EXPECT_EQ(Calls(), Strings{"zdrive.Move(1000)"});
    EXPECT_EQ(Refusal<VELM_ZDriveControlError>([&] { control.ZDrive_SetPos(996); }),
              "Attempt to move the ZDrive out of the HW range [-1000,1000]! (Pos = 996, Offset = 5)");
    EXPECT_TRUE(Calls().empty());
}

TEST_F(BaseOperations, ZDriveSetRelPosStepsFromWhereTheDriveStandsWhateverTheOffset)
{
    control.ZDrive_AddOffset(500);
    Rig().zdrive->pos = 900;
    control.ZDrive_SetRelPos(100);
    EXPECT_EQ(Calls(), (Strings{"zdrive.ReadPos()", "zdrive.MoveRel(100)"}));
    EXPECT_EQ(Refusal<VELM_ZDriveControlError>([&] { control.ZDrive_SetRelPos(1); }),
              "Attempt to move the ZDrive out of the HW range [-1000,1000]! (Pos = 501, Offset = 500)");
    EXPECT_EQ(Calls(), Strings{"zdrive.ReadPos()"});
}

TEST_F(BaseOperations, WaitingAsksTheDeviceUntilItRests)
{
    Rig().moving_polls = 2;
    control.ZDrive_SetPos(1);
    control.Stage_SetPos(1, 1);
    control.Shutter_Open();
    Calls();
    control.ZDrive_WaitPos();
    EXPECT_EQ(Calls(), Strings(3, "zdrive.IsMoving()"));
    control.Stage_WaitPos();
    EXPECT_EQ(Calls(), Strings(3, "stage.IsMoving()"));
    control.Shutter_WaitPos();
    EXPECT_EQ(Calls(), Strings(3, "shutter.IsMoving()"));
}

TEST_F(BaseOperations, EachDeviceTellsWhetherItMoves)
{
    Rig().moving_polls = 1;
    control.ZDrive_SetPos(1);
    control.Stage_SetPos(1, 1);
    control.Shutter_Open();
    control.ExFilter_SetPos(1);
    control.EmFilter_SetPos(1);
    for (bool const moves : {true, false}) {
        EXPECT_EQ(control.ZDrive_IsMoving(), moves);
        EXPECT_EQ(control.Stage_IsMoving(), moves);
        EXPECT_EQ(control.Shutter_IsMoving(), moves);
        EXPECT_EQ(control.ExFilter_IsMoving(), moves);
        EXPECT_EQ(control.EmFilter_IsMoving(), moves);
    }
}

// ---- Stage

TEST_F(BaseOperations, StageSetPosAddsTheOffsetAndKeepsTheLogicalPosition)
{
    control.Stage_SetPosOffset(10, 20);
    control.Stage_SetPos(100, 200);
    EXPECT_EQ(Calls(), Strings{"stage.Move(110,220)"});
    EXPECT_EQ(StagePos(), Pos(100, 200));
    long x = 0;
    long y = 0;
    control.Stage_GetCurPos(x, y);
    EXPECT_EQ(Pos(x, y), Pos(100, 200));
    EXPECT_EQ(Calls(), Strings{"stage.ReadPos()"});
}

TEST_F(BaseOperations, StageGetPosIsThePositionAskedForAndGetCurPosTheHardwares)
{
    control.Stage_SetPos(100, 200);
    Rig().stage->hw_x = 99;
    Rig().stage->hw_y = 201;
    long x = 0;
    long y = 0;
    control.Stage_GetCurPos(x, y);
    EXPECT_EQ(Pos(x, y), Pos(99, 201));
    EXPECT_EQ(StagePos(), Pos(100, 200));
}

TEST_F(BaseOperations, StageSetRelPosStartsFromThePositionLastAskedFor)
{
    control.Stage_SetPos(100, 200);
    Rig().stage->SetLimits(0, 110, 0, 300);
    Rig().stage->hw_x = 5000;
    Calls();
    control.Stage_SetRelPos(10, -10);
    EXPECT_EQ(Calls(), Strings{"stage.MoveRel(10,-10)"});
    EXPECT_EQ(StagePos(), Pos(110, 190));
}

TEST_F(BaseOperations, ARefusedStageMoveMovesNothingAndKeepsThePosition)
{
    Rig().stage->SetLimits(0, 100, 0, 100);
    control.Stage_SetPos(50, 60);
    Calls();
    EXPECT_EQ(Refusal<VELM_StageControlError>([&] { control.Stage_SetPos(101, 0); }),
              "Attempt to move stage out of range [0,100] in x axis! (Value = 101)");
    EXPECT_EQ(Refusal<VELM_StageControlError>([&] { control.Stage_SetRelPos(0, 41); }),
              "Attempt to move stage out of range [0,100] in y axis! (Value = 101)");
    EXPECT_TRUE(Calls().empty());
    EXPECT_EQ(StagePos(), Pos(50, 60));
}

TEST_F(BaseOperations, StageLimitsCountForTheLogicalPosition)
{
    Rig().stage->SetLimits(0, 100, 0, 100);
    control.Stage_SetPosOffset(1000, 1000);
    control.Stage_SetPos(100, 100);
    EXPECT_EQ(Calls(), Strings{"stage.Move(1100,1100)"});
}

TEST_F(BaseOperations, ADriverThatFailsToMoveLeavesTheLogicalPositionAsItWas)
{
    control.Stage_SetPos(1, 2);
    Rig().on_call["stage.Move"] = [] { throw VELM_StageControlError("stuck"); };
    Rig().on_call["stage.MoveRel"] = [] { throw VELM_StageControlError("stuck"); };
    EXPECT_THROW(control.Stage_SetPos(100, 100), VELM_StageControlError);
    EXPECT_THROW(control.Stage_SetRelPos(5, 5), VELM_StageControlError);
    EXPECT_EQ(StagePos(), Pos(1, 2));
}

TEST_F(BaseOperations, StageOffsetsAddUpAndMoveNothing)
{
    EXPECT_FALSE(control.Stage_IsOffsetSet());
    control.Stage_SetPosOffset(1, 1);
    control.Stage_SetPosOffset(1, 1);
    EXPECT_TRUE(control.Stage_IsOffsetSet());
    EXPECT_TRUE(Calls().empty());
    control.Stage_SetPos(0, 0);
    EXPECT_EQ(Calls(), Strings{"stage.Move(2,2)"});
    control.Stage_RemovePosOffset();
    EXPECT_FALSE(control.Stage_IsOffsetSet());
    control.Stage_SetPosOffset(0, 3);
    EXPECT_TRUE(control.Stage_IsOffsetSet());
}

// ---- Shutter

TEST_F(BaseOperations, DemandCloseLeavesTheShutterOpenUnlessInEconomyMode)
{
    control.Shutter_Open();
    control.Shutter_DemandClose();
    EXPECT_TRUE(control.Shutter_IsOpened());
    control.Shutter_EconomyMode(true);
    control.Shutter_DemandClose();
    EXPECT_FALSE(control.Shutter_IsOpened());
    control.Shutter_EconomyMode(false);
    control.Shutter_Open();
    control.Shutter_DemandClose();
    EXPECT_TRUE(control.Shutter_IsOpened());
    EXPECT_EQ(Calls(), (Strings{"shutter.Open()", "shutter.Close()", "shutter.Open()"}));
}

TEST_F(BaseOperations, RequestCloseAlwaysClosesTheShutter)
{
    for (bool const economy : {false, true}) {
        control.Shutter_EconomyMode(economy);
        control.Shutter_Open();
        control.Shutter_RequestClose();
        EXPECT_FALSE(control.Shutter_IsOpened());
    }
}

TEST_F(BaseOperations, ABypassedShutterIsNotActive)
{
    EXPECT_TRUE(control.Shutter_IsActive());
    Rig().shutter->active = false;
    EXPECT_FALSE(control.Shutter_IsActive());
}

// ---- Filter exchangers

TEST_F(BaseOperations, FilterExchangersKeepThePositionLastAskedFor)
{
    control.ExFilter_SetPos(3);
    control.EmFilter_SetPos(4);
    Rig().ex->hw_pos = 8;
    Rig().em->hw_pos = 9;
    EXPECT_EQ(control.ExFilter_GetPos(), 3);
    EXPECT_EQ(control.EmFilter_GetPos(), 4);
    EXPECT_EQ(control.ExFilter_GetHWPos(), 8);
    EXPECT_EQ(control.EmFilter_GetHWPos(), 9);
    EXPECT_EQ(Calls(), (Strings{"ex.Move(3)", "em.Move(4)", "ex.ReadPos()", "em.ReadPos()"}));
}

TEST_F(BaseOperations, AFilterThatFailsToTurnKeepsItsPosition)
{
    control.ExFilter_SetPos(3);
    Rig().on_call["ex.Move"] = [] { throw VELM_FilterControlError("stuck"); };
    EXPECT_THROW(control.ExFilter_SetPos(5), VELM_FilterControlError);
    EXPECT_EQ(control.ExFilter_GetPos(), 3);
}

// ---- Channel

TEST_F(BaseOperations, ChannelSetStartsExcitationThenEmissionAndWaitsForNeither)
{
    Rig().moving_polls = 5;
    control.Channel_Set(VELM_Channel("FITC", 0, 1, 0), &microscope.GetDatabase());
    EXPECT_EQ(Calls(), (Strings{"ex.Move(1)", "em.Move(3)"}));
}

TEST_F(BaseOperations, AnUnknownFiltersPositionIsItsId)
{
    VELM_Database & db = microscope.GetDatabase();
    bool found = true;
    long const ex = db.GetExFilterId("BP 999", found);
    EXPECT_FALSE(found);
    control.Channel_Set(VELM_Channel("X", 0, 0, ex), &db);
    EXPECT_EQ(Calls(), (Strings{"ex.Move(1000)", "em.Move(0)"}));
}

TEST_F(BaseOperations, ChannelIsMovingAsksTheEmissionOnlyWhenTheExcitationRests)
{
    Rig().moving_polls = 1;
    control.ExFilter_SetPos(1);
    control.EmFilter_SetPos(1);
    Calls();
    EXPECT_TRUE(control.Channel_IsMoving());
    EXPECT_EQ(Calls(), Strings{"ex.IsMoving()"});
    EXPECT_TRUE(control.Channel_IsMoving());
    EXPECT_FALSE(control.Channel_IsMoving());
    EXPECT_EQ(Calls(), (Strings{"ex.IsMoving()", "em.IsMoving()", "ex.IsMoving()", "em.IsMoving()"}));
}

TEST_F(BaseOperations, ChannelWaitEndsInARoundInWhichNeitherMoves)
{
    Rig().moving_polls = 1;
    control.ExFilter_SetPos(1);
    Rig().moving_polls = 2;
    control.EmFilter_SetPos(1);
    Calls();
    control.Channel_Wait();
    EXPECT_EQ(Calls(), (Strings{"ex.IsMoving()", "em.IsMoving()", "ex.IsMoving()", "em.IsMoving()",
                                "ex.IsMoving()", "em.IsMoving()"}));
}

// ---- Coordinate

TEST_F(BaseOperations, CoordinateSetStartsBothAxesBeforeItWaitsForEither)
{
    StubSetting setting;
    control.Camera_Set(&setting, nullptr);
    Rig().moving_polls = 1;
    control.Stage_SetPosOffset(1, 2);
    control.ZDrive_AddOffset(3);
    Calls();
    control.Coordinate_Set(VELM_Coord(7, 100, 200, 300, 10, 20, 109, 219));
    EXPECT_EQ(Calls(), (Strings{"stage.Move(101,202)", "zdrive.Move(303)", "stage.IsMoving()",
                                "stage.IsMoving()", "zdrive.IsMoving()", "zdrive.IsMoving()"}));
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{10, 20, 109, 219}));
    EXPECT_EQ(StagePos(), Pos(100, 200));
}

TEST_F(BaseOperations, CoordinateSetWithoutARegionGivesTheFullFrame)
{
    StubSetting setting;
    setting.SetRegion(1, 2, 3, 4);
    control.Camera_Set(&setting, nullptr);
    control.Coordinate_Set(VELM_Coord(7, 0, 0, 0));
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{0, 0, 1391, 1039}));
}

TEST_F(BaseOperations, CoordinateSetWithOneBoundGivenSetsTheRegionAsItStands)
{
    StubSetting setting;
    control.Camera_Set(&setting, nullptr);
    control.Coordinate_Set(VELM_Coord(7, 0, 0, 0, 0, -1, -1, -1));
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{0, -1, -1, -1}));
}

TEST_F(BaseOperations, ARefusedZPositionLeavesTheStageMovingAndTheRegionAsItWas)
{
    StubSetting setting;
    setting.SetRegion(1, 2, 3, 4);
    control.Camera_Set(&setting, nullptr);
    Calls();
    EXPECT_THROW(control.Coordinate_Set(VELM_Coord(7, 100, 200, 5000, 10, 20, 30, 40)),
                 VELM_ZDriveControlError);
    EXPECT_EQ(Calls(), Strings{"stage.Move(100,200)"});
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(BaseOperations, CoordinateGetReadsTheHardwareAndTheRegionAndLeavesIdAndType)
{
    StubSetting setting;
    setting.SetRegion(10, 20, 109, 219);
    control.Camera_Set(&setting, nullptr);
    control.Stage_SetPosOffset(1, 2);
    control.ZDrive_AddOffset(3);
    Rig().stage->hw_x = 101;
    Rig().stage->hw_y = 202;
    Rig().zdrive->pos = 303;
    VELM_Coord coord(7, 0, 0, 0, 0, 0, 0, 0, VELM_Coord::AUTO_GENERATED);
    control.Coordinate_Get(coord);
    EXPECT_TRUE(coord == VELM_Coord(7, 100, 200, 300, 10, 20, 109, 219, VELM_Coord::AUTO_GENERATED));
    EXPECT_EQ(coord.GetId(), 7);
    EXPECT_EQ(coord.GetType(), VELM_Coord::AUTO_GENERATED);
}

// ---- Microscope body

TEST_F(BaseOperations, TheBodysOperationsAreForwarded)
{
    control.MicroscopeBody_CreateControlWindow(nullptr);
    control.MicroscopeBody_RefreshControlWindow();
    control.MicroscopeBody_SetLightPathToCamera();
    EXPECT_EQ(Calls(), (Strings{"body.CreateControlWindow()", "body.RefreshControlWindow()",
                                "body.SetLightPathToCamera()"}));
    EXPECT_EQ(control.MicroscopeBody_GetObjectiveDescription(), "Plan 10x");
    Rig().body->TurnNosepiece(1);
    EXPECT_EQ(control.MicroscopeBody_GetObjectiveDescription(), "Apo 60x");
}

// ---- Camera

TEST_F(BaseOperations, TheCamerasValuesAreForwarded)
{
    EXPECT_EQ(control.GetCamera(), Rig().camera);
    EXPECT_EQ(control.Camera_GetCCDSerSize(), 1392);
    EXPECT_EQ(control.Camera_GetCCDParSize(), 1040);
    EXPECT_EQ(control.Camera_GetPixelSizeX(), 6450);
    EXPECT_EQ(control.Camera_GetPixelSizeY(), 6450);
    EXPECT_EQ(control.Camera_GetStatusText(), "Stub status");
}

TEST_F(BaseOperations, TheCamerasOperationsAreForwarded)
{
    RefusingConfig config("");
    Rig().camera_status = {CAMERA_EXPOSING};
    wxString text;
    EXPECT_TRUE(control.Camera_LoadGlobalSetting(config));
    EXPECT_TRUE(control.Camera_SaveGlobalSetting(config));
    control.Camera_GetGlobalSetting(nullptr);
    EXPECT_TRUE(control.Camera_IsReady(&text));
    EXPECT_EQ(text, "ready");
    EXPECT_EQ(control.Camera_GetStatus(nullptr), CAMERA_EXPOSING);
    EXPECT_EQ(control.Camera_GetStatus(&text), CAMERA_IDLE);
    control.Camera_AbortAcquisition();
    EXPECT_EQ(Calls(), (Strings{"camera.LoadGlobalSetting()", "camera.SaveGlobalSetting()",
                                "camera.GetGlobalSetting()", "camera.IsReady()", "camera.GetStatus(null)",
                                "camera.GetStatus(text)", "camera.AbortAcquisition()"}));
}

TEST_F(BaseOperations, TheDefaultSettingReplacesTheOneInForce)
{
    StubSetting setting;
    control.Camera_Set(&setting, nullptr);
    EXPECT_EQ(control.Camera_GetSetting(), &setting);
    auto * const own = new StubSetting;
    Rig().camera->GiveDefaultSetting(own);
    control.Camera_SetDefaultSetting();
    EXPECT_EQ(control.Camera_GetSetting(), own);
}

TEST_F(BaseOperations, RegionsAreValidatedByTheCamera)
{
    int s1 = 1;
    int p1 = 1;
    int s2 = 100;
    int p2 = 100;
    control.Camera_ValidateRegion(2, 2, s1, p1, s2, p2);
    EXPECT_EQ((std::vector<int>{s1, p1, s2, p2}), (std::vector<int>{0, 0, 101, 101}));

    StubSetting setting;
    control.Camera_ValidateRegion(&setting);
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{0, 0, 1391, 1039}));

    setting.SetRegion(-1, 5, 2000, 7);
    control.Camera_Set(&setting, nullptr);
    control.Camera_ValidateRegion();
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{0, 5, 1391, 7}));

    control.Camera_SetFullFrame();
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{0, 0, 1391, 1039}));
}

TEST_F(BaseOperations, CameraSetPutsTheCoordinatesRegionIntoTheSetting)
{
    StubSetting setting;
    VELM_Coord const coord(1, 0, 0, 0, 10, 20, 30, 40);
    control.Camera_Set(&setting, &coord);
    EXPECT_EQ(control.Camera_GetSetting(), &setting);
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(Calls(), Strings{"setting.~()"}) << "the fresh setting of the comparison";
}

TEST_F(BaseOperations, CameraSetOfNothingStoresNothingAndLeavesTheRegionAlone)
{
    StubSetting setting;
    setting.SetRegion(1, 2, 3, 4);
    control.Camera_Set(&setting, nullptr);
    VELM_Coord const coord(1, 0, 0, 0, 10, 20, 30, 40);
    control.Camera_Set(nullptr, &coord);
    EXPECT_EQ(control.Camera_GetSetting(), nullptr);
    EXPECT_EQ(RegionOf(setting), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(BaseOperations, ASettingOfAnotherCamerasClassTripsAnAssertion)
{
    class OtherSetting : public StubSetting {
    } other;
    EXPECT_FALSE(control.Camera_CheckCameraSettingType(&other));
    StubSetting own;
    EXPECT_TRUE(control.Camera_CheckCameraSettingType(&own));
    EXPECT_EQ(VELM_TRIPPED_BY(control.Camera_Set(&other, nullptr)), "!s || Camera_CheckCameraSettingType(s)");
}

TEST_F(BaseOperations, ACreatedSettingBelongsToTheCaller)
{
    std::unique_ptr<VELM_CameraSetting> const setting(control.Camera_CreateNewSetting());
    EXPECT_TRUE(control.Camera_CheckCameraSettingType(setting.get()));
}

TEST_F(BaseOperations, TheCamerasControlWindowIsThePanelOfAFreshSetting)
{
    control.Camera_CreateControlWindow(nullptr);
    EXPECT_EQ(Calls(), (Strings{"setting.CreateAdvSettingPanel(camera)", "setting.~()"}));
}

TEST_F(BaseOperations, FramesAreCapturedWithTheFlipsOfTheSystem)
{
    unsigned short pixels[4] = {};
    control.Camera_StartFrameCapture(pixels, 4);
    EXPECT_EQ(Calls(), Strings{"camera.StartFrameCapture(4,0,0)"});
    {
        LogRecorder const progress;
        microscope.Build(StubMicroscope::WholeRig(StubMicroscope::known_scale + "MicFlipX=0\nMicFlipY=1\n"));
    }
    Calls();
    microscope.Get().Camera_StartFrameCapture(pixels, 4);
    EXPECT_EQ(Calls(), Strings{"camera.StartFrameCapture(4,0,1)"});
}

TEST_F(BaseOperations, ASnapGoesIntoTheBufferWithTheBuffersFlips)
{
    StubSetting setting;
    setting.SetRegion(0, 0, 9, 4);
    control.Camera_Set(&setting, nullptr);
    Calls();
    VELM_FrameBuffer buffer(true, true);
    control.Camera_StartSnap(&buffer);
    EXPECT_EQ(Calls(), Strings{"camera.StartFrameCapture(50,1,1)"});
    EXPECT_EQ(buffer.GetSize(), 50u);
}

// ---- Scale

TEST_F(BaseOperations, ThePixelSizeIsTheSystemsScaleOverTheMagnification)
{
    EXPECT_EQ(control.GetImgPixelSizeX(), 600.0f);
    EXPECT_EQ(control.GetImgPixelSizeY(), 630.0f);
    Rig().body->TurnNosepiece(1);
    EXPECT_EQ(control.GetImgPixelSizeX(), 100.0f);
    EXPECT_EQ(control.GetImgPixelSizeY(), 105.0f);
}

TEST_F(BaseOperations, TheResolutionIsInPixelsPerMicron)
{
    LogRecorder const progress;
    OpenControl const open(microscope.GetIniPath(), &microscope.GetDatabase(),
                           VELM_DriverManager::GetInstance());
    Rig().body->TurnNosepiece(1);
    vexa::Resolution const resolution = open.GetResolution(2, 4, 5);
    EXPECT_TRUE(resolution.IsDefined());
    EXPECT_EQ(resolution.GetRes(), vexa::Vector3d<float>(5.0f, static_cast<float>(1000.0 / 420.0), 2.0f));
}

TEST_F(BaseOperations, AnImageGetsTheScaleAndThePlaceOfItsSetting)
{
    StubSetting setting;
    setting.SetBinning(2, 4);
    setting.SetRegion(20, 40, 119, 139);
    vexa::Image3d<unsigned short> image;
    image.offset = vexa::Vector3d<float>(9.0f, 9.0f, 9.0f);
    control.AlterImageOffsetAndResolution(image, &setting, 3);
    EXPECT_EQ(image.resolution.GetRes(),
              vexa::Vector3d<float>(static_cast<float>(1000.0 / 1200.0), static_cast<float>(1000.0 / 2520.0),
                                    static_cast<float>(10.0 / 3.0)));
    EXPECT_EQ(image.offset, vexa::Vector3d<float>(12.0f, 25.2f, 0.0f));
}

TEST_F(BaseOperations, AnImageGetsNoScaleWithoutASetting)
{
    vexa::Image3d<unsigned short> image;
    EXPECT_EQ(VELM_TRIPPED_BY(control.AlterImageOffsetAndResolution(image, nullptr, 1)), "s");
}

TEST_F(BaseOperations, WhereDevicesWereLastSeenIsRemembered)
{
    using Shutter = VELM_LastSeen::Shutter;
    std::shared_ptr<VELM_LastSeen const> const seen = control.GetLastSeen();
    Rig().shutter->opened = true;
    control.Shutter_IsOpened();
    EXPECT_EQ(seen->shutter, Shutter::OPEN);
    control.Shutter_RequestClose();
    EXPECT_EQ(seen->shutter, Shutter::CLOSED);
    Rig().on_call["shutter.Open"] = [] { throw VELM_ShutterControlError("stuck"); };
    EXPECT_THROW(control.Shutter_Open(), VELM_ShutterControlError);
    EXPECT_EQ(seen->shutter, Shutter::OPEN) << "it may have opened before it failed";

    control.ZDrive_AddOffset(100);
    control.ZDrive_SetPos(70);
    EXPECT_EQ(seen->z, 70);
    control.ZDrive_SetRelPos(-20);
    EXPECT_EQ(seen->z, 50);
    control.ZDrive_ClearOffset();
    EXPECT_EQ(control.ZDrive_GetCurPos(), 150);
    EXPECT_EQ(seen->z, 150);

    StubSetting setting;
    setting.SetRegion(0, 0, 9, 4);
    control.Camera_Set(&setting, nullptr);
    unsigned long const before = seen->exposures;
    VELM_FrameBuffer buffer(false, false);
    control.Camera_StartSnap(&buffer);
    EXPECT_EQ(seen->exposures, before + 1);
}

} // namespace velm::test
