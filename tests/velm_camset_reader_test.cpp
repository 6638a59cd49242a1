#include "velm_camset_reader.h"

#include "drivers/base/general_camera_setting.h"
#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/plugins.h"
#include "support/stub_rig.h"

namespace velm::test {

namespace {

class CamsetReader : public testing::Test {
  protected:
    CamsetReader() { Rig() = StubRig(); }

    // Reads from a file of that text, at the root, into "setting".
    bool Load(std::string const & text)
    {
        VELM_CameraSetting * read = setting.release();
        bool const ok = file.With(text, [&](wxFileConfig & config) {
            bool const loaded = VELM_CameraSetting_Reader().Load(config, &read);
            EXPECT_EQ(config.GetPath(), "");
            return loaded;
        });
        setting.reset(read);
        return ok;
    }

    VELM_GeneralCameraSetting * General() const
    {
        return dynamic_cast<VELM_GeneralCameraSetting *>(setting.get());
    }

    DriverManagerScope manager{"plugin_stub_a"};
    ConfigFile file;
    LogRecorder log;
    std::unique_ptr<VELM_CameraSetting> setting;
};

} // namespace

TEST_F(CamsetReader, ARecordWithoutDriverHasNoSetting)
{
    EXPECT_TRUE(Load(""));
    EXPECT_EQ(setting, nullptr);
    EXPECT_TRUE(Load("[CameraSetting]\nSBIN=2\n"));
    EXPECT_EQ(setting, nullptr);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(CamsetReader, ARecordOfALoadedDriverGivesTheDriversOwnClass)
{
    EXPECT_TRUE(Load("[CameraSetting]\nDRIVER=StubA\nSBIN=2\nGAIN=31\n"));
    auto * const own = dynamic_cast<StubSetting *>(setting.get());
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->GetSBin(), 2);
    EXPECT_EQ(own->gain, 31);
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"StubA.CreateCameraSetting()",
                                                           "setting.LoadCameraSetting(/CameraSetting)"}));
}

TEST_F(CamsetReader, ARecordOfADriverThatIsNotLoadedGivesTheGeneralClassAndLosesNothing)
{
    EXPECT_TRUE(Load("[CameraSetting]\nDRIVER=stuba\nSBIN=2\nCAM_EXTRA=GAIN|Gain|dB|\nGAIN=31\n"));
    ASSERT_NE(General(), nullptr);
    EXPECT_EQ(General()->GetDriverName(), "stuba");
    EXPECT_EQ(General()->GetSBin(), 2);
    std::string const text =
        file.TextOf([&](wxFileConfig & config) { EXPECT_TRUE(General()->SaveCameraSetting(config)); });
    EXPECT_NE(text.find("GAIN=31\n"), std::string::npos);
}

TEST_F(CamsetReader, AnOldRecordThatNamesAClassGivesAGeneralSettingNamedNone)
{
    EXPECT_TRUE(Load("[CameraSetting]\nCSTYPE=4\nEXPOSURE=5\n"));
    ASSERT_NE(General(), nullptr);
    EXPECT_EQ(General()->GetDriverName(), "None");
    EXPECT_EQ(General()->GetExposure(), 5u);
}

TEST_F(CamsetReader, WithoutTheGroupTheEntriesAreReadWhereTheyStand)
{
    EXPECT_TRUE(Load("DRIVER=Other\nEXPOSURE=5\n"));
    ASSERT_NE(General(), nullptr);
    EXPECT_EQ(General()->GetDriverName(), "Other");
    EXPECT_EQ(General()->GetExposure(), 5u);
}

TEST_F(CamsetReader, TheEarlierSettingIsDeleted)
{
    setting = std::make_unique<StubSetting>();
    EXPECT_TRUE(Load(""));
    EXPECT_EQ(setting, nullptr);
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"setting.~()"}));
}

TEST_F(CamsetReader, ASettingThatFailsToLoadIsReported)
{
    EXPECT_FALSE(Load("[CameraSetting]\nDRIVER=StubA\n"));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("velm::VELM_CameraSetting_Reader::LoadCameraSetting: "
                                                       "Loading of camera setting failed")}));
    EXPECT_NE(setting, nullptr);
}

TEST_F(CamsetReader, AnExceptionOfADriverIsReportedAndThePathComesBack)
{
    Rig().on_call["setting.LoadCameraSetting"] = [] { throw VELM_HWError("no such gain"); };
    EXPECT_FALSE(Load("[CameraSetting]\nDRIVER=StubA\n"));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_CameraSetting_Reader::LoadCameraSetting: Exception (no "
                                          "such gain) caught while trying to load camera setting")}));
}

TEST_F(CamsetReader, ADriverThatGivesNoSettingLeavesTheRecordWithoutOne)
{
    Rig().absent.insert("setting");
    EXPECT_TRUE(Load("[CameraSetting]\nDRIVER=StubA\nGAIN=1\n"));
    EXPECT_EQ(setting, nullptr);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(CamsetReader, WithoutADriverManagerAnAssertionTellsAndTheGeneralClassIsTaken)
{
    VELM_DriverManager::DeleteInstance();
    AssertRecorder const asserts;
    EXPECT_TRUE(Load("[CameraSetting]\nDRIVER=StubA\n"));
    EXPECT_NE(General(), nullptr);
    EXPECT_EQ(asserts.Conditions(), (std::vector<std::string>{"_instance != 0"}));
}

} // namespace velm::test
