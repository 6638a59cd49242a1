#include "drivers/base/hw_control.h"

#include "support/stub_rig.h"

namespace velm::test {

namespace {

// The root class with no more than a driver has to write.
class PlainControl : public VELM_HWControl {
  public:
    using VELM_HWControl::VELM_HWControl;

    bool IsInitialized() const { return _initialized; }

    int inits = 0;
    int closes = 0;
    bool init_fails = false;
    bool close_fails = false;

  protected:
    void InitHW() override
    {
        ++inits;
        if (init_fails) {
            throw VELM_HWError("no answer");
        }
    }
    void CloseHW() override
    {
        ++closes;
        EXPECT_FALSE(_initialized);
        if (close_fails) {
            throw VELM_HWError("no answer");
        }
    }
};

} // namespace

TEST(HWControl, InfoOfAControlWithoutDriverSaysSo)
{
    EXPECT_EQ(PlainControl().HWInfo(), "General HW Control (No driver)");
    EXPECT_EQ(PlainControl().GetDriverInfo(), "No driver");
}

TEST(HWControl, InfoOfAControlWithDriverShowsTheDriversOwn)
{
    StubDriver driver;
    PlainControl const control(&driver);
    EXPECT_EQ(control.HWInfo(), "General HW Control (Stub driver)");
}

TEST(HWControl, InitTwiceAndCloseTwiceAreHarmless)
{
    PlainControl control;
    EXPECT_FALSE(control.IsInitialized());
    control.Init();
    control.Init();
    EXPECT_TRUE(control.IsInitialized());
    EXPECT_EQ(control.inits, 1);
    control.Close();
    control.Close();
    EXPECT_FALSE(control.IsInitialized());
    EXPECT_EQ(control.closes, 1);
}

TEST(HWControl, CloseOfADeviceWhoseInitFailedDoesNotTouchTheHardware)
{
    PlainControl control;
    control.init_fails = true;
    EXPECT_THROW(control.Init(), VELM_HWError);
    EXPECT_FALSE(control.IsInitialized());
    control.Close();
    EXPECT_EQ(control.closes, 0);
}

TEST(HWControl, AFailedInitMayBeTriedAgain)
{
    PlainControl control;
    control.init_fails = true;
    EXPECT_THROW(control.Init(), VELM_HWError);
    control.init_fails = false;
    control.Init();
    EXPECT_TRUE(control.IsInitialized());
    EXPECT_EQ(control.inits, 2);
}

TEST(HWControl, AFailedCloseLeavesTheDeviceClosed)
{
    PlainControl control;
    control.close_fails = true;
    control.Init();
    EXPECT_THROW(control.Close(), VELM_HWError);
    EXPECT_FALSE(control.IsInitialized());
    control.Close();
    EXPECT_EQ(control.closes, 1);
}

TEST(HWControl, DestructionDoesNotCloseTheHardware)
{
    Rig() = StubRig();
    {
        StubShutter shutter;
        static_cast<VELM_HWControl &>(shutter).Init();
        Rig().TakeCalls();
    }
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"shutter.~()"}));
}

TEST(HWControl, IsActiveAndIgnoresUserInteractionUnlessADriverSaysOtherwise)
{
    PlainControl control;
    EXPECT_TRUE(control.IsActive());
    control.EnableUserInteraction(true);
    EXPECT_EQ(control.inits, 0);
}

TEST(HWControl, EveryDeviceErrorIsAHardwareErrorWithItsMessage)
{
    auto const caught = [](auto const & error) {
        try {
            throw error;
        } catch (VELM_HWError const & e) {
            return e.GetMessage();
        }
    };
    EXPECT_EQ(caught(VELM_BaseControlError("a")), "a");
    EXPECT_EQ(caught(VELM_CameraControlError("b")), "b");
    EXPECT_EQ(caught(VELM_ZDriveControlError("c")), "c");
    EXPECT_EQ(caught(VELM_StageControlError("d")), "d");
    EXPECT_EQ(caught(VELM_ShutterControlError("e")), "e");
    EXPECT_EQ(caught(VELM_FilterControlError("f")), "f");
    EXPECT_EQ(caught(VELM_MicroscopeBodyControlError("g")), "g");
}

TEST(HWDriver, IsNotInitializedAndNamelessUntilItsPackageSaysOtherwise)
{
    StubDriver const driver;
    EXPECT_FALSE(driver._initialized);
    EXPECT_TRUE(driver._name.empty());
}

} // namespace velm::test
