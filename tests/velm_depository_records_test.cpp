#include "drivers/base/general_camera_setting.h"
#include "support/log_recorder.h"
#include "support/temp_depository.h"
#include "velm_calib_img.h"
#include "velm_depository.h"
#include "velm_paths.h"

#include <sys/stat.h>
#include <wx/dir.h>
#include <wx/filefn.h>

namespace velm::test {

// A setting that can't be saved.
class RefusingSetting : public VELM_GeneralCameraSetting {
  public:
    RefusingSetting() : VELM_GeneralCameraSetting("None", 1, 1, -1, -1, -1, -1, 10, 12, 12, 8, 6) {}

    bool SaveCameraSetting(wxFileConfig & /*config*/) const override { return false; }
    VELM_CameraSetting * Clone() const override { return new RefusingSetting(*this); }
};

class DepositoryRecordsTest : public testing::Test {
  protected:
    DepositoryRecordsTest() { _temp->Open(); }

    TempDepository _temp;
};

TEST_F(DepositoryRecordsTest, ANewFovInAnEmptyDepositoryGetsId1AndDirectory0001)
{
    LogRecorder log;
    VELM_FOV fov;
    EXPECT_TRUE(_temp->FOV_Save(fov));
    EXPECT_EQ(fov.GetId(), 1);
    EXPECT_TRUE(wxFileExists(_temp / "rawdata/0001/fov.txt"));
    EXPECT_EQ(_temp->FOV_GetCount(), 1u);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(DepositoryRecordsTest, TheNextIdFollowsTheHighest)
{
    wxFileName::Mkdir(_temp / "rawdata/0041");
    _temp->Reload();
    VELM_FOV fov;
    EXPECT_TRUE(_temp->FOV_Save(fov));
    EXPECT_EQ(fov.GetId(), 42);
}

TEST_F(DepositoryRecordsTest, AfterFov9999TheNextSaveFailsAndCreatesNothing)
{
    wxFileName::Mkdir(_temp / "rawdata/9999");
    _temp->Reload();
    LogRecorder log;
    VELM_FOV fov;
    EXPECT_FALSE(_temp->FOV_Save(fov));
    EXPECT_EQ(fov.GetId(), -1);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("VELM_Depository::FOV_Save: Id overflow")}));
    EXPECT_FALSE(wxDir::Exists(_temp / "rawdata/10000"));
    EXPECT_EQ(_temp->FOV_GetCount(), 1u);
}

TEST_F(DepositoryRecordsTest, AFovWithAnIdIsSavedUnderItButNotRegistered)
{
    VELM_FOV fov;
    fov.SetId(5);
    EXPECT_TRUE(_temp->FOV_Save(fov));
    EXPECT_TRUE(wxFileExists(_temp / "rawdata/0005/fov.txt"));
    EXPECT_EQ(_temp->FOV_GetCount(), 0u);
}

TEST_F(DepositoryRecordsTest, LoadFailsForAnIdThatIsNotListedEvenIfItsDirectoryExists)
{
    VELM_FOV fov;
    fov.SetId(5);
    _temp->FOV_Save(fov);
    LogRecorder log;
    VELM_FOV loaded;
    EXPECT_FALSE(_temp->FOV_Load(5, loaded));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("VELM_Depository::FOV_Load: Invalid FOV id - 5")}));
    _temp->Reload();
    EXPECT_TRUE(_temp->FOV_Load(5, loaded));
    EXPECT_EQ(loaded.GetId(), 5);
}

TEST_F(DepositoryRecordsTest, ADamagedRecordFailsWithTheIdAsItIsPrinted)
{
    VELM_FOV fov;
    _temp->FOV_Save(fov);
    _temp.Write("rawdata/0001/fov.txt", "NUM_SLICES=9\n");
    LogRecorder log;
    VELM_FOV loaded;
    EXPECT_FALSE(_temp->FOV_Load(1, loaded));
    EXPECT_EQ(log.Texts('E').back(), "VELM_Depository::FOV_Load: Loading FOV 0001 failed");
    EXPECT_EQ(loaded.GetId(), 1);
    EXPECT_EQ(loaded.GetNumSlices(), 9) << "the record stays as far as it was filled";
}

TEST_F(DepositoryRecordsTest, SavingARecordAgainReplacesItsFile)
{
    VELM_FOV fov;
    fov.SetNumSlices(3);
    _temp->FOV_Save(fov);
    _temp.Write("rawdata/0001/fov.txt", "LEFTOVER=1\n");
    fov.SetNumSlices(4);
    EXPECT_TRUE(_temp->FOV_Save(fov));
    EXPECT_THAT(_temp.Read("rawdata/0001/fov.txt"), testing::Not(testing::HasSubstr("LEFTOVER")));
    VELM_FOV loaded;
    EXPECT_TRUE(_temp->FOV_Load(1, loaded));
    EXPECT_EQ(loaded.GetNumSlices(), 4);
}

TEST_F(DepositoryRecordsTest, ARecordThatIsOnlyPartlySavedKeepsItsIdAndItsFileButIsNotRegistered)
{
    VELM_FOV fov;
    fov.SetNumSlices(3);
    VELM_Channel channel = TestChannel(1);
    RefusingSetting const setting;
    channel.SetCameraSetting(&setting);
    fov.AddChannel(channel);
    LogRecorder log;
    EXPECT_FALSE(_temp->FOV_Save(fov));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_ChannelList::Save: Channel id=1 not saved."),
                                    Error("saving FOV failed")}));
    EXPECT_EQ(fov.GetId(), 1);
    EXPECT_EQ(_temp->FOV_GetCount(), 0u);
    std::string const file = _temp.Read("rawdata/0001/fov.txt");
    EXPECT_THAT(file, testing::HasSubstr("NUM_SLICES=3\n"));
    EXPECT_THAT(file, testing::HasSubstr("END_TIME_MS="));
}

TEST_F(DepositoryRecordsTest, ARecordThatDidNotReachTheDiskIsNotRegistered)
{
    ASSERT_EQ(chmod((_temp / "rawdata").utf8_str(), 0555), 0);
    LogRecorder log;
    VELM_FOV fov;
    {
        OrdinaryUser const user;
        if (!user.IsEffective()) {
            GTEST_SKIP() << "cannot become an ordinary user";
        }
        EXPECT_FALSE(_temp->FOV_Save(fov));
    }
    EXPECT_EQ(log.Texts('E').back(), "saving FOV failed");
    EXPECT_EQ(fov.GetId(), 1) << "the record keeps the id it was given";
    EXPECT_EQ(_temp->FOV_GetCount(), 0u);
}

TEST_F(DepositoryRecordsTest, SavingWithTheReadOnlyFlagSetTriesTheWriteAllTheSame)
{
    wxMkdir(_temp / "read-only-test.txt"); // nothing can be written under the name of a directory
    LogRecorder log;
    _temp->Open();
    EXPECT_TRUE(_temp->IsReadOnly());
    VELM_FOV fov;
    EXPECT_TRUE(_temp->FOV_Save(fov));
    EXPECT_TRUE(wxFileExists(_temp / "rawdata/0001/fov.txt"));
}

TEST_F(DepositoryRecordsTest, RemoveCalibFromChannelsChangesTheFileAndNotTheList)
{
    VELM_Channel channel = TestChannel(-1);
    channel.SetCalibType(VELM_CalibrationType(1));
    _temp->GetChannelListRef().Add(channel);
    _temp->SaveChannels(nullptr);
    _temp->RemoveCalibFromChannels();
    EXPECT_TRUE(_temp->GetChannelListRef()[0].UseCalibration());
    std::string const file = _temp.Read("channels.cfg");
    EXPECT_THAT(file, testing::HasSubstr("CalibType=No\n"));
    EXPECT_THAT(file, testing::HasSubstr("CalibImg=Unknown\n"));
    EXPECT_FALSE(_temp.Reopen().GetChannelListRef()[0].UseCalibration());
}

// --- calibration images

class CalibrationStoreTest : public testing::Test {
  protected:
    CalibrationStoreTest() { _temp->Open(); }

    static VELM_Calibration_Image FreshImage()
    {
        VELM_Calibration_Image image;
        VELM_Channel const channel = TestChannel(1);
        image.SetCameraSetting(channel.GetCameraSetting());
        image.SetImage(new vexa::Image3d<unsigned short>(PatternStack(20, 10, 1)));
        return image;
    }

    TempDepository _temp;
};

TEST_F(CalibrationStoreTest, TheFirstImageHasId1AndGapsAreNotReused)
{
    EXPECT_EQ(_temp->CI_FindMaxId(), 0);
    VELM_Calibration_Image first = FreshImage();
    EXPECT_TRUE(_temp->CI_Save(first));
    EXPECT_EQ(first.GetId(), 1);
    EXPECT_TRUE(wxFileExists(_temp / "calib_images/ci_0001.txt"));
    EXPECT_TRUE(wxFileExists(_temp / "calib_images/ci_0001.ics"));
    _temp.Write("calib_images/ci_0007.txt", "");
    VELM_Calibration_Image next = FreshImage();
    EXPECT_TRUE(_temp->CI_Save(next));
    EXPECT_EQ(next.GetId(), 8);
}

TEST_F(CalibrationStoreTest, ADescriptionWithoutFourDigitsDoesNotTakePart)
{
    _temp.Write("calib_images/ci_12345.txt", "");
    _temp.Write("calib_images/ci_99.txt", "");
    _temp.Write("calib_images/ci_abcd.txt", "");
    EXPECT_EQ(_temp->CI_FindMaxId(), 0);
    _temp.Write("calib_images/ci_0003.txt", "");
    EXPECT_EQ(_temp->CI_FindMaxId(), 3);
}

TEST_F(CalibrationStoreTest, SavingAgainWritesTheImageAndKeepsItsId)
{
    VELM_Calibration_Image image = FreshImage();
    _temp->CI_Save(image);
    wxRemoveFile(_temp / "calib_images/ci_0001.ics");
    EXPECT_TRUE(_temp->CI_Save(image));
    EXPECT_EQ(image.GetId(), 1);
    EXPECT_TRUE(wxFileExists(_temp / "calib_images/ci_0001.ics"));
}

TEST_F(CalibrationStoreTest, AnImageThatIsSavedIsNotWrittenAgain)
{
    VELM_Calibration_Image image;
    image.SetId(4);
    EXPECT_TRUE(_temp->CI_Save(image));
    EXPECT_FALSE(wxFileExists(_temp / "calib_images/ci_0004.txt"));
}

TEST_F(CalibrationStoreTest, ImageAndDescriptionComeBack)
{
    VELM_Calibration_Image image = FreshImage();
    _temp->CI_Save(image);
    LogRecorder log;
    VELM_Calibration_Image loaded;
    EXPECT_TRUE(_temp->CI_LoadDesc(1, loaded));
    EXPECT_EQ(loaded.GetId(), 1);
    ASSERT_NE(loaded.GetCameraSetting(), nullptr);
    EXPECT_EQ(loaded.GetCameraSetting()->GetExposure(), 50000u);
    vexa::Image3d<unsigned short> frame;
    EXPECT_TRUE(_temp->CI_LoadImage(1, frame, nullptr));
    auto const expected = PatternStack(20, 10, 1);
    EXPECT_TRUE(std::equal(frame.begin(), frame.end(), expected.begin()));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(CalibrationStoreTest, FailuresAreTold)
{
    LogRecorder log;
    VELM_Calibration_Image image;
    vexa::Image3d<unsigned short> frame;
    EXPECT_FALSE(_temp->CI_LoadDesc(9, image));
    EXPECT_EQ(log.Texts('E').back(), "Loading of the calibration image description for id 9 failed!");
    EXPECT_FALSE(_temp->CI_LoadImage(9, frame, nullptr));
    EXPECT_EQ(log.Texts('E').back(), "Cannot load calibration image data for id=9");

    wxMkdir(_temp / "calib_images/ci_0001.ics");
    VELM_Calibration_Image fresh = FreshImage();
    EXPECT_FALSE(_temp->CI_Save(fresh));
    EXPECT_EQ(log.Texts('E').back(), "Saving of the calibration image data for id 1 failed!");

    Path::RemoveDirectory(_temp / "calib_images");
    WriteFile(_temp / "calib_images", "a file in its place");
    EXPECT_FALSE(_temp->CI_SaveDesc(fresh));
    EXPECT_EQ(log.Texts('E').back(), "Saving of the calibration image description for id 1 failed!");
}

} // namespace velm::test
