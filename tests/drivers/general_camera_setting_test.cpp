#include "drivers/base/general_camera_setting.h"

#include "support/camera_setting_text.h"
#include "support/config_file.h"
#include "support/log_recorder.h"

namespace velm::test {

namespace {

VELM_GeneralCameraSetting NewSetting()
{
    return VELM_GeneralCameraSetting("None", 1, 1, -1, -1, -1, -1, 0, 16, 8, 0, 0);
}

std::string const with_extras = camera_setting_text + "CAM_EXTRA=GAIN|Gain|dB|MODE|Read-out mode||\n"
                                                      "GAIN=1.50\n"
                                                      "MODE=fast $HOME\n";

bool LoadFrom(std::string const & text, VELM_GeneralCameraSetting & setting)
{
    return ConfigFile().With(text, [&](wxFileConfig & config) { return setting.LoadCameraSetting(config); });
}

std::string TextOf(VELM_GeneralCameraSetting const & setting)
{
    return ConfigFile().TextOf(
        [&](wxFileConfig & config) { EXPECT_TRUE(setting.SaveCameraSetting(config)); });
}

} // namespace

TEST(GeneralCameraSetting, WritesBackTheEntriesOfADriverThatIsNotLoaded)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom(with_extras, setting));
    EXPECT_EQ(setting.GetDriverName(), "CamA");
    EXPECT_EQ(setting.GetExtraString(), "GAIN|Gain|dB|MODE|Read-out mode||");
    EXPECT_EQ(TextOf(setting), with_extras);
}

TEST(GeneralCameraSetting, HasNoExtraEntriesAtFirst)
{
    EXPECT_EQ(NewSetting().GetExtraString(), "");
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom("DRIVER=CamA\n", setting));
    EXPECT_EQ(setting.GetExtraString(), "");
}

TEST(GeneralCameraSetting, AnExtraEntryThatIsMissingIsKeptAsAnEmptyText)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom("CAM_EXTRA=GAIN|Gain|dB|\n", setting));
    EXPECT_NE(TextOf(setting).find("CAM_EXTRA=GAIN|Gain|dB|\nGAIN=\n"), std::string::npos);
}

TEST(GeneralCameraSetting, LoadingAgainForgetsTheEarlierExtras)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom(with_extras, setting));
    EXPECT_TRUE(LoadFrom("CAM_EXTRA=OTHER|a|b|\nOTHER=1\n", setting));
    std::string const text = TextOf(setting);
    EXPECT_NE(text.find("OTHER=1\n"), std::string::npos);
    EXPECT_EQ(text.find("GAIN"), std::string::npos);
}

TEST(GeneralCameraSetting, AnInvalidExtraStringFailsTheLoadAndIsStillWrittenBack)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    LogRecorder log;
    EXPECT_FALSE(LoadFrom("DRIVER=CamA\nCAM_EXTRA=a|x\na=5\n", setting));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error(
                               "velm::VELM_CameraSetting::ParseExtraString: Invalid extra string: a|x")}));
    std::string const text = TextOf(setting);
    EXPECT_NE(text.find("CAM_EXTRA=a|x\n"), std::string::npos);
    EXPECT_EQ(text.find("a=5"), std::string::npos);
}

TEST(GeneralCameraSetting, CopiesCarryTheExtras)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom(with_extras, setting));
    VELM_GeneralCameraSetting assigned = NewSetting();
    assigned = setting;
    EXPECT_EQ(TextOf(assigned), with_extras);
    std::unique_ptr<VELM_CameraSetting> const clone(setting.Clone());
    auto * const general = dynamic_cast<VELM_GeneralCameraSetting *>(clone.get());
    ASSERT_NE(general, nullptr);
    EXPECT_EQ(TextOf(*general), with_extras);
}

TEST(GeneralCameraSetting, ARefusedExtraEntryIsLoggedAndTheNextStillWritten)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom(with_extras, setting));
    LogRecorder log;
    RefusingConfig config("GAIN");
    config.SetExpandEnvVars(false);
    EXPECT_TRUE(setting.SaveCameraSetting(config));
    EXPECT_EQ(config.Read("MODE", ""), "fast $HOME");
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Warning(
                  "velm::VELM_GeneralCameraSetting::SaveCameraSetting: Unable to save entry: GAIN")}));
}

TEST(GeneralCameraSetting, TheResultIsThatOfTheLastExtraEntry)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom(with_extras, setting));
    LogRecorder log;
    RefusingConfig config("MODE");
    EXPECT_FALSE(setting.SaveCameraSetting(config));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Warning(
                  "velm::VELM_GeneralCameraSetting::SaveCameraSetting: Unable to save entry: MODE")}));
}

TEST(GeneralCameraSetting, WithoutExtrasTheResultIsThatOfTheBase)
{
    RefusingConfig config("SBIN");
    EXPECT_FALSE(NewSetting().SaveCameraSetting(config));
}

TEST(GeneralCameraSetting, AKeyThatTheToolkitRefusesCostsOneLine)
{
    VELM_GeneralCameraSetting setting = NewSetting();
    EXPECT_TRUE(LoadFrom("CAM_EXTRA=!a|x|y|\n", setting));
    LogRecorder log;
    RefusingConfig config("no such key");
    EXPECT_FALSE(setting.SaveCameraSetting(config));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Warning("velm::VELM_GeneralCameraSetting::SaveCameraSetting: Unable to save entry: !a")}));
}

} // namespace velm::test
