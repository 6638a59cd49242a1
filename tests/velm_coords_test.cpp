#include "velm_coords.h"

#include "support/log_recorder.h"
#include "support/temp_directory.h"

#include <csignal>
#include <sys/resource.h>

namespace velm::test {

// A coordinate file in a directory of its own.
class VelmCoordList : public testing::Test {
  protected:
    VELM_CoordList Loaded(std::string const & content)
    {
        WriteFile(_file, content);
        VELM_CoordList list;
        EXPECT_TRUE(list.Load(_file));
        return list;
    }

    // Loads a file that fails and gives the number of places before the failure.
    unsigned int CountBeforeError(std::string const & content)
    {
        WriteFile(_file, content);
        VELM_CoordList list;
        EXPECT_FALSE(list.Load(_file));
        return list.GetCount();
    }

    LogLine ErrorAt(int line, int field) const
    {
        return Error(
            wxString::Format("Error reading file '%s', line %d, field %d", _file, line, field).ToStdString());
    }

    std::string Content() const { return ReadFile(_file); }

    TempDirectory _directory;
    wxString const _file = _directory / "coordinates.txt";
    LogRecorder _log;
};

std::vector<long> Ids(VELM_CoordList const & list)
{
    wxArrayLong ids;
    list.GetIdList(ids);
    return {ids.begin(), ids.end()};
}

TEST(VelmCoord, ANewOneIsUserDefinedAndUnsetEverywhereElse)
{
    VELM_Coord const coord;
    EXPECT_EQ(coord.GetId(), -1);
    long x = 0;
    long y = 0;
    long z = 0;
    coord.GetPosition(x, y, z);
    EXPECT_EQ(x, -1);
    EXPECT_EQ(y, -1);
    EXPECT_EQ(z, -1);
    EXPECT_TRUE(coord.IsFullFrame());
    EXPECT_EQ(coord.GetType(), VELM_Coord::USER_DEFINED);
}

TEST(VelmCoord, TheConstructorTakesTheRegionAsLeftTopRightBottom)
{
    VELM_Coord coord(7, 10, 20, 30, 1, 2, 3, 4, VELM_Coord::TARN_IMPORT);
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    coord.GetCameraRegion(left, top, right, bottom);
    EXPECT_EQ(left, 1);
    EXPECT_EQ(top, 2);
    EXPECT_EQ(right, 3);
    EXPECT_EQ(bottom, 4);
    coord.SetFullFrame();
    EXPECT_TRUE(coord.IsFullFrame());
    coord.SetCameraRegion(-1, -1, -1, 0);
    EXPECT_FALSE(coord.IsFullFrame());
}

TEST(VelmCoord, StageAndZDrivePositionsAreSetApart)
{
    VELM_Coord coord(1, 10, 20, 30);
    coord.SetStagePosition(11, 21);
    coord.SetZDrivePosition(31);
    long x = 0;
    long y = 0;
    long z = 0;
    coord.GetStagePosition(x, y);
    coord.GetZDrivePosition(z);
    EXPECT_EQ(x, 11);
    EXPECT_EQ(y, 21);
    EXPECT_EQ(z, 31);
    EXPECT_EQ(coord.GetZDrivePosition(), 31);
}

TEST(VelmCoord, TheRegionAsTextIsItsSizeOrFullFrame)
{
    EXPECT_EQ(VELM_Coord().GetCameraRegionToString(), "Full frame");
    EXPECT_EQ(VELM_Coord(1, 0, 0, 0, 10, 20, 109, 99).GetCameraRegionToString(), "100 x 80");
    int const max = std::numeric_limits<int>::max();
    EXPECT_EQ(VELM_Coord(1, 0, 0, 0, -2, 0, max, 0).GetCameraRegionToString(), "2147483650 x 1");
}

TEST(VelmCoord, TypesHaveOneWordNames)
{
    char const * const names[] = {"Unknown", "User-defined", "Auto-generated", "Tarn-import",
                                  "Crop-generated"};
    for (int i = 0; i < 5; ++i) {
        auto const type = static_cast<VELM_Coord::CoordType>(i);
        EXPECT_EQ(VELM_Coord::TypeToString(type), names[i]);
        EXPECT_EQ(VELM_Coord::StringToType(names[i]), type);
    }
    EXPECT_EQ(VELM_Coord::TypeToString(static_cast<VELM_Coord::CoordType>(5)), "Unknown");
    EXPECT_EQ(VELM_Coord::TypeToString(static_cast<VELM_Coord::CoordType>(-1)), "Unknown");
    EXPECT_EQ(VELM_Coord::StringToType("user-defined"), VELM_Coord::UNKNOWN);
}

TEST(VelmCoord, ComparisonHeedsTheIdOnlyWhenTheRightHandSideHasOne)
{
    VELM_Coord const with_id(7, 1, 2, 3);
    VELM_Coord const without_id(-1, 1, 2, 3);
    EXPECT_TRUE(with_id == without_id);
    EXPECT_FALSE(without_id == with_id);
    EXPECT_TRUE(with_id == with_id);
}

TEST(VelmCoord, ComparisonHeedsEveryOtherField)
{
    VELM_Coord const coord(1, 2, 3, 4, 5, 6, 7, 8);
    EXPECT_FALSE(coord == VELM_Coord(1, 0, 3, 4, 5, 6, 7, 8));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 0, 4, 5, 6, 7, 8));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 3, 0, 5, 6, 7, 8));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 3, 4, 0, 6, 7, 8));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 3, 4, 5, 0, 7, 8));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 3, 4, 5, 6, 0, 8));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 3, 4, 5, 6, 7, 0));
    EXPECT_FALSE(coord == VELM_Coord(1, 2, 3, 4, 5, 6, 7, 8, VELM_Coord::UNKNOWN));
}

TEST_F(VelmCoordList, AFileWithIdsFiveNineAndTwelveLoadsWithOneTwoAndThree)
{
    VELM_CoordList const list = Loaded("5 [50 0 0] [-1 -1 -1 -1] User-defined\n"
                                       "9 [90 0 0] [-1 -1 -1 -1] User-defined\n"
                                       "12 [120 0 0] [-1 -1 -1 -1] User-defined\n");
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 2, 3}));
    long x = 0;
    long y = 0;
    list[2].GetStagePosition(x, y);
    EXPECT_EQ(x, 120);
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmCoordList, ARecordWithAnyOtherTypeWordLoadsAsUnknownAndIsWrittenBackSo)
{
    VELM_CoordList const list = Loaded("1 [1 2 3] [4 5 6 7] Hand-made\n");
    EXPECT_EQ(list[0].GetType(), VELM_Coord::UNKNOWN);
    EXPECT_TRUE(list.Save(_file));
    EXPECT_EQ(Content(), "1 [1 2 3] [4 5 6 7] Unknown\n");
}

TEST_F(VelmCoordList, SavingTwiceLeavesTheLastVersionButOneAsBackup)
{
    VELM_CoordList list;
    VELM_Coord first(-1, 1, 2, 3);
    list.Add(first);
    EXPECT_TRUE(list.Save(_file));
    VELM_Coord second(-1, 4, 5, 6);
    list.Add(second);
    EXPECT_TRUE(list.Save(_file));
    EXPECT_EQ(ReadFile(_file + ".old"), "1 [1 2 3] [-1 -1 -1 -1] User-defined\n");
    list.Clear();
    EXPECT_TRUE(list.Save(_file));
    EXPECT_EQ(ReadFile(_file + ".old"),
              "1 [1 2 3] [-1 -1 -1 -1] User-defined\n2 [4 5 6] [-1 -1 -1 -1] User-defined\n");
    EXPECT_EQ(Content(), "");
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmCoordList, ExistsHeedsAProbesIdUnlessItIsMinusOne)
{
    VELM_CoordList list;
    list.Insert(VELM_Coord(3, 1, 2, 3));
    EXPECT_FALSE(list.Exists(VELM_Coord(7, 1, 2, 3)));
    EXPECT_TRUE(list.Exists(VELM_Coord(3, 1, 2, 3)));
    EXPECT_TRUE(list.Exists(VELM_Coord(-1, 1, 2, 3)));
    EXPECT_FALSE(list.Exists(VELM_Coord(-1, 1, 2, 4)));
}

TEST_F(VelmCoordList, AFullFrameIsWrittenAsFourTimesMinusOne)
{
    VELM_CoordList list;
    VELM_Coord coord(4, -100, 200, -300, 1, 2, 3, 4, VELM_Coord::CROP_GENERATED);
    coord.SetFullFrame();
    list.Insert(coord);
    EXPECT_TRUE(list.Save(_file));
    EXPECT_EQ(Content(), "4 [-100 200 -300] [-1 -1 -1 -1] Crop-generated\n");
}

TEST_F(VelmCoordList, TheFileHoldsTheRegionAsLeftTopRightBottom)
{
    VELM_CoordList list;
    list.Insert(VELM_Coord(1, 10, 20, 30, 1, 2, 3, 4));
    list.Save(_file);
    EXPECT_EQ(Content(), "1 [10 20 30] [1 2 3 4] User-defined\n");
    VELM_CoordList back;
    EXPECT_TRUE(back.Load(_file));
    EXPECT_TRUE(back[0] == list[0]);
}

TEST_F(VelmCoordList, ATruncatedLastLineEndsTheLoadBehindAllEarlierRecords)
{
    EXPECT_EQ(CountBeforeError("1 [1 2 3] [4 5 6 7] User-defined\n2 [1 2 3] [4 5"), 1u);
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{ErrorAt(2, 6)}));
}

TEST_F(VelmCoordList, AFileThatEndsWithACompleteRecordAndALineFeedLoads)
{
    EXPECT_EQ(Loaded("1 [1 2 3] [4 5 6 7] User-defined\n2 [1 2 3] [4 5 6 7] User-defined\n").GetCount(), 2u);
    EXPECT_EQ(Loaded("1 [1 2 3] [4 5 6 7] User-defined").GetCount(), 1u);
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmCoordList, AnEmptyFileGivesAnEmptyList)
{
    EXPECT_TRUE(Loaded("").IsEmpty());
    EXPECT_TRUE(Loaded(" \n\t\n").IsEmpty());
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmCoordList, ARecordMaySpreadOverLinesWithAnyWhiteSpace)
{
    VELM_CoordList const list = Loaded("\n 1[ +1\n2 \t-3]\r\n[4 5\n6 7]Auto-generated 2 "
                                       "[1 2 3] [4 5 6 7]\n\nUser-defined\n");
    ASSERT_EQ(list.GetCount(), 2u);
    EXPECT_TRUE(list[0] == VELM_Coord(1, 1, 2, -3, 4, 5, 6, 7, VELM_Coord::AUTO_GENERATED));
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmCoordList, TheErrorNamesTheRecordAndTheFieldsFilled)
{
    struct {
        char const * content;
        int fields;
    } const cases[] = {
        {"x", 0},
        {"-", 0},
        {"+-1 [1 2 3] [4 5 6 7] User-defined", 0},
        {"1", 1},
        {"1 (1 2 3)", 1},
        {"1.5 [1 2 3] [4 5 6 7] User-defined", 1},
        {"1 [1", 2},
        {"1 [1 2 3 ] [4 5 6 7] User-defined", 4},
        {"1 [1 2 3] [4 5 6 7", 8},
        {"1 [1 2 3] [4 5 6 7] ", 8},
        {"1 [99999999999999999999 2 3] [4 5 6 7] User-defined", 1},
        {"1 [1 2 3] [4 5 2147483648 7] User-defined", 6},
    };
    for (auto const & one : cases) {
        _log.Clear();
        EXPECT_EQ(CountBeforeError(one.content), 0u);
        EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{ErrorAt(1, one.fields)})) << one.content;
    }
}

TEST_F(VelmCoordList, AVeryLongTypeWordIsAnyOtherWord)
{
    VELM_CoordList const list =
        Loaded("1 [1 2 3] [4 5 6 7] " + std::string(100000, 'x') + "\n2 [1 2 3] [4 5 6 7] Tarn-import\n");
    ASSERT_EQ(list.GetCount(), 2u);
    EXPECT_EQ(list[0].GetType(), VELM_Coord::UNKNOWN);
    EXPECT_EQ(list[1].GetType(), VELM_Coord::TARN_IMPORT);
}

TEST_F(VelmCoordList, AFileThatCannotBeReadLeavesTheListAsItWas)
{
    VELM_CoordList list;
    list.Insert(VELM_Coord(8));
    EXPECT_FALSE(list.Load(_file));
    EXPECT_FALSE(list.Load(_directory.GetPath()));
    EXPECT_EQ(Ids(list), (std::vector<long>{8}));
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{
                                Error(("Can't open file '" + _file + "'.").ToStdString()),
                                Error(("Can't open file '" + _directory.GetPath() + "'.").ToStdString())}));
}

TEST_F(VelmCoordList, ALoadReplacesTheListAndItsNumbering)
{
    VELM_CoordList list;
    list.Insert(VELM_Coord(8));
    WriteFile(_file, "3 [1 2 3] [4 5 6 7] User-defined\n");
    EXPECT_TRUE(list.Load(_file));
    EXPECT_EQ(Ids(list), (std::vector<long>{1}));
}

TEST_F(VelmCoordList, AFileThatCannotBeOpenedForWritingIsAnError)
{
    wxString const nowhere = _directory / "missing/coordinates.txt";
    EXPECT_FALSE(VELM_CoordList().Save(nowhere));
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{Error(("Can't open file '" + nowhere + "'.").ToStdString())}));
}

TEST_F(VelmCoordList, AFullDiskTellsHowManyLinesWereWritten)
{
    VELM_CoordList list;
    for (long id = 1; id <= 5; ++id) {
        list.Insert(VELM_Coord(id, 1, 2, 3)); // 41 bytes each
    }
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit const hundred_bytes{100, before.rlim_max};
    auto const handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &hundred_bytes);
    bool const saved = list.Save(_file);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    EXPECT_FALSE(saved);
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{Error(
                                ("Saving file '" + _file + "' failed (2 lines written)!").ToStdString())}));
}

} // namespace velm::test
