#include "acquisition/watched_task.h"

#include "acquisition/confirmed_devices.h"
#include "acquisition/interruption.h"
#include "acquisition/watchdog.h"
#include "support/stub_microscope.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace velm::acquisition {

namespace {

using test::Rig;

// With the Z drive at 200.
class Task : public testing::Test {
  protected:
    Task() { _devices.GoToZ(200); }

    // Does something that goes elsewhere, opens the shutter and ends so.
    template <typename End>
    void Do(End const & end)
    {
        _task.Do("Counting cells", [&] {
            _devices.GoToZ(300);
            _devices.OpenShutter();
            end();
        });
    }

    // The text of the device failure that it ends with.
    template <typename End>
    std::string FailureOf(End const & end)
    {
        try {
            Do(end);
        } catch (DeviceFailure const & failure) {
            return failure.what();
        }
        return "";
    }

    static bool IsWithdrawn() { return !Rig().shutter->opened && Rig().zdrive->pos == 200; }

  private:
    test::StubMicroscope _microscope;
    VELM_BaseControl & _base = _microscope.Start();
    ConfirmedDevices _devices{_base, Deadlines()};
    Watchdog _watchdog{_base, "/none/log.txt"};
    WatchedTask _task{_devices, _watchdog, std::chrono::hours(1)};
};

} // namespace

TEST_F(Task, ThatGoesWellLeavesTheDevicesAsTheyAre)
{
    EXPECT_EQ(FailureOf([] {}), "");
    EXPECT_TRUE(Rig().shutter->opened);
    EXPECT_EQ(Rig().zdrive->pos, 300);
}

TEST_F(Task, ThatADriverFailsInGoesBackAndSaysWhatWasBeingDone)
{
    EXPECT_EQ(FailureOf([] { throw VELM_CameraControlError("Gone."); }), "Counting cells failed: Gone.");
    EXPECT_TRUE(IsWithdrawn());
}

TEST_F(Task, ThatADeviceDoesNotConfirmInGoesBackAndSaysWhatWasBeingDone)
{
    EXPECT_EQ(FailureOf([] { throw DeviceFailure("The stage failed: Stuck."); }),
              "Counting cells failed: The stage failed: Stuck.");
    EXPECT_TRUE(IsWithdrawn());
}

TEST_F(Task, ThatEndsInAnyOtherWayGoesBackToo)
{
    EXPECT_THROW(Do([] { throw std::runtime_error("other"); }), std::runtime_error);
    EXPECT_TRUE(IsWithdrawn());
    EXPECT_THROW(Do([] { throw Interrupted(); }), Interrupted);
    EXPECT_TRUE(IsWithdrawn());
}

} // namespace velm::acquisition
