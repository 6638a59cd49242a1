// The driver that docs/writing-a-driver.md builds up, brought up as a newcomer would.

#include "drivers/base/driver_contract.h"
#include "support/log_recorder.h"
#include "support/stub_microscope.h"

#include <dlfcn.h>

namespace velm::test {

namespace {

class ExampleDriver : public testing::Test {
  protected:
    // A rig whose Z drive is the example's, with the entries in the example's section.
    static std::string Ini(std::string const & entries)
    {
        std::string ini = StubMicroscope::WholeRig();
        std::string const fake_drive = "[ZDrive]\nDriver=SecA\n";
        ini.replace(ini.find(fake_drive), fake_drive.size(), "[ZDrive]\nDriver=Focus\n");
        return ini + "[Focus]\nName=Example\n" + entries;
    }

    static constexpr char const * entries = "Port=/dev/ttyS0\nLower=-1000\nUpper=3000\nSpeed=10000000\n";

    LogRecorder log;
    StubMicroscope microscope;
};

} // namespace

TEST_F(ExampleDriver, BringsUpItsZDriveNextToOtherDrivers)
{
    VELM_BaseControl & control = microscope.Build(Ini(entries));
    ASSERT_TRUE(control.IsOK());
    control.Init();
    EXPECT_THAT(
        std::string(control.HWInfo().utf8_str()),
        testing::HasSubstr("\nZdrive: Example Z drive, range -1000 to 3000 (Example focus motor on port "
                           "'/dev/ttyS0')\n"));
    EXPECT_EQ(control.ZDrive_GetCurPos(), 1000) << "the middle of the range";
    EXPECT_TRUE(log.Texts('E').empty());
}

TEST_F(ExampleDriver, MovesToWhereItIsSent)
{
    VELM_BaseControl & control = microscope.Build(Ini(entries));
    control.Init();
    control.ZDrive_SetPos(-1000);
    control.ZDrive_WaitPos();
    EXPECT_EQ(control.ZDrive_GetCurPos(), -1000);
    control.ZDrive_SetRelPos(250);
    control.ZDrive_WaitPos();
    EXPECT_EQ(control.ZDrive_GetCurPos(), -750);
    EXPECT_THROW(control.ZDrive_SetPos(3001), VELM_ZDriveControlError);
}

TEST_F(ExampleDriver, MovingReturnsWhileTheMotorRuns)
{
    // The middle of this range is where the motor stands, so the slow motor is there at once.
    VELM_BaseControl & control = microscope.Build(Ini("Port=1\nLower=-100000\nUpper=100000\nSpeed=1\n"));
    control.Init();
    control.ZDrive_SetPos(100000);
    EXPECT_TRUE(control.ZDrive_IsMoving());
    EXPECT_LT(control.ZDrive_GetCurPos(), 100000);
}

TEST_F(ExampleDriver, ToldNoPortItFailsWithItsOwnWords)
{
    EXPECT_FALSE(microscope.Build(Ini("")).IsOK());
    EXPECT_EQ(log.Texts('E'), (std::vector<std::string>{"HW error: Example focus motor: no port given",
                                                        "There were serious errors!."}));
}

TEST_F(ExampleDriver, AMotorWithoutPowerIsAnErrorOfTheZDrive)
{
    VELM_BaseControl & control = microscope.Build(Ini(entries));
    try {
        control.ZDrive_SetPos(0);
        ADD_FAILURE();
    } catch (VELM_ZDriveControlError const & error) {
        EXPECT_EQ(error.GetMessage(), "Example Z drive: the motor has no power");
    }
}

TEST_F(ExampleDriver, ItsSettingOfACameraIsNone)
{
    EXPECT_EQ(VELM_DriverManager::GetInstance()->GetPackage("Example")->CreateCameraSetting(), nullptr);
}

TEST_F(ExampleDriver, TellsTheVersionOfTheContract)
{
    TempDirectory directory;
    wxString const path = InstallPlugin(directory, "example_driver", "example_driver");
    void * const library = dlopen(path.utf8_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    auto const version = reinterpret_cast<int (*)()>(dlsym(library, "velm_driver_contract_version"));
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version(), VELM_DRIVER_CONTRACT_VERSION);
    dlclose(library);
}

} // namespace velm::test
