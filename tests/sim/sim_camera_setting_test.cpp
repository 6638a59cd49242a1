#include "sim_camera_setting.h"

#include "drivers/base/general_camera_setting.h"
#include "support/temp_directory.h"

namespace velm::sim::test {

using velm::test::TempDirectory;

CameraParams Sensor(int width, int height, int bit_depth)
{
    CameraParams camera;
    camera.width = width;
    camera.height = height;
    camera.bit_depth = bit_depth;
    return camera;
}

SimCameraSetting Unusual()
{
    SimCameraSetting setting(Sensor(640, 480, 14));
    setting.SetBinning(2, 4);
    setting.SetRegion(10, 20, 309, 219);
    setting.SetExposure(12345);
    setting.SetGain(4);
    setting.SetCooling(-25);
    return setting;
}

class SimCameraSettingFile : public testing::Test {
  protected:
    std::unique_ptr<wxFileConfig> Open()
    {
        return std::make_unique<wxFileConfig>("", "", _dir / "setting.txt", "", wxCONFIG_USE_RELATIVE_PATH,
                                              wxConvAuto());
    }

    TempDirectory _dir;
};

TEST(SimCameraSetting, ANewSettingHasTheSensorsUsualBinningAndExposure)
{
    CameraParams camera = Sensor(640, 480, 14);
    camera.binning = 2;
    camera.exposure = 40000;
    SimCameraSetting const setting(camera);
    EXPECT_EQ(setting.GetSBin(), 2);
    EXPECT_EQ(setting.GetPBin(), 2);
    EXPECT_EQ(setting.GetExposure(), 40000u);
    EXPECT_TRUE(setting.IsFullFrame());
    EXPECT_EQ(setting.GetMaxBitDepth(), 14);
}

TEST_F(SimCameraSettingFile, KeepsGainAndCooling)
{
    SimCameraSetting const saved = Unusual();
    EXPECT_TRUE(saved.SaveCameraSetting(*Open()));
    SimCameraSetting loaded(Sensor(1, 1, 8));
    EXPECT_TRUE(loaded.LoadCameraSetting(*Open()));
    EXPECT_TRUE(loaded == &saved);
    EXPECT_EQ(loaded.GetGain(), 4);
    EXPECT_EQ(loaded.GetCooling(), -25);
}

TEST_F(SimCameraSettingFile, AnotherProgramKeepsWhatItDoesNotUnderstand)
{
    SimCameraSetting const saved = Unusual();
    saved.SaveCameraSetting(*Open());
    VELM_GeneralCameraSetting general("None", 1, 1, -1, -1, -1, -1, 0, 16, 8, 0, 0);
    EXPECT_TRUE(general.LoadCameraSetting(*Open()));
    wxRemoveFile(_dir / "setting.txt");
    EXPECT_TRUE(general.SaveCameraSetting(*Open()));
    SimCameraSetting back(Sensor(1, 1, 8));
    EXPECT_TRUE(back.LoadCameraSetting(*Open()));
    EXPECT_TRUE(back == &saved);
}

TEST_F(SimCameraSettingFile, ValuesOutOfRangeAreBroughtIntoIt)
{
    _dir.Write("setting.txt", "DRIVER=Simulated microscope\nGAIN=99\nCOOLING=-300\n");
    SimCameraSetting setting(Sensor(640, 480, 12));
    EXPECT_TRUE(setting.LoadCameraSetting(*Open()));
    EXPECT_EQ(setting.GetGain(), 16);
    EXPECT_EQ(setting.GetCooling(), -40);
}

TEST(SimCameraSetting, NamesItsEntriesWithLabelsAndUnits)
{
    SimCameraSetting const setting(Sensor(640, 480, 12));
    EXPECT_EQ(setting.GetExtraString(), "GAIN|Gain|x|COOLING|Sensor temperature|deg C|");
    wxArrayString labels;
    wxArrayString units;
    setting.GetAdditionalParams(labels, units);
    ASSERT_EQ(labels.size(), 2u);
    EXPECT_EQ(labels[0], "Gain");
    EXPECT_EQ(units[1], "deg C");
}

TEST(SimCameraSetting, IsAFullFrameOfItsDriverAtFirst)
{
    SimCameraSetting const setting(Sensor(640, 480, 12));
    EXPECT_TRUE(setting.IsFullFrame());
    EXPECT_EQ(setting.GetDriverName(), "Simulated microscope");
    EXPECT_EQ(setting.GetMaxBitDepth(), 12);
    EXPECT_EQ(setting.GetLastBit(), 12);
}

TEST(SimCameraSetting, DiffersByGainAndCooling)
{
    SimCameraSetting const setting = Unusual();
    std::unique_ptr<VELM_CameraSetting> const copy(setting.Clone());
    EXPECT_TRUE(setting == copy.get());
    EXPECT_TRUE(setting.IsSameButRegionAndLastBit(copy.get()));
    SimCameraSetting other = setting;
    other.SetGain(5);
    EXPECT_FALSE(setting == &other);
    EXPECT_FALSE(setting.IsSameButRegionAndLastBit(&other));
    other = setting;
    other.SetCooling(0);
    EXPECT_FALSE(setting == &other);
    other = setting;
    other.SetRegion(0, 0, 1, 1);
    EXPECT_FALSE(setting == &other);
    EXPECT_TRUE(setting.IsSameButRegionAndLastBit(&other));
    EXPECT_FALSE(setting == nullptr);
    EXPECT_FALSE(setting.IsSameButRegionAndLastBit(nullptr));
}

TEST(SimCameraSetting, IsNotTheSameAsAGeneralOneOfEqualValues)
{
    SimCameraSetting const setting = Unusual();
    VELM_GeneralCameraSetting const general("Simulated microscope", 2, 4, 10, 309, 20, 219, 12345, 14, 14,
                                            640, 480);
    EXPECT_FALSE(setting == &general);
}

TEST(SimCameraSetting, GoesThroughItsPanel)
{
    wxFrame frame(nullptr, wxID_ANY, "settings");
    SimCameraSetting shown(Sensor(640, 480, 12));
    shown.CreateAdvSettingPanel(&frame, nullptr);
    SimCameraSetting source = Unusual();
    source.PutAdvSettingToPanel(&frame, nullptr);
    shown.CopyAdvSettingFromPanel(&frame, nullptr);
    EXPECT_EQ(shown.GetGain(), 4);
    EXPECT_EQ(shown.GetCooling(), -25);
}

} // namespace velm::sim::test
