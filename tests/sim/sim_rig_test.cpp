// The driver as an application meets it.

#include "drivers/base/camera_setting.h"
#include "sim/sim_base_control.h"
#include "velm_camset_reader.h"

#include <algorithm>

namespace velm::sim::test {

std::vector<unsigned short> PixelsOf(vexa::Image3d<unsigned short> const & image)
{
    std::vector<unsigned short> pixels;
    for (unsigned int y = 0; y < image.GetSizeY(); ++y) {
        for (unsigned int x = 0; x < image.GetSizeX(); ++x) {
            pixels.push_back(image.GetVoxel(x, y, 0));
        }
    }
    return pixels;
}

TEST_F(SimRig, StartsAllSevenDevicesFromOneDriver)
{
    VELM_BaseControl & base = Start();
    EXPECT_TRUE(base.IsOK());
    EXPECT_TRUE(_log.Texts('E').empty());
    EXPECT_TRUE(_log.Texts('W').empty());
    auto const texts = _log.Texts('M');
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Driver is already loaded in memory."), 6);
    EXPECT_TRUE(base.HWInfo().Contains("Simulated camera, 1392 x 1040 pixels, 12 bits"));
    EXPECT_EQ(base.MicroscopeBody_GetObjectiveDescription(), "63x/1.40 oil");
    EXPECT_NEAR(static_cast<double>(base.GetImgPixelSizeX()), 6450.0 / 63.0, 0.01);
}

TEST_F(SimRig, TakesAPictureWithNucleiInIt)
{
    Start();
    std::vector<unsigned short> const pixels = PixelsOf(Snap());
    ASSERT_EQ(pixels.size(), 1392u * 1040u);
    auto const bright = std::count_if(pixels.begin(), pixels.end(), [](unsigned short v) { return v > 600; });
    EXPECT_GT(bright, 20000);
    EXPECT_LT(bright, 1000000);
}

TEST_F(SimRig, GivesTheSamePictureAgainAfterARestart)
{
    Start();
    std::vector<unsigned short> const first = PixelsOf(Snap());
    _base.reset();
    VELM_DriverManager::DeleteInstance();
    _manager = VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry");
    Start();
    EXPECT_EQ(PixelsOf(Snap()), first);
}

TEST_F(SimRig, ThePictureIsTheRightWayRoundWhateverTheFlips)
{
    Start();
    std::vector<unsigned short> const straight = PixelsOf(Snap());
    _base.reset();
    VELM_DriverManager::DeleteInstance();
    _manager = VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry");
    std::string ini = HardwareIni("");
    for (std::string const flip : {"MicFlipX=0", "MicFlipY=0"}) {
        ini[ini.find(flip) + 9] = '1';
    }
    _base = std::make_unique<VELM_BaseControl>(_dir.Write("flipped.ini", ini), &_db, _manager);
    _base->Init();
    EXPECT_TRUE(_base->GetImgFlipX() && _base->GetImgFlipY());
    EXPECT_EQ(PixelsOf(Snap()), straight);
}

TEST_F(SimRig, MovesWhereItIsTold)
{
    VELM_BaseControl & base = Start();
    base.Stage_SetPos(1234, -567);
    base.Stage_WaitPos();
    long x = 0;
    long y = 0;
    base.Stage_GetCurPos(x, y);
    EXPECT_EQ(x, 1234);
    EXPECT_EQ(y, -567);
    base.Stage_SetRelPos(6, 7);
    base.Stage_GetCurPos(x, y);
    EXPECT_EQ(x, 1240);
    EXPECT_EQ(y, -560);
    base.ZDrive_SetPos(4321);
    base.ZDrive_SetRelPos(-21);
    base.ZDrive_WaitPos();
    EXPECT_EQ(base.ZDrive_GetCurPos(), 4300);
    EXPECT_EQ(base.ZDrive_GetCalibOffset(), 3000);
    base.ExFilter_SetPos(3);
    base.EmFilter_SetPos(2);
    base.Channel_Wait();
    EXPECT_EQ(base.ExFilter_GetHWPos(), 3);
    EXPECT_EQ(base.EmFilter_GetHWPos(), 2);
    base.Shutter_Open();
    base.Shutter_WaitPos();
    EXPECT_TRUE(base.Shutter_IsOpened());
    base.Shutter_RequestClose();
    EXPECT_FALSE(base.Shutter_IsOpened());
}

// The error class that a call throws, and its text.
template <typename Error, typename Call>
std::string TextOfError(Call call)
{
    try {
        call();
    } catch (Error const & error) {
        return error.what();
    }
    return {};
}

TEST_F(SimRig, EveryDeviceThrowsItsOwnErrorClass)
{
    VELM_BaseControl & base =
        Start("Fault1=Camera.StartFrameCapture throw at 1\nFault2=ZDrive.Move throw at 1\n"
              "Fault3=Stage.Move throw at 1\nFault4=Shutter.Open throw at 1\n"
              "Fault5=ExFilter.Move throw at 1\nFault6=EmFilter.IsMoving throw at 1\n"
              "Fault7=Body.SetLightPathToCamera throw at 1\n"
              "Fault8=Camera.GetStatus throw at 1\n");
    VELM_FrameBuffer buffer(false, false);
    EXPECT_EQ(TextOfError<VELM_CameraControlError>([&] { base.Camera_StartSnap(&buffer); }),
              "Simulated fault in Camera.StartFrameCapture, call 1");
    EXPECT_EQ(TextOfError<VELM_CameraControlError>([&] { base.Camera_GetStatus(nullptr); }),
              "Simulated fault in Camera.GetStatus, call 1");
    EXPECT_EQ(TextOfError<VELM_ZDriveControlError>([&] { base.ZDrive_SetPos(5000); }),
              "Simulated fault in ZDrive.Move, call 1");
    EXPECT_EQ(TextOfError<VELM_StageControlError>([&] { base.Stage_SetPos(1, 1); }),
              "Simulated fault in Stage.Move, call 1");
    EXPECT_EQ(TextOfError<VELM_ShutterControlError>([&] { base.Shutter_Open(); }),
              "Simulated fault in Shutter.Open, call 1");
    EXPECT_EQ(TextOfError<VELM_FilterControlError>([&] { base.ExFilter_SetPos(1); }),
              "Simulated fault in ExFilter.Move, call 1");
    EXPECT_EQ(TextOfError<VELM_FilterControlError>([&] { base.EmFilter_IsMoving(); }),
              "Simulated fault in EmFilter.IsMoving, call 1");
    EXPECT_EQ(
        TextOfError<VELM_MicroscopeBodyControlError>([&] { base.MicroscopeBody_SetLightPathToCamera(); }),
        "Simulated fault in Body.SetLightPathToCamera, call 1");
}

TEST_F(SimRig, AnyDeviceCanFailToStart)
{
    for (std::string const device :
         {"Camera", "ZDrive", "Stage", "Shutter", "ExFilter", "EmFilter", "Body"}) {
        VELM_BaseControl & base = Build("Fault1=" + device + ".Init throw at 1\n");
        ASSERT_TRUE(base.IsOK()) << device;
        EXPECT_THROW(base.Init(), VELM_HWError) << device;
        EXPECT_FALSE(base.IsOK()) << device;
        auto const errors = _log.Texts('E');
        EXPECT_EQ(std::count(errors.begin(), errors.end(), "Simulated fault in " + device + ".Init, call 1"),
                  1);
        _base.reset();
        VELM_DriverManager::DeleteInstance();
        _manager = VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry");
    }
}

TEST_F(SimRig, ABadFaultLineKeepsTheDriverFromStartingAndIsNamed)
{
    EXPECT_FALSE(Build("Fault1=Stage.Move melt at 5\n").IsOK());
    auto const errors = _log.Texts('E');
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors[0],
              "HW error: Error in the simulated microscope's entry 'Fault1' (Stage.Move melt at 5): "
              "there is no fault 'melt'");
}

TEST_F(SimRig, AFrameOfTheWrongSizeIsRefused)
{
    VELM_BaseControl & base = Start();
    std::vector<unsigned short> pixels(100);
    EXPECT_EQ(
        TextOfError<VELM_CameraControlError>([&] { base.Camera_StartFrameCapture(pixels.data(), 100); }),
        "The simulated camera's frame is 1392 x 1040 pixels, but there is room for 100");
    base.Camera_Set(nullptr, nullptr);
    EXPECT_EQ(
        TextOfError<VELM_CameraControlError>([&] { base.Camera_StartFrameCapture(pixels.data(), 100); }),
        "The simulated camera has no setting");
    base.Camera_SetDefaultSetting();
}

TEST_F(SimRig, ItsSettingsAreReadBackAsItsOwnClass)
{
    VELM_BaseControl & base = Start();
    std::unique_ptr<VELM_CameraSetting> const setting(base.Camera_CreateNewSetting());
    wxString const path = _dir / "setting.txt";
    {
        wxFileConfig config("", "", path, "", wxCONFIG_USE_RELATIVE_PATH, wxConvAuto());
        EXPECT_TRUE(setting->SaveCameraSetting(config));
    }
    wxFileConfig config("", "", path, "", wxCONFIG_USE_RELATIVE_PATH, wxConvAuto());
    VELM_CameraSetting * loaded = nullptr;
    EXPECT_TRUE(VELM_CameraSetting_Reader().Load(config, &loaded));
    std::unique_ptr<VELM_CameraSetting> const owner(loaded);
    EXPECT_TRUE(base.Camera_CheckCameraSettingType(loaded));
    EXPECT_TRUE(*setting == loaded);
}

TEST_F(SimRig, TellsTheTruthAboutAPlaceAndTheLastFrame)
{
    using WriteTruth = int (*)(char const *, double, double, double, double);
    using LastMean = unsigned int (*)(float *, unsigned int, unsigned int *);
    auto const write_truth = Exported<WriteTruth>("velm_sim_write_truth");
    auto const last_mean = Exported<LastMean>("velm_sim_last_mean");
    ASSERT_TRUE(write_truth != nullptr && last_mean != nullptr);
    wxString const path = _dir / "truth.json";
    EXPECT_EQ(write_truth(path.utf8_str(), -70.0, -50.0, 70.0, 50.0), -1);
    EXPECT_EQ(last_mean(nullptr, 0, nullptr), 0u);
    Start();
    EXPECT_EQ(write_truth(path.utf8_str(), -70.0, -50.0, 70.0, 50.0), 0);
    std::string const text = _dir.Read("truth.json");
    EXPECT_NE(text.find("\"semi_axes\""), std::string::npos);
    EXPECT_EQ(write_truth((_dir / "no/such/place").utf8_str(), 0.0, 0.0, 1.0, 1.0), -1);
    std::vector<unsigned short> const pixels = PixelsOf(Snap());
    std::vector<float> mean(pixels.size());
    unsigned int width = 0;
    EXPECT_EQ(last_mean(mean.data(), static_cast<unsigned int>(mean.size()), &width), pixels.size());
    EXPECT_EQ(width, 1392u);
    // What is left when the truth is taken off is noise: nothing on average, and as large as it should be.
    double sum = 0.0, chi = 0.0;
    double const gain = 18000.0 / 4096.0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        double const expected = static_cast<double>(mean[i]);
        double const electrons = (pixels[i] - 100.0) * gain;
        sum += electrons - expected;
        chi += (electrons - expected) * (electrons - expected) / (expected + 36.0 + gain * gain / 12.0);
    }
    double const count = static_cast<double>(pixels.size());
    EXPECT_NEAR(sum / count, 0.0, 0.2);
    EXPECT_NEAR(chi / count, 1.0, 0.01);
}

TEST_F(SimRig, WritesTheTruthFileWhenTheCameraCloses)
{
    wxString const path = _dir / "truth.json";
    Start("TruthFile=" + path.utf8_string() + "\n");
    Snap();
    EXPECT_FALSE(wxFileExists(path));
    _base->Close();
    std::string const text = _dir.Read("truth.json");
    EXPECT_NE(text.find("\"nuclei\""), std::string::npos);
    EXPECT_NE(text.find("\"outline\""), std::string::npos);
}

} // namespace velm::sim::test
