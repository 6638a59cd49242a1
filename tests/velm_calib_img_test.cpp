#include "velm_calib_img.h"

#include "drivers/base/general_camera_setting.h"
#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/temp_depository.h"

namespace velm::test {

using Image = VELM_Calibration_Image::Image;

// A setting of a sensor of 40 by 30 pixels.
VELM_GeneralCameraSetting Setting(int s1, int p1, int s2, int p2, int sbin = 1, int pbin = 1)
{
    return VELM_GeneralCameraSetting("None", sbin, pbin, s1, s2, p1, p2, 100, 12, 12, 40, 30);
}

VELM_GeneralCameraSetting FullFrame(int bin = 1)
{
    return Setting(-1, -1, -1, -1, bin, bin);
}

// An image with the setting, and without a frame.
VELM_Calibration_Image ImageWith(VELM_GeneralCameraSetting const & setting)
{
    VELM_Calibration_Image image;
    image.SetCameraSetting(&setting);
    return image;
}

// A frame whose pixel (x, y) has the value 1000 + x + 100 y.
Image * NewFrame(unsigned int width, unsigned int height)
{
    auto frame = std::make_unique<Image>();
    frame->MakeRoom(width, height, 1);
    frame->resolution = vexa::Resolution(1.0f, 1.0f, 1.0f);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            frame->SetVoxel(x, y, 0, static_cast<unsigned short>(1000 + x + 100 * y));
        }
    }
    return frame.release();
}

// Size and first value of the region image.
struct RegionShape {
    unsigned int width;
    unsigned int height;
    unsigned int depth;
    unsigned short first;

    bool operator==(RegionShape const & other) const
    {
        return width == other.width && height == other.height && depth == other.depth && first == other.first;
    }
};

RegionShape RegionOf(VELM_Calibration_Image const & image)
{
    std::unique_ptr<Image const> const region(image.GetImageRegion());
    return region
               ? RegionShape{region->GetSizeX(), region->GetSizeY(), region->GetSizeZ(), region->GetVoxel(0)}
               : RegionShape{};
}

TEST(VelmCalibImgName, TheNameOfAnAbsentImageRoundTrips)
{
    EXPECT_EQ(GetCalibImgName(0), "Unknown");
    EXPECT_EQ(GetCalibImgName(-1), "Unknown");
    EXPECT_EQ(GetCalibImgId("Unknown"), 0);
}

TEST(VelmCalibImgName, AnIdHasFourDigitsAndMore)
{
    LogRecorder log;
    EXPECT_EQ(GetCalibImgName(7), "0007");
    EXPECT_EQ(GetCalibImgName(12345), "12345");
    EXPECT_EQ(GetCalibImgId("0007"), 7);
    EXPECT_EQ(GetCalibImgId("0"), 0);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VelmCalibImgName, ANegativeNumberIsNoId)
{
    LogRecorder log;
    EXPECT_EQ(GetCalibImgId("-3"), 0);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("Invalid calibration image id (-3)! Setting 'Unknown'.")}));
}

TEST(VelmCalibImgName, AnyOtherTextIsNoId)
{
    LogRecorder log;
    EXPECT_EQ(GetCalibImgId("unknown"), 0);
    EXPECT_EQ(GetCalibImgId(""), 0);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("Cannot convert string 'unknown' to valid calibration image id! Setting 'Unknown'."),
                  Error("Cannot convert string '' to valid calibration image id! Setting 'Unknown'.")}));
}

TEST(VelmCalibMethod, HasTwoNamedValues)
{
    LogRecorder log;
    EXPECT_EQ(GetCalibMethodName(CALIB_MEAN), "Mean");
    EXPECT_EQ(GetCalibMethodName(CALIB_MEDIAN), "Median");
    EXPECT_EQ(GetCalibMethodName(static_cast<VELM_CalibMethod>(2)), "Unknown");
    EXPECT_EQ(GetCalibMethodId("Mean"), CALIB_MEAN);
    EXPECT_EQ(GetCalibMethodId("Median"), CALIB_MEDIAN);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(GetCalibMethodId("mean"), CALIB_MEDIAN);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("Cannot convert string 'mean' to valid calibration method. Setting 'Median'.")}));
}

TEST(VelmCalibrationImage, ANewOneHoldsNothing)
{
    VELM_Calibration_Image const image;
    EXPECT_EQ(image.GetId(), 0);
    EXPECT_EQ(image.GetMean(), 0.0);
    EXPECT_EQ(image.GetCameraSetting(), nullptr);
    EXPECT_EQ(image.GetFullImage(), nullptr);
    EXPECT_EQ(image.GetImageRegion(), nullptr);
    EXPECT_FALSE(image.IsImageLoaded());
    EXPECT_FALSE(image.IsSaved());
}

TEST(VelmCalibrationImage, IsSavedOnceItHasAnIdAndHoldsNoFreshFrame)
{
    VELM_Calibration_Image image = ImageWith(FullFrame());
    image.SetId(1);
    EXPECT_TRUE(image.IsSaved());
    image.SetImage(NewFrame(40, 30));
    EXPECT_FALSE(image.IsSaved());
}

TEST(VelmCalibrationImage, CopiesAreDeep)
{
    VELM_Calibration_Image image = ImageWith(Setting(4, 2, 11, 9));
    image.SetId(3);
    image.SetMean(17.0);
    image.SetImage(NewFrame(40, 30));
    VELM_Calibration_Image const copy = image;
    VELM_Calibration_Image assigned;
    assigned = image;
    image.GetCameraSetting()->SetExposure(999);
    image.SetImage(NewFrame(41, 31));
    for (VELM_Calibration_Image const * one :
         {&copy, static_cast<VELM_Calibration_Image const *>(&assigned)}) {
        EXPECT_EQ(one->GetId(), 3);
        EXPECT_EQ(one->GetMean(), 17.0);
        EXPECT_EQ(one->GetCameraSetting()->GetExposure(), 100u);
        EXPECT_EQ(one->GetFullImage()->GetSizeX(), 40u);
        EXPECT_EQ(RegionOf(*one), (RegionShape{8, 8, 1, 1204}));
    }
}

TEST(VelmCalibrationImage, StoresACopyOfASettingOrTheObjectItself)
{
    VELM_Calibration_Image image;
    VELM_GeneralCameraSetting const setting = FullFrame();
    image.SetCameraSetting(&setting);
    EXPECT_NE(image.GetCameraSetting(), &setting);
    auto * const taken = new VELM_GeneralCameraSetting(FullFrame());
    image.TakeCameraSetting(taken);
    EXPECT_EQ(image.GetCameraSetting(), taken);
    image.TakeCameraSetting(nullptr);
    EXPECT_EQ(image.GetCameraSetting(), nullptr);
}

TEST(VelmCalibrationImage, IsValidForASettingThatDiffersInRegionAndLastBitOnly)
{
    VELM_Calibration_Image const image = ImageWith(FullFrame());
    VELM_GeneralCameraSetting setting = Setting(4, 2, 11, 9);
    setting.SetLastBit(8);
    EXPECT_TRUE(image.IsValid(&setting));
    setting.SetExposure(101);
    EXPECT_FALSE(image.IsValid(&setting));
    EXPECT_FALSE(VELM_Calibration_Image().IsValid(&setting)) << "it has no setting";
    EXPECT_EQ(VELM_TRIPPED_BY(image.IsValid(nullptr)), "cam_set");
}

TEST(VelmCalibrationImage, ComparesRegionsNumberByNumber)
{
    VELM_Calibration_Image const image = ImageWith(Setting(4, 2, 11, 9));
    VELM_GeneralCameraSetting setting = Setting(4, 2, 11, 9, 2, 2);
    EXPECT_TRUE(image.HasValidRegion(&setting));
    setting.SetP2(10);
    EXPECT_FALSE(image.HasValidRegion(&setting));
    EXPECT_TRUE(image.HasValidRegion(4, 2, 11, 9));
    EXPECT_FALSE(image.HasValidRegion(5, 2, 11, 9));
    EXPECT_FALSE(image.HasValidRegion(4, 3, 11, 9));
    EXPECT_FALSE(image.HasValidRegion(4, 2, 12, 9));
    EXPECT_FALSE(image.HasValidRegion(4, 2, 11, 8));
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_Calibration_Image().HasValidRegion(&setting)), "_cam");
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_Calibration_Image().HasValidRegion(0, 0, 0, 0)), "_cam");
}

TEST(VelmCalibrationImage, WithAFullFrameSettingTheBoxIsNullAndTheRegionIsTheWholeFrame)
{
    VELM_Calibration_Image image = ImageWith(FullFrame());
    auto * voi = new vexa::Box(1, 2, 3, 4, 5, 6);
    image.GetVOI(&voi);
    EXPECT_EQ(voi, nullptr);
    image.SetImage(NewFrame(40, 30));
    EXPECT_EQ(RegionOf(image), (RegionShape{40, 30, 1, 1000}));
}

TEST(VelmCalibrationImage, TheBoxIsTheRegionInBinnedPixels)
{
    // The setting widens the region to whole bins first: 6 to 13 and 6 to 14.
    VELM_Calibration_Image const image = ImageWith(Setting(7, 8, 12, 13, 2, 3));
    vexa::Box * voi = nullptr;
    image.GetVOI(&voi);
    std::unique_ptr<vexa::Box> const owner(voi);
    ASSERT_NE(voi, nullptr);
    EXPECT_EQ(voi->offset, vexa::Vector3d<int>(3, 2, 0));
    EXPECT_EQ(voi->size, vexa::Vector3d<unsigned int>(4, 3, 1));
}

TEST(VelmCalibrationImage, ABoxNeedsACameraSetting)
{
    vexa::Box * voi = nullptr;
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_Calibration_Image().GetVOI(&voi)), "_cam");
    EXPECT_EQ(VELM_TRIPPED_BY(ImageWith(FullFrame()).SetImage(nullptr)), "img");
}

TEST(VelmCalibrationImage, AFreshFrameIsCutToTheRegionAndItsMeanIsLeftAlone)
{
    VELM_Calibration_Image image = ImageWith(Setting(4, 2, 11, 9));
    image.SetImage(NewFrame(40, 30));
    EXPECT_TRUE(image.IsImageLoaded());
    EXPECT_EQ(RegionOf(image), (RegionShape{8, 8, 1, 1204}));
    EXPECT_EQ(image.GetFullImage()->GetSizeX(), 40u);
    EXPECT_EQ(image.GetMean(), 0.0);
}

TEST(VelmCalibrationImage, AFrameThatIsTooSmallForTheRegionGivesTheLibrarysErrorAndNoRegion)
{
    VELM_Calibration_Image image = ImageWith(Setting(4, 2, 11, 9));
    image.SetImage(NewFrame(40, 30));
    std::string expected;
    try {
        std::unique_ptr<Image> const frame(NewFrame(8, 8));
        vexa::Box const box(4, 2, 0, 8, 8, 1);
        Image const cut(*frame, &box);
    } catch (vexa::InternalException const & error) {
        expected = error.what();
    }
    LogRecorder log;
    image.SetImage(NewFrame(8, 8));
    EXPECT_FALSE(image.IsImageLoaded());
    EXPECT_EQ(image.GetFullImage()->GetSizeX(), 8u);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error(expected)}));
    EXPECT_FALSE(image.LoadImageRegion(nullptr));
}

TEST(VelmCalibrationImage, TheMeanIsTheSumByTheCount)
{
    Image image;
    EXPECT_EQ(VELM_Calibration_Image::ComputeMean(image), 0.0);
    image.MakeRoom(2, 1, 2);
    unsigned short const values[] = {65535, 65535, 0, 1};
    std::copy(std::begin(values), std::end(values), image.begin());
    EXPECT_EQ(VELM_Calibration_Image::ComputeMean(image), 131071.0 / 4.0);
}

// --- the description

class VelmCalibrationImageDesc : public testing::Test {
  protected:
    TempDepository const _process; // what reading a camera setting needs
};

char const * const DESC_TEXT = "CALIB_IMG_ID=5\nMean=1234.5\n"
                               "[CameraSetting]\nVERSION=1.6\nDRIVER=None\nSBIN=1\nPBIN=1\n"
                               "CCD_SER_SIZE=40\nCCD_PAR_SIZE=30\nS1=4\nS2=11\nP1=2\nP2=9\nEXPOSURE=100\n"
                               "MAX_BITDEPTH=12\nLAST_BIT=12\nCAM_EXTRA=\n";

TEST_F(VelmCalibrationImageDesc, HoldsIdMeanAndCameraSetting)
{
    VELM_Calibration_Image image = ImageWith(Setting(4, 2, 11, 9));
    image.SetId(5);
    image.SetMean(1234.5);
    std::string const text = ConfigFile().TextOf([&](auto & config) {
        EXPECT_TRUE(image.SaveDesc(config));
        EXPECT_EQ(config.GetPath(), "");
    });
    EXPECT_EQ(text, DESC_TEXT);

    LogRecorder log;
    VELM_Calibration_Image loaded;
    EXPECT_TRUE(ConfigFile().With(text, [&](auto & config) { return loaded.LoadDesc(config); }));
    EXPECT_EQ(loaded.GetId(), 5);
    EXPECT_EQ(loaded.GetMean(), 1234.5);
    EXPECT_TRUE(loaded.HasValidRegion(4, 2, 11, 9));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmCalibrationImageDesc, AnImageWithoutASettingWritesNoGroup)
{
    std::string const text =
        ConfigFile().TextOf([](auto & config) { EXPECT_TRUE(VELM_Calibration_Image().SaveDesc(config)); });
    EXPECT_EQ(text, "CALIB_IMG_ID=0\nMean=0\n");
}

TEST_F(VelmCalibrationImageDesc, WhatIsMissingIsNamedAndTheRestIsRead)
{
    LogRecorder log;
    VELM_Calibration_Image image = ImageWith(FullFrame());
    image.SetId(9);
    EXPECT_FALSE(ConfigFile().With("Mean=7\n", [&](auto & config) { return image.LoadDesc(config); }));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("VELM_Calibration_Image::Load: Calibration image id not defined!"),
                  Error("velm::VELM_Calibration_Image::LoadDesc: Loading of camera setting failed for "
                        "calibration image with id Unknown")}));
    EXPECT_EQ(image.GetId(), 0);
    EXPECT_EQ(image.GetMean(), 7.0);
    EXPECT_EQ(image.GetCameraSetting(), nullptr);
}

TEST_F(VelmCalibrationImageDesc, ABadCameraSettingNamesTheImage)
{
    LogRecorder log;
    VELM_Calibration_Image image;
    EXPECT_FALSE(ConfigFile().With("CALIB_IMG_ID=12\n[CameraSetting]\nDRIVER=Gone\nCAM_EXTRA=a|b\n",
                                   [&](auto & config) { return image.LoadDesc(config); }));
    EXPECT_EQ(log.Texts('E').back(),
              "velm::VELM_Calibration_Image::LoadDesc: Loading of camera setting failed "
              "for calibration image with id 0012");
    EXPECT_EQ(image.GetId(), 12);
}

TEST_F(VelmCalibrationImageDesc, AMeanThatIsNoGreyValueCountsAsMissing)
{
    for (std::string const mean : {"nan", "-1", "inf", "many"}) {
        VELM_Calibration_Image image;
        ConfigFile().With("CALIB_IMG_ID=1\nMean=" + mean + "\n[CameraSetting]\nDRIVER=None\n",
                          [&](auto & config) { return image.LoadDesc(config); });
        EXPECT_EQ(image.GetMean(), 0.0) << mean;
    }
}

TEST_F(VelmCalibrationImageDesc, SavingStopsAtARefusedEntry)
{
    VELM_Calibration_Image const image = ImageWith(FullFrame());
    for (wxString const key : {"CALIB_IMG_ID", "Mean", "EXPOSURE"}) {
        RefusingConfig config(key);
        EXPECT_FALSE(image.SaveDesc(config));
    }
    RefusingConfig config("Mean");
    image.SaveDesc(config);
    EXPECT_FALSE(config.HasGroup("CameraSetting"));
}

// --- with a depository

class VelmCalibrationImageOnDisk : public testing::Test {
  protected:
    VelmCalibrationImageOnDisk() { _temp->Open(); }

    // A saved image of a frame of 40 by 30 as a new program finds it: the description, and nothing loaded.
    VELM_Calibration_Image Stored(double mean, VELM_GeneralCameraSetting const & setting)
    {
        VELM_Calibration_Image image = ImageWith(setting);
        image.SetImage(NewFrame(40 / static_cast<unsigned int>(setting.GetSBin()),
                                30 / static_cast<unsigned int>(setting.GetPBin())));
        image.SetMean(mean);
        EXPECT_TRUE(_temp->CI_Save(image));
        VELM_Calibration_Image stored;
        EXPECT_TRUE(_temp->CI_LoadDesc(image.GetId(), stored));
        return stored;
    }

    std::string Description() const { return _temp.Read("calib_images/ci_0001.txt"); }

    TempDepository _temp;
    static constexpr double FRAME_MEAN = 1000.0 + 19.5 + 1450.0;
};

TEST_F(VelmCalibrationImageOnDisk, OnlyTheRegionIsReadWhenTheMeanIsKnown)
{
    VELM_Calibration_Image image = Stored(55.0, Setting(4, 2, 11, 9));
    std::string const description = Description();
    EXPECT_TRUE(image.IsSaved());
    EXPECT_FALSE(image.IsImageLoaded());
    EXPECT_TRUE(image.LoadImageRegion(&*_temp));
    EXPECT_EQ(RegionOf(image), (RegionShape{8, 8, 1, 1204}));
    EXPECT_EQ(image.GetMean(), 55.0);
    EXPECT_EQ(image.GetFullImage(), nullptr);
    EXPECT_EQ(Description(), description);
}

TEST_F(VelmCalibrationImageOnDisk, AMissingMeanIsComputedAndTheDescriptionIsRewrittenOnce)
{
    VELM_Calibration_Image image = Stored(0.0, Setting(4, 2, 11, 9));
    EXPECT_THAT(Description(), testing::HasSubstr("Mean=0\n"));
    EXPECT_TRUE(image.LoadImageRegion(&*_temp));
    EXPECT_EQ(image.GetMean(), FRAME_MEAN);
    EXPECT_EQ(RegionOf(image), (RegionShape{8, 8, 1, 1204}));
    EXPECT_THAT(Description(), testing::HasSubstr("Mean=2469.5\n"));

    _temp.Write("calib_images/ci_0001.txt", "untouched");
    EXPECT_TRUE(image.LoadImageRegion(&*_temp));
    EXPECT_EQ(Description(), "untouched");
}

TEST_F(VelmCalibrationImageOnDisk, AFrameStillHeldIsNotReadFromTheFile)
{
    VELM_Calibration_Image image = ImageWith(Setting(4, 2, 11, 9));
    image.SetImage(NewFrame(40, 30));
    image.GetCameraSetting()->SetRegion(0, 0, 1, 2);
    EXPECT_TRUE(image.LoadImageRegion(nullptr));
    EXPECT_EQ(image.GetMean(), FRAME_MEAN);
    EXPECT_EQ(RegionOf(image), (RegionShape{2, 3, 1, 1000}));
}

TEST_F(VelmCalibrationImageOnDisk, AMissingFileLeavesNoRegion)
{
    for (double const mean : {0.0, 55.0}) {
        VELM_Calibration_Image image = ImageWith(Setting(4, 2, 11, 9));
        image.SetImage(NewFrame(40, 30));
        VELM_Calibration_Image stored = ImageWith(Setting(4, 2, 11, 9));
        stored.SetId(77);
        stored.SetMean(mean);
        LogRecorder log;
        EXPECT_FALSE(stored.LoadImageRegion(&*_temp));
        EXPECT_FALSE(stored.IsImageLoaded());
        EXPECT_EQ(log.Texts('E').back(), "Cannot load calibration image data for id=77");
    }
}

TEST_F(VelmCalibrationImageOnDisk, APartIsAskedForInSensorPixels)
{
    VELM_Calibration_Image image = Stored(55.0, Setting(8, 4, 23, 19, 2, 2));
    Image part;
    EXPECT_TRUE(image.GetImageRegion(&*_temp, 12, 6, 3, 2, &part));
    EXPECT_EQ(part.GetSizeX(), 3u);
    EXPECT_EQ(part.GetSizeY(), 2u);
    EXPECT_EQ(part.GetSizeZ(), 1u);
    EXPECT_EQ(part.GetVoxel(0), 1000 + 12 / 2 + 100 * (6 / 2));
}

TEST_F(VelmCalibrationImageOnDisk, APartOfAFullFrameBeginsAtTheSensorsCorner)
{
    VELM_Calibration_Image image = Stored(55.0, FullFrame(2));
    Image part;
    EXPECT_TRUE(image.GetImageRegion(&*_temp, 0, 0, 20, 15, &part));
    EXPECT_EQ(part.GetVoxel(0), 1000);
    EXPECT_FALSE(image.GetImageRegion(&*_temp, -1, 0, 1, 1, &part));
}

TEST_F(VelmCalibrationImageOnDisk, APartLeftOfTheRegionLeavesTheOutputUntouched)
{
    VELM_Calibration_Image image = Stored(55.0, Setting(8, 4, 23, 19));
    std::unique_ptr<Image> const part(NewFrame(3, 3));
    EXPECT_FALSE(image.GetImageRegion(&*_temp, 7, 4, 2, 2, part.get()));
    EXPECT_FALSE(image.GetImageRegion(&*_temp, 8, 3, 2, 2, part.get()));
    EXPECT_EQ(part->GetSizeX(), 3u);
    EXPECT_EQ(part->GetVoxel(0), 1000);
}

TEST_F(VelmCalibrationImageOnDisk, APartOfAnImageThatCannotBeLoadedIsNotThere)
{
    VELM_Calibration_Image image = ImageWith(FullFrame());
    image.SetId(77);
    LogRecorder log;
    Image part;
    EXPECT_FALSE(image.GetImageRegion(&*_temp, 0, 0, 1, 1, &part));
    EXPECT_EQ(part.GetCount(), 0u);
}

} // namespace velm::test
