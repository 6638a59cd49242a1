#include "drivers/base/camera.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/stub_rig.h"
#include "velm_frame_buffer.h"
#include "velm_log.h"

namespace velm::test {

namespace {

struct Region {
    int s1;
    int p1;
    int s2;
    int p2;

    bool operator==(Region const & other) const
    {
        return s1 == other.s1 && p1 == other.p1 && s2 == other.s2 && p2 == other.p2;
    }
};

std::ostream & operator<<(std::ostream & out, Region const & r)
{
    return out << r.s1 << ", " << r.p1 << ", " << r.s2 << ", " << r.p2;
}

Region RegionOf(VELM_CameraSetting const & setting)
{
    Region r{};
    setting.GetRegion(r.s1, r.p1, r.s2, r.p2);
    return r;
}

class Camera : public testing::Test {
  protected:
    Camera() { Rig() = StubRig(); }

    static Region Validated(unsigned short ser, unsigned short par, int sbin, int pbin, Region r)
    {
        StubCamera camera(nullptr, ser, par);
        camera.ValidateRegion(sbin, pbin, r.s1, r.p1, r.s2, r.p2);
        return r;
    }
};

} // namespace

TEST_F(Camera, ARegionIsWidenedToWholeBins)
{
    EXPECT_EQ(Validated(1392, 1040, 2, 2, {1, 1, 100, 100}), (Region{0, 0, 101, 101}));
    EXPECT_EQ(Validated(1392, 1040, 4, 1, {5, 5, 10, 10}), (Region{4, 5, 11, 10}));
}

TEST_F(Camera, AnIncompleteBinAtTheSensorsEdgeIsDropped)
{
    EXPECT_EQ(Validated(100, 100, 3, 3, {-1, -1, -1, -1}), (Region{0, 0, 98, 98}));
    EXPECT_EQ(Validated(100, 90, 3, 4, {0, 0, 99, 89}), (Region{0, 0, 98, 87}));
}

TEST_F(Camera, ARegionOfMinusOnesIsTheWholeSensor)
{
    EXPECT_EQ(Validated(1392, 1040, 1, 1, {-1, -1, -1, -1}), (Region{0, 0, 1391, 1039}));
}

TEST_F(Camera, EachBoundOutsideTheSensorIsReplacedByTheSensorsOwn)
{
    EXPECT_EQ(Validated(100, 80, 1, 1, {-5, -5, 100, 80}), (Region{0, 0, 99, 79}));
    EXPECT_EQ(Validated(100, 80, 1, 1, {100, 80, 200, 200}), (Region{0, 0, 99, 79}));
    EXPECT_EQ(Validated(100, 80, 1, 1, {99, 79, 99, 79}), (Region{99, 79, 99, 79}));
}

TEST_F(Camera, ValidatingAReversedRegionTripsAnAssertion)
{
    StubCamera camera;
    int s1 = 5;
    int p1 = 5;
    int s2 = 4;
    int p2 = 4;
    EXPECT_EQ(VELM_TRIPPED_BY(camera.ValidateRegion(1, 1, s1, p1, s2, p2)), "s1 <= s2");
    s2 = 6;
    EXPECT_EQ(VELM_TRIPPED_BY(camera.ValidateRegion(1, 1, s1, p1, s2, p2)), "p1 <= p2");
}

TEST_F(Camera, ValidationTracesTheRegionBeforeAndAfterAtLevelFive)
{
    LogRecorder log;
    Log::SetShowDebug(true);
    Log::SetDebugLevel(5);
    Validated(100, 80, 3, 1, {1, 2, 98, 79});
    Log::SetDebugLevel(4);
    Validated(100, 80, 3, 1, {1, 2, 50, 60});
    Log::SetDebugLevel(-1);
    Log::SetShowDebug(false);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                               Message("BEFORE VELM_CameraControl::ValidateRegion(3, 1, 1, 2, 98, 79)"),
                               Message("AFTER VELM_CameraControl::ValidateRegion(3, 1, 0, 2, 98, 79)")}));
}

TEST_F(Camera, ValidatingASettingStoresTheRegionInIt)
{
    StubCamera camera(nullptr, 100, 100);
    StubSetting setting;
    setting.SetBinning(3, 2);
    camera.ValidateRegion(&setting);
    EXPECT_EQ(RegionOf(setting), (Region{0, 0, 98, 99}));
    EXPECT_EQ(setting.GetSerSize(), 33);
    EXPECT_EQ(setting.GetParSize(), 50);
}

TEST_F(Camera, ValidatingNoSettingTripsAnAssertion)
{
    StubCamera camera;
    EXPECT_EQ(VELM_TRIPPED_BY(camera.ValidateRegion(nullptr)), "s");
}

TEST_F(Camera, ADriverMayReplaceTheRegionLogicForSettingsToo)
{
    class EvenCamera : public StubCamera {
      public:
        using VELM_CameraControl::ValidateRegion;
        void ValidateRegion(int, int, int & s1, int & p1, int & s2, int & p2) override
        {
            s1 = p1 = 2;
            s2 = p2 = 3;
        }
    } camera;
    StubSetting setting;
    static_cast<VELM_CameraControl &>(camera).ValidateRegion(&setting);
    EXPECT_EQ(RegionOf(setting), (Region{2, 2, 3, 3}));
}

TEST_F(Camera, TheFullFrameIsTheWholeSensorLessAnIncompleteBin)
{
    StubCamera camera(nullptr, 100, 100);
    StubSetting setting;
    setting.SetBinning(3, 1);
    setting.SetRegion(10, 10, 20, 20);
    camera.SetCameraSetting(&setting);
    camera.SetFullFrame();
    EXPECT_EQ(RegionOf(setting), (Region{0, 0, 98, 99}));
}

TEST_F(Camera, SettingTheFullFrameWithoutASettingTripsAnAssertion)
{
    StubCamera camera;
    EXPECT_EQ(VELM_TRIPPED_BY(camera.SetFullFrame()), "_setting");
}

TEST_F(Camera, TheSensorSizeIsAskedForOnlyOnceTheDriverHasSetIt)
{
    StubCamera camera(nullptr, 0, 0);
    EXPECT_EQ(VELM_TRIPPED_BY(camera.GetCCDSerSize()), "_CCD_ser_size != 0");
    EXPECT_EQ(VELM_TRIPPED_BY(camera.GetCCDParSize()), "_CCD_ser_size != 0");
    camera.SetCCDSize(640, 0);
    EXPECT_EQ(camera.GetCCDSerSize(), 640);
    EXPECT_EQ(camera.GetCCDParSize(), 0);
}

TEST_F(Camera, ThePixelSizeIsAllOnesUntilTheDriverSetsIt)
{
    class BareCamera : public StubCamera {
      public:
        BareCamera()
        {
            _pixel_size_x = 0xFFFFFFFFu;
            EXPECT_EQ(GetPixelSizeX(), 0xFFFFu);
            SetPixelSizeX(6450);
            SetPixelSizeY(7400);
        }
    } const camera;
    EXPECT_EQ(camera.GetPixelSizeX(), 6450);
    EXPECT_EQ(camera.GetPixelSizeY(), 7400);
}

TEST_F(Camera, TheDefaultSettingIsTheCamerasOwnAndGoesWithIt)
{
    StubSetting other;
    {
        StubCamera camera;
        auto * const own = new StubSetting;
        camera.GiveDefaultSetting(own);
        camera.SetCameraSetting(&other);
        EXPECT_EQ(camera.GetSetting(), &other);
        camera.SetDefaultSetting();
        EXPECT_EQ(camera.GetSetting(), own);
        Rig().TakeCalls();
    }
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"camera.~()", "setting.~()"}));
}

TEST_F(Camera, ASnapSizesTheBufferForTheValidatedRegionAndStartsTheExposure)
{
    StubCamera camera(nullptr, 1392, 1040);
    StubSetting setting;
    setting.SetBinning(2, 4);
    setting.SetRegion(11, 21, 100, 200);
    camera.SetCameraSetting(&setting);
    VELM_FrameBuffer buffer(true, false);
    std::vector<unsigned short *> blocks;
    Rig().expose = [&](unsigned short * pixels, unsigned int) { blocks.push_back(pixels); };

    camera.StartSnap(&buffer);

    EXPECT_EQ(RegionOf(setting), (Region{10, 20, 101, 203}));
    EXPECT_EQ(buffer.GetSizeX(), 46u);
    EXPECT_EQ(buffer.GetSizeY(), 46u);
    EXPECT_EQ(buffer.GetSBin(), 2);
    EXPECT_EQ(buffer.GetPBin(), 4);
    EXPECT_EQ(buffer.GetS1(), 10);
    EXPECT_EQ(buffer.GetP1(), 20);
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"camera.StartFrameCapture(2116,1,0)"}));
    EXPECT_EQ(blocks, (std::vector<unsigned short *>{buffer.GetAddr()}));
}

TEST_F(Camera, ASnapNeedsASettingAndABuffer)
{
    StubCamera camera;
    VELM_FrameBuffer buffer(false, false);
    EXPECT_EQ(VELM_TRIPPED_BY(camera.StartSnap(&buffer)), "_setting");
    StubSetting setting;
    camera.SetCameraSetting(&setting);
    EXPECT_EQ(VELM_TRIPPED_BY(camera.StartSnap(nullptr)), "buffer");
}

TEST_F(Camera, StatusValuesAreThoseOfTheContract)
{
    EXPECT_EQ(CAMERA_IDLE, 0);
    EXPECT_EQ(CAMERA_FRAME_READY, 1);
}

} // namespace velm::test
