#include "velm_depository.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/private_access.h"
#include "support/temp_depository.h"

#include <sys/stat.h>
#include <wx/dir.h>
#include <wx/filefn.h>

namespace velm::test {

VELM_PRIVATE_MEMBER(VoiDescFileName,
                    void (VELM_Depository::*)(long, wxString &, wxString &, wxString &) const,
                    &VELM_Depository::VOI_GetDescFileName)
VELM_PRIVATE_MEMBER(SegResFileName,
                    void (VELM_Depository::*)(long, long, wxString &, wxString &, wxString &) const,
                    &VELM_Depository::VOI_GetSegResFileName)
VELM_PRIVATE_MEMBER(LoadLabels,
                    bool (VELM_Depository::*)(wxString const &, vexa::LabeledImage3d<unsigned short, bool> &,
                                              vexa::Box *) const,
                    &VELM_Depository::LoadImage)
VELM_PRIVATE_MEMBER(HistFileName, wxString (VELM_Depository::*)(long, long) const,
                    &VELM_Depository::VOI_GetHistFileName)

namespace {

// Gives its protected operation away.
class OpenedUp : public VELM_Depository {
  public:
    using VELM_Depository::CreateEmpty;
    using VELM_Depository::VELM_Depository;
};

std::vector<long> Ids(wxArrayLong const & ids)
{
    return {ids.begin(), ids.end()};
}

std::string Path(wxString const & path)
{
    return std::string(path.utf8_str());
}

class DepositoryTest : public testing::Test {
  protected:
    void MakeRecords(char const * directory, std::initializer_list<char const *> names)
    {
        for (char const * const name : names) {
            wxFileName::Mkdir(_temp / directory + "/" + name, 0755, wxPATH_MKDIR_FULL);
        }
    }

    TempDepository _temp;
};

} // namespace

TEST_F(DepositoryTest, AnEmptyOrMissingDirectoryCountsAsNotExisting)
{
    EXPECT_FALSE(_temp->Exist());
    wxMkdir(_temp.GetDir());
    EXPECT_FALSE(_temp->Exist());
    _temp.Write("anything", "");
    EXPECT_TRUE(_temp->Exist());
}

TEST_F(DepositoryTest, OpenFillsAnExistingEmptyDirectory)
{
    wxMkdir(_temp.GetDir());
    wxString const before = wxGetCwd();
    EXPECT_TRUE(_temp->Open());
    EXPECT_EQ(wxGetCwd(), before);
    for (char const * const directory : {"rawdata", "regions", "calib_images"}) {
        EXPECT_TRUE(wxDir::Exists(_temp / directory)) << directory;
    }
    for (char const * const file : {"channels.cfg", "coordinates.txt", "groups.txt"}) {
        EXPECT_EQ(_temp.Read(file), "") << file;
    }
    EXPECT_TRUE(_temp->IsValid());
    EXPECT_TRUE(_temp->IsOpen());
    EXPECT_FALSE(_temp->IsReadOnly());
}

TEST_F(DepositoryTest, OpenMakesAMissingDirectory)
{
    EXPECT_TRUE(_temp->Open());
    EXPECT_TRUE(_temp->IsValid());
}

TEST_F(DepositoryTest, OpenFailsWhenTheDirectoryCannotBeMade)
{
    VELM_Depository depository(_temp.GetTempDirectory() / "none/dep", &_temp.GetDatabase());
    EXPECT_FALSE(depository.Open());
    EXPECT_FALSE(depository.IsOpen());
}

TEST_F(DepositoryTest, ANonEmptyDirectoryThatIsNoDepositoryOpensWithEmptyListsAndIsNotValid)
{
    _temp.Write("holiday.jpg", "x");
    LogRecorder log;
    EXPECT_TRUE(_temp->Exist());
    EXPECT_TRUE(_temp->Open());
    EXPECT_EQ(_temp->FOV_GetCount(), 0u);
    EXPECT_EQ(_temp->VOI_GetCount(), 0u);
    EXPECT_TRUE(_temp->GetChannelListRef().IsEmpty());
    EXPECT_TRUE(_temp->GetCoordListRef().IsEmpty());
    EXPECT_TRUE(_temp->GetGroupListRef().IsEmpty());
    EXPECT_FALSE(_temp->IsValid());
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("Can't open file '" + Path(_temp / "coordinates.txt") + "'.")}));
}

TEST_F(DepositoryTest, IsValidMakesTheMissingDirectoryOfCalibrationImages)
{
    _temp->Open();
    wxRmdir(_temp / "calib_images");
    wxString const before = wxGetCwd();
    EXPECT_TRUE(_temp->IsValid());
    EXPECT_TRUE(wxDir::Exists(_temp / "calib_images"));
    EXPECT_EQ(wxGetCwd(), before);
}

TEST_F(DepositoryTest, CreateEmptyRefusesADirectoryThatHoldsSomething)
{
    _temp.Write("rawdata", "a file");
    OpenedUp depository(_temp.GetDir(), &_temp.GetDatabase());
    EXPECT_FALSE(depository.CreateEmpty());
}

TEST_F(DepositoryTest, CreateEmptyThatFailsStaysInTheDepository)
{
    // The directory exists and can be entered, but nothing can be made in it.
    wxMkdir(_temp.GetDir());
    ASSERT_EQ(chmod(_temp.GetDir().utf8_str(), 0555), 0);
    wxString const before = wxGetCwd();
    OpenedUp depository(_temp.GetDir(), &_temp.GetDatabase());
    {
        OrdinaryUser const user;
        if (!user.IsEffective()) {
            GTEST_SKIP() << "cannot become an ordinary user";
        }
        EXPECT_FALSE(depository.CreateEmpty());
        EXPECT_EQ(wxGetCwd(), _temp.GetDir());
    }
    wxSetWorkingDirectory(before);
}

TEST_F(DepositoryTest, ADirectoryThatCannotBeWrittenOpensReadOnlyWithAWarning)
{
    _temp->Open();
    ASSERT_EQ(chmod(_temp.GetDir().utf8_str(), 0555), 0);
    LogRecorder log;
    {
        OrdinaryUser const user;
        if (!user.IsEffective()) {
            GTEST_SKIP() << "cannot become an ordinary user";
        }
        EXPECT_TRUE(_temp->Open());
    }
    EXPECT_TRUE(_temp->IsReadOnly());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Warning("Opening depository in read-only mode.")}));
}

TEST_F(DepositoryTest, TheWriteTestLeavesNothingBehind)
{
    wxString const before = wxGetCwd();
    _temp->Open();
    EXPECT_FALSE(wxFileExists(_temp / "read-only-test.txt"));
    EXPECT_EQ(wxGetCwd(), before);
}

TEST_F(DepositoryTest, TheWriteTestThatFailsChangesBackToo)
{
    _temp->Open();
    wxMkdir(_temp / "read-only-test.txt"); // nothing can be written under the name of a directory
    wxString const before = wxGetCwd();
    LogRecorder log;
    EXPECT_TRUE(_temp->Open());
    EXPECT_TRUE(_temp->IsReadOnly());
    EXPECT_EQ(wxGetCwd(), before);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Warning("Opening depository in read-only mode.")}));
}

TEST_F(DepositoryTest, AConstructedDepositoryIsClosedAndReadOnly)
{
    EXPECT_FALSE(_temp->IsOpen());
    EXPECT_TRUE(_temp->IsReadOnly());
    EXPECT_EQ(_temp->GetDir(), _temp.GetDir());
    EXPECT_EQ(_temp->GetDatabase(), &_temp.GetDatabase());
}

TEST_F(DepositoryTest, CloseForgetsTheListsAndKeepsTheDirectoryAndTheReadOnlyFlag)
{
    _temp->Open();
    MakeRecords("rawdata", {"0001"});
    MakeRecords("regions", {"010000"});
    VELM_Coord coord;
    _temp->GetCoordListRef().Add(coord);
    VELM_Channel channel = TestChannel(-1);
    _temp->GetChannelListRef().Add(channel);
    EXPECT_TRUE(_temp->Save());
    _temp->Reload();
    _temp->Close();
    EXPECT_FALSE(_temp->IsOpen());
    EXPECT_FALSE(_temp->IsReadOnly());
    EXPECT_EQ(_temp->FOV_GetCount(), 0u);
    EXPECT_EQ(_temp->VOI_GetCount(), 0u);
    EXPECT_TRUE(_temp->GetCoordListRef().IsEmpty());
    EXPECT_TRUE(_temp->GetChannelListRef().IsEmpty());
    EXPECT_TRUE(_temp->Open());
    EXPECT_EQ(_temp->GetCoordListRef().GetCount(), 1u);
    EXPECT_EQ(_temp->FOV_GetCount(), 1u);
}

TEST_F(DepositoryTest, ReloadFindsIdsInAscendingOrder)
{
    _temp->Open();
    MakeRecords("rawdata", {"0010", "0002", "9999"});
    MakeRecords("regions", {"010001", "010000", "999999"});
    _temp->Reload();
    EXPECT_EQ(Ids(_temp->FOV_GetIdListRef()), (std::vector<long>{2, 10, 9999}));
    EXPECT_EQ(Ids(_temp->VOI_GetIdListRef()), (std::vector<long>{10000, 10001, 999999}));
    EXPECT_EQ(_temp->FOV_GetLastID(), 9999);
    EXPECT_EQ(_temp->VOI_GetLastId(), 999999);
}

TEST_F(DepositoryTest, ADirectoryOfAnotherLengthIsNotSeenAndOneOfLettersIsLoggedAndSkipped)
{
    _temp->Open();
    MakeRecords("rawdata", {"12", "abcd", "0003"});
    MakeRecords("regions", {"abcdef", "0003", "010000"});
    _temp.Write("rawdata/0004", "a file is no record");
    LogRecorder log;
    _temp->Reload();
    EXPECT_EQ(Ids(_temp->FOV_GetIdListRef()), (std::vector<long>{3}));
    EXPECT_EQ(Ids(_temp->VOI_GetIdListRef()), (std::vector<long>{10000}));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("Directory abcd is not FOV. Bad depository format."),
                                    Error("Directory abcdef is not VOI. Bad depository format.")}));
}

TEST_F(DepositoryTest, ANumberThatIsNotWrittenAsAnIdIsNoRecord)
{
    _temp->Open();
    MakeRecords("rawdata", {"-001", "+002", "0000", "0x10"});
    LogRecorder log;
    _temp->Reload();
    EXPECT_EQ(_temp->FOV_GetCount(), 0u);
    EXPECT_EQ(log.Texts('E').size(), 4u);
}

TEST_F(DepositoryTest, IdsHaveFixedWidthsAndLimits)
{
    EXPECT_EQ(_temp->FOV_IdFormatString(), "%04ld");
    EXPECT_EQ(_temp->VOI_IdFormatString(), "%06ld");
    EXPECT_EQ(_temp->DeconvJob_IdFormatString(), "%06ld");
    EXPECT_EQ(_temp->FOV_IdToString(7), "0007");
    EXPECT_EQ(_temp->VOI_IdToString(10000), "010000");
    EXPECT_EQ(_temp->DeconvJob_IdToString(12), "000012");
    EXPECT_EQ(_temp->FOV_GetMaxId(), 9999);
    EXPECT_EQ(_temp->VOI_GetMaxId(), 999999);
    EXPECT_EQ(_temp->FOV_GetLastID(), 0);
    EXPECT_EQ(_temp->VOI_GetLastId(), 0);
}

TEST_F(DepositoryTest, TheFirstVoiHasId10000AlsoWithoutFovs)
{
    EXPECT_EQ(_temp->VOI_GetNextId(), 10000);
    _temp->Open();
    MakeRecords("regions", {"010005"});
    _temp->Reload();
    EXPECT_EQ(_temp->VOI_GetNextId(), 10006);
}

TEST_F(DepositoryTest, NoVoiIdIsLeftAfter999999)
{
    _temp->Open();
    MakeRecords("regions", {"999999"});
    _temp->Reload();
    EXPECT_EQ(_temp->VOI_GetNextId(), -1);
}

TEST_F(DepositoryTest, FilesLieWhereTheTreeSays)
{
    wxString const dep = _temp.GetDir();
    EXPECT_EQ(_temp->FOV_GetDir(), dep + "/rawdata/");
    EXPECT_EQ(_temp->VOI_GetDir(), dep + "/regions/");
    EXPECT_EQ(_temp->GetChannelFileName(), dep + "/channels.cfg");
    EXPECT_EQ(_temp->GetDialogIniFile(), dep + "/dialog.ini");
    EXPECT_EQ(_temp->GetDepCommentFile(), dep + "/info.txt");
    EXPECT_EQ(_temp->GetLogFileName(), dep + "/log.txt");
    EXPECT_EQ(_temp->FOV_GetCropboxFile(), dep + "/rawdata/crop.txt");
    EXPECT_EQ(_temp->VOI_GetCropboxFile(), dep + "/regions/crop.txt");
}

TEST_F(DepositoryTest, ScanningLogsAreTheSummaryTheUnnumberedAndTheNumberedOne)
{
    EXPECT_EQ(_temp->GetScanningLogFileName(0), _temp / "rawdata/scanning_log.htm");
    EXPECT_EQ(_temp->GetScanningLogFileName(-1), _temp / "rawdata/slog.txt");
    EXPECT_EQ(_temp->GetScanningLogFileName(3), _temp / "rawdata/slog003.txt");
    EXPECT_EQ(_temp->GetProcessingLogFileName(0), _temp / "regions/processing_log.htm");
    EXPECT_EQ(_temp->GetProcessingLogFileName(-7), _temp / "regions/plog.txt");
    EXPECT_EQ(_temp->GetProcessingLogFileName(3), _temp / "regions/plog0003.txt");
}

TEST_F(DepositoryTest, AskingForAFovsDirectoryMakesIt)
{
    _temp->Open();
    EXPECT_EQ(_temp->FOV_GetDir(7), _temp / "rawdata/0007/");
    EXPECT_TRUE(wxDir::Exists(_temp / "rawdata/0007"));
}

TEST_F(DepositoryTest, AskingForAVoisDirectoryMakesItOnlyWhenToldTo)
{
    _temp->Open();
    EXPECT_EQ(_temp->VOI_GetDir(10000, false), _temp / "regions/010000/");
    EXPECT_FALSE(wxDir::Exists(_temp / "regions/010000"));
    _temp->VOI_GetDir(10000, true);
    EXPECT_TRUE(wxDir::Exists(_temp / "regions/010000"));
}

TEST_F(DepositoryTest, ADirectoryThatCannotBeMadeIsLoggedAndNamedAllTheSame)
{
    LogRecorder log;
    EXPECT_EQ(_temp->FOV_GetDir(7), _temp / "rawdata/0007/");
    EXPECT_EQ(_temp->VOI_GetDir(10000, true), _temp / "regions/010000/");
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_Depository::FOV_GetDir: Unable to create empty FOV directory " +
                        Path(_temp / "rawdata/0007/")),
                  Error("velm::VELM_Depository::VOI_GetDir: Unable to create empty VOI directory " +
                        Path(_temp / "regions/010000/"))}));
}

TEST_F(DepositoryTest, AVoisFilesLieInItsDirectory)
{
    _temp->Open();
    wxString a;
    wxString b;
    wxString c;
    ((*_temp).*Get(VoiDescFileName()))(10000, a, b, c);
    EXPECT_EQ(a, _temp / "regions/010000/roi.txt");
    EXPECT_EQ(b, _temp / "regions/010000/objects.txt");
    EXPECT_EQ(c, _temp / "regions/010000/segres.txt");
    ((*_temp).*Get(SegResFileName()))(10000, 3, a, b, c);
    EXPECT_EQ(a, _temp / "regions/010000/l03");
    EXPECT_EQ(b, _temp / "regions/010000/l03_af_c");
    EXPECT_EQ(c, _temp / "regions/010000/l03_af_b");
    EXPECT_EQ(((*_temp).*Get(HistFileName()))(10000, 2), _temp / "regions/010000/02.hist");
}

TEST_F(DepositoryTest, ThumbnailsAre16To128Pixels)
{
    unsigned int min = 0;
    unsigned int max = 0;
    _temp->GetThumbnailLimits(min, max);
    EXPECT_EQ(min, 16u);
    EXPECT_EQ(max, 128u);
}

TEST_F(DepositoryTest, ReadCommentTurnsCrLfIntoLf)
{
    _temp.Write("info.txt", "first\r\nsecond\r\n");
    wxString text;
    EXPECT_TRUE(_temp->ReadComment(text));
    EXPECT_EQ(text, "first\nsecond\n");
}

TEST_F(DepositoryTest, AMissingCommentIsAnEmptyText)
{
    LogRecorder log;
    wxString text = "before";
    EXPECT_TRUE(_temp->ReadComment(text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(DepositoryTest, ACommentSurvivesWithItsAccents)
{
    _temp->Open();
    wxString const comment = wxString::FromUTF8("Zelle 5 \xC2\xB5m\nzweite Zeile");
    EXPECT_TRUE(_temp->WriteComment(comment));
    EXPECT_TRUE(_temp->WriteComment(comment)) << "an older comment is replaced";
    wxString text;
    EXPECT_TRUE(_temp->ReadComment(text));
    EXPECT_EQ(text, comment);
}

TEST_F(DepositoryTest, ACommentThatCannotBeOpenedIsAnError)
{
    LogRecorder log;
    EXPECT_FALSE(_temp->WriteComment("text"));
    std::string const file = Path(_temp / "info.txt");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error(
                               "velm::VELM_Depository::WriteComment: Unable to open info file " + file)}));
    _temp->Open();
    _temp->WriteComment("text");
    ASSERT_EQ(chmod((_temp / "info.txt").utf8_str(), 0), 0);
    log.Clear();
    OrdinaryUser const user;
    if (user.IsEffective()) {
        wxString text;
        EXPECT_FALSE(_temp->ReadComment(text));
        EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error(
                                   "velm::VELM_Depository::ReadComment: Unable to open info file " + file)}));
    }
}

TEST_F(DepositoryTest, ACommentOnAFullDiskIsAnError)
{
    // A device that takes no byte stands for the disk.
    _temp->Open();
    ASSERT_EQ(symlink("/dev/full", (_temp / "info.txt").utf8_str()), 0);
    LogRecorder log;
    EXPECT_FALSE(_temp->WriteComment("text"));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_Depository::WriteComment: Unable to write to file")}));
}

TEST_F(DepositoryTest, SaveTriesAllListsAndTellsTheFailuresInOneMessage)
{
    // Nothing can be written into a depository whose directory is gone.
    wxString const nowhere = _temp.GetTempDirectory() / "none";
    VELM_Depository depository(nowhere, &_temp.GetDatabase());
    VELM_Channel channel = TestChannel(-1);
    depository.GetChannelListRef().Add(channel);
    VELM_Group group;
    depository.GetGroupListRef().Add(group);
    depository.GetDeconvJobTableRef().Add(5, 1, "DNA");
    LogRecorder log;
    EXPECT_FALSE(depository.Save());
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("Can't open file '" + nowhere.ToStdString() + "/coordinates.txt'."),
                                    Error("Channels not saved.\nCoordinates not saved.\nGroups not saved.\n"
                                          "Object parameters not saved.\n"
                                          "Deconvolution job table not saved.\n")}));
}

TEST_F(DepositoryTest, ADatabaseIsNeededForChannels)
{
    VELM_Depository depository(_temp.GetDir(), nullptr);
    EXPECT_EQ(VELM_TRIPPED_BY(depository.ReloadChannels()), "_db");
    EXPECT_EQ(VELM_TRIPPED_BY(depository.SaveChannels(nullptr)), "_db != 0");
}

TEST_F(DepositoryTest, OpenTurnsAnExceptionIntoAnErrorLine)
{
    _temp->Open();
    _temp.Write("deconv_jobs.txt", "[DeconvJob000001]\nJOB_ID=1\nCHANNEL_ID=1\nCHANNEL_NAME=a\n"
                                   "DECONV_CHANNEL_NAME=b\n[DeconvJob000002]\nJOB_ID=1\nCHANNEL_ID=1\n"
                                   "CHANNEL_NAME=a\nDECONV_CHANNEL_NAME=b\n");
    LogRecorder log;
    EXPECT_FALSE(_temp->Open());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                               Error("velm::VELM_DeconvJobTable::Add: Item with job_id=1 already exists!")}));
}

TEST_F(DepositoryTest, EveryListComesBackFromDisk)
{
    _temp->Open();
    VELM_Channel channel = TestChannel(-1, "DNA");
    VELM_Coord coord(-1, 10, 20, 30);
    VELM_Group group;
    group.SetName("cells");
    _temp->GetChannelListRef().Add(channel);
    _temp->GetCoordListRef().Add(coord);
    _temp->GetGroupListRef().Add(group);
    long const param = _temp->GetObjectParamDescListRef().GetDescId(FLOAT_PARAM, "volume");
    _temp->GetDeconvJobTableRef().Add(5, 1, "DNA");
    EXPECT_TRUE(_temp->Save());

    LogRecorder log;
    VELM_Depository & again = _temp.Reopen();
    EXPECT_EQ(again.GetChannelListRef().GetById(1).GetName(), "DNA");
    EXPECT_EQ(again.GetCoordListRef().GetById(1).GetZDrivePosition(), 30);
    EXPECT_EQ(again.GetGroupListRef().GetById(1).GetName(), "cells");
    EXPECT_EQ(again.GetObjectParamDescListRef().GetDescId(FLOAT_PARAM, "volume"), param);
    EXPECT_EQ(again.GetDeconvJobTableRef().Get(5).GetChannelName(), "DNA");
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(DepositoryTest, TheLabelledReadFailsAsTheOtherDoes)
{
    vexa::LabeledImage3d<unsigned short, bool> labels(nullptr, nullptr);
    LogRecorder log;
    EXPECT_FALSE(((*_temp).*Get(LoadLabels()))(_temp / "none", labels, nullptr));
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].level, 'E');
    EXPECT_THAT(log.Lines()[0].text, testing::StartsWith("IO error: "));
    EXPECT_EQ(log.Lines()[0].function, "velm::VELM_Depository::LoadImage");
}

} // namespace velm::test
