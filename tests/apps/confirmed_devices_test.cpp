#include "acquisition/confirmed_devices.h"

#include "acquisition/interruption.h"
#include "support/log_recorder.h"
#include "support/stub_microscope.h"
#include "velm_frame_buffer.h"

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>

namespace velm::acquisition {

namespace {

using test::LogLine;
using test::Rig;

constexpr std::chrono::milliseconds soon{20};

// At a place, with the shutter open and a camera of 100 by 50 pixels.
class Confirmed : public testing::Test {
  protected:
    Confirmed()
    {
        _setting.SetRegion(0, 0, 99, 49);
        _base.Camera_Set(&_setting, nullptr);
        Rig().expose = [](unsigned short * pixels, unsigned int count) { std::fill_n(pixels, count, 7); };
        devices.GoTo(VELM_Coord(1, 5000, -3000, 200), 200);
        devices.OpenShutter();
        Rig().TakeCalls();
    }
    ~Confirmed() override { _base.Camera_SetDefaultSetting(); }

    void Snap()
    {
        VELM_FrameBuffer buffer(false, false);
        devices.Snap(buffer, std::chrono::microseconds(100));
    }

    // What the call ends with; empty for success.
    template <typename Call>
    static std::string FailureOf(Call const & call)
    {
        try {
            call();
        } catch (DeviceFailure const & failure) {
            return failure.what();
        }
        return "";
    }

    // How often something was called since the calls were taken last.
    static std::ptrdiff_t Count(std::string const & call)
    {
        auto const & calls = Rig().calls;
        return std::count_if(calls.begin(), calls.end(),
                             [&](std::string const & made) { return made.rfind(call + "(", 0) == 0; });
    }

    // What is logged by the way out that closes the shutter, and by the one that brings the Z drive back too.
    std::vector<LogLine> LinesOfClosing()
    {
        test::LogRecorder const log;
        devices.CloseShutterNow();
        return log.Lines();
    }
    std::vector<LogLine> LinesOfWithdrawing()
    {
        test::LogRecorder const log;
        devices.Withdraw(150);
        return log.Lines();
    }

  private:
    test::StubMicroscope _microscope;
    VELM_BaseControl & _base = _microscope.Start();
    test::StubSetting _setting;

  protected:
    ConfirmedDevices devices{_base, Deadlines{soon, soon, soon, soon, soon}};
};

} // namespace

TEST_F(Confirmed, AFrameIsTakenOnceWhereEverythingIsAsItShouldBe)
{
    EXPECT_EQ(FailureOf([this] { Snap(); }), "");
    EXPECT_EQ(Count("camera.StartFrameCapture"), 1);
    EXPECT_EQ(Count("stage.Move") + Count("zdrive.Move") + Count("shutter.Open"), 0);
}

TEST_F(Confirmed, ADeviceThatWentAstrayIsAskedOnceMoreBeforeTheExposure)
{
    Rig().stage->hw_x += 4000;
    Rig().zdrive->pos -= 100;
    Rig().ex->hw_pos = 2;
    Rig().em->hw_pos = 3;
    Rig().shutter->opened = false;
    EXPECT_EQ(FailureOf([this] { Snap(); }), "");
    EXPECT_EQ(Rig().stage->hw_x, 5000);
    EXPECT_EQ(Rig().zdrive->pos, 200);
    EXPECT_EQ(Rig().ex->hw_pos, 0);
    EXPECT_EQ(Rig().em->hw_pos, 0);
    EXPECT_TRUE(Rig().shutter->opened);
    EXPECT_EQ(Count("camera.StartFrameCapture"), 1);
    EXPECT_EQ(Rig().calls.back().rfind("camera.", 0), 0u) << "the exposure comes last";
}

TEST_F(Confirmed, NoFrameIsTakenWhenADeviceStaysAstray)
{
    Rig().stage->hw_x += 4000;
    Rig().on_call["stage.Move"] = [] { throw VELM_StageControlError("Stuck."); };
    EXPECT_EQ(FailureOf([this] { Snap(); }), "The stage failed: Stuck.");
    Rig().on_call.clear();
    Rig().zdrive->pos = 0;
    Rig().on_call["zdrive.ReadPos"] = [] { Rig().zdrive->pos = 90; };
    EXPECT_EQ(FailureOf([this] { Snap(); }),
              "The Z drive did not confirm in time: it is at 9.0 microns instead of 20.0.");
    EXPECT_EQ(Count("camera.StartFrameCapture"), 0);
}

TEST_F(Confirmed, AFrameWhoseLastPixelsAreMissingIsTakenOnceMore)
{
    int frames = 0;
    Rig().expose = [&frames](unsigned short * pixels, unsigned int count) {
        std::fill_n(pixels, ++frames == 1 ? count - 20 : count, 7);
    };
    EXPECT_EQ(FailureOf([this] { Snap(); }), "");
    EXPECT_EQ(frames, 2);
}

TEST_F(Confirmed, AFrameThatIsNeverWholeIsAFailureOfTheCamera)
{
    Rig().expose = [](unsigned short * pixels, unsigned int count) { std::fill_n(pixels, count - 20, 7); };
    EXPECT_EQ(FailureOf([this] { Snap(); }), "The camera failed: it did not deliver the frame.");
    EXPECT_EQ(Count("camera.StartFrameCapture"), 2);
    EXPECT_EQ(Count("camera.AbortAcquisition"), 2);
}

TEST_F(Confirmed, ACameraThatCannotBeStoppedIsAWarningAndTheFailureRemains)
{
    Rig().expose = nullptr;
    Rig().on_call["camera.AbortAcquisition"] = [] { throw VELM_CameraControlError("Deaf at 50%s."); };
    test::LogRecorder const log;
    EXPECT_EQ(FailureOf([this] { Snap(); }), "The camera failed: it did not deliver the frame.");
    LogLine const expected = test::Warning("The camera could not be stopped: Deaf at 50%s.");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{expected, expected}));
}

TEST_F(Confirmed, ThePlaceIsReadOnceMoreAfterAFailure)
{
    int reads = 0;
    Rig().on_call["stage.ReadPos"] = [&reads] {
        if (++reads == 1) {
            throw VELM_StageControlError("Busy.");
        }
    };
    VELM_Coord const place = devices.ReadPlace();
    long x = 0;
    long y = 0;
    long z = 0;
    place.GetPosition(x, y, z);
    EXPECT_EQ(std::make_tuple(x, y, z), std::make_tuple(5000L, -3000L, 200L));
    EXPECT_TRUE(place.IsFullFrame());

    Rig().on_call["zdrive.ReadPos"] = [] { throw VELM_ZDriveControlError("Gone."); };
    EXPECT_EQ(FailureOf([this] { devices.ReadPlace(); }), "The Z drive failed: Gone.");
}

TEST_F(Confirmed, TheLightPathIsSetOnceMoreAfterAFailure)
{
    int calls = 0;
    Rig().on_call["body.SetLightPathToCamera"] = [&calls] {
        if (++calls != 2) {
            throw VELM_MicroscopeBodyControlError("No power.");
        }
    };
    EXPECT_EQ(FailureOf([this] { devices.SetLightPathToCamera(); }), "");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(FailureOf([this] { devices.SetLightPathToCamera(); }), "The microscope body failed: No power.");
    EXPECT_EQ(calls, 4);
}

TEST_F(Confirmed, OnTheWayOutTheShutterIsClosedAndTheZDriveBroughtBackWithoutAWord)
{
    EXPECT_EQ(LinesOfWithdrawing(), std::vector<LogLine>());
    EXPECT_FALSE(Rig().shutter->opened);
    EXPECT_EQ(Rig().zdrive->pos, 150);
}

TEST_F(Confirmed, AShutterThatFailsOnceIsClosedOnTheWayOutByAskingOnceMore)
{
    int calls = 0;
    Rig().on_call["shutter.Close"] = [&calls] {
        if (++calls == 1) {
            throw VELM_ShutterControlError("Busy.");
        }
    };
    EXPECT_EQ(LinesOfClosing(), std::vector<LogLine>());
    EXPECT_FALSE(Rig().shutter->opened);
}

TEST_F(Confirmed, AShutterThatCannotBeClosedOnTheWayOutIsAnErrorInTheDevicesWords)
{
    Rig().on_call["shutter.Close"] = [] { throw VELM_ShutterControlError("Jammed at 50%s."); };
    EXPECT_EQ(LinesOfClosing(),
              (std::vector<LogLine>{test::Error("The shutter could not be closed; close it by hand. "
                                                "The shutter failed: Jammed at 50%s.")}));
    EXPECT_EQ(Count("shutter.Close"), 2);
}

TEST_F(Confirmed, AShutterThatStaysOpenOnTheWayOutIsAnError)
{
    Rig().on_call["shutter.IsMoving"] = [] { Rig().shutter->opened = true; };
    EXPECT_EQ(LinesOfClosing(),
              (std::vector<LogLine>{test::Error("The shutter could not be closed; close it by hand. "
                                                "The shutter did not confirm in time: it is open.")}));
    EXPECT_EQ(Count("shutter.Close"), 2);
}

TEST_F(Confirmed, AShutterWhoseDriverThrowsSomethingUnknownOnTheWayOutIsAnErrorToo)
{
    Rig().on_call["shutter.Close"] = [] { throw 7; };
    EXPECT_EQ(LinesOfClosing(),
              (std::vector<LogLine>{test::Error("The shutter could not be closed; close it by hand.")}));
}

TEST_F(Confirmed, AZDriveThatCannotBeBroughtBackIsAWarningInTheDevicesWords)
{
    Rig().on_call["zdrive.Move"] = [] { throw VELM_ZDriveControlError("Stuck at 50%s."); };
    EXPECT_EQ(LinesOfWithdrawing(),
              (std::vector<LogLine>{test::Warning("The Z drive could not be brought back. "
                                                  "The Z drive failed: Stuck at 50%s.")}));
    EXPECT_EQ(Count("zdrive.Move"), 2);
    EXPECT_FALSE(Rig().shutter->opened);
}

TEST_F(Confirmed, AZDriveWhoseDriverThrowsSomethingUnknownIsAWarningToo)
{
    Rig().on_call["zdrive.Move"] = [] { throw 7; };
    EXPECT_EQ(LinesOfWithdrawing(),
              (std::vector<LogLine>{test::Warning("The Z drive could not be brought back.")}));
}

TEST_F(Confirmed, AfterAFailedShutterTheZDriveIsBroughtBackAllTheSame)
{
    Rig().on_call["shutter.Close"] = [] { throw VELM_ShutterControlError("Jammed."); };
    EXPECT_EQ(LinesOfWithdrawing(),
              (std::vector<LogLine>{test::Error("The shutter could not be closed; close it by hand. "
                                                "The shutter failed: Jammed.")}));
    EXPECT_EQ(Rig().zdrive->pos, 150);
}

TEST_F(Confirmed, NobodyWaitsForTheZDriveOnTheWayOutOfAnInterruption)
{
    Interruption const interruption;
    std::raise(SIGINT);
    Rig().moving_polls = 1;
    EXPECT_EQ(LinesOfWithdrawing(), std::vector<LogLine>());
    EXPECT_FALSE(Rig().shutter->opened);
    EXPECT_EQ(Count("zdrive.Move"), 1);
    EXPECT_EQ(Count("zdrive.IsMoving"), 1) << "asked, but not awaited";
}

} // namespace velm::acquisition
