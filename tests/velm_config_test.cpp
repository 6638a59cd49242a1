#include "velm_config.h"

#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/temp_directory.h"

#include <cfloat>
#include <stdlib.h>

namespace velm::test {

using config::DescriptionFile;
using config::Read;
using config::ReadOr;

class ConfigTest : public testing::Test {
  protected:
    wxString File(std::string const & content) { return _temp.Write("file.txt", content); }

    TempDirectory _temp;
};

TEST_F(ConfigTest, AMissingFileReadsAsEmptyAndIsNotMade)
{
    {
        DescriptionFile file(_temp / "none.txt");
        EXPECT_FALSE(Read<wxString>(file, "KEY").has_value());
    }
    EXPECT_FALSE(wxFileExists(_temp / "none.txt"));
}

TEST_F(ConfigTest, WhatIsWrittenReachesTheDiskAtDestruction)
{
    {
        DescriptionFile file(_temp / "new.txt");
        config::GroupScope const group(file, "Group");
        EXPECT_TRUE(config::Write(file, "NAME", "a b"));
        EXPECT_TRUE(config::Write(file, "FLAG", true));
        EXPECT_TRUE(config::Write(file, "NUMBER", -7L));
        EXPECT_TRUE(config::Write(file, "EXPOSURE", 18446744073709551615UL));
        EXPECT_TRUE(config::Write(file, "FACTOR", 0.25));
    }
    EXPECT_EQ(_temp.Read("new.txt"),
              "[Group]\nNAME=a b\nFLAG=1\nNUMBER=-7\nEXPOSURE=18446744073709551615\nFACTOR=0.25\n");
}

TEST_F(ConfigTest, CloseTellsWhetherTheTextIsOnDisk)
{
    LogRecorder log;
    {
        DescriptionFile file(_temp / "new.txt");
        config::Write(file, "A", 1);
        EXPECT_TRUE(file.Close());
        EXPECT_EQ(_temp.Read("new.txt"), "A=1\n");
    }
    {
        DescriptionFile file(_temp / "missing/new.txt");
        config::Write(file, "A", 1);
        EXPECT_FALSE(file.Close());
    }
    EXPECT_TRUE(log.Lines().empty()) << "a failure is worded by the caller, once";
}

TEST_F(ConfigTest, AReplacedFileBeginsEmptyAndTheOldOneStaysUntilItIsClosed)
{
    wxString const path = File("OLD=1\n");
    auto const replaced = [&path] {
        return DescriptionFile(path, config::Expansion::Off, wxCONFIG_USE_RELATIVE_PATH,
                               config::Content::Replaced);
    };
    {
        DescriptionFile file = replaced();
        EXPECT_FALSE(Read<wxString>(file, "OLD").has_value());
        config::Write(file, "NEW", 2);
        EXPECT_EQ(_temp.Read("file.txt"), "OLD=1\n");
        EXPECT_TRUE(file.Close());
        EXPECT_EQ(_temp.Read("file.txt"), "NEW=2\n");
    }
    DescriptionFile without_entries = replaced();
    EXPECT_TRUE(without_entries.Close());
    EXPECT_FALSE(wxFileExists(path));
}

TEST_F(ConfigTest, AFileThatCannotBeReplacedStaysAsItIs)
{
    OrdinaryUser const user;
    if (!user.IsEffective()) {
        GTEST_SKIP();
    }
    wxString const path = _temp.Write("closed/file.txt", "OLD=1\n");
    _temp.SetReadOnly("closed", true);
    DescriptionFile file(path);
    config::Write(file, "NEW", 2);
    EXPECT_FALSE(file.Close());
    _temp.SetReadOnly("closed", false);
    EXPECT_EQ(ReadFile(path), "OLD=1\n");
}

TEST_F(ConfigTest, RecordFilesKeepADollarAndInstallationFilesExpandIt)
{
    setenv("VELM_TEST_VARIABLE", "value", 1);
    wxString const path = File("KEY=$VELM_TEST_VARIABLE\n");
    EXPECT_EQ(Read<wxString>(DescriptionFile(path), "KEY"), wxString("$VELM_TEST_VARIABLE"));
    EXPECT_EQ(Read<wxString>(DescriptionFile(path, config::Expansion::On), "KEY"), wxString("value"));
}

TEST_F(ConfigTest, IntegersThatDoNotFitCountAsMissing)
{
    DescriptionFile const file(File("INT=2147483648\nMIN=-2147483649\nSHORT=65536\nNEG=-1\n"
                                    "LONG=9223372036854775808\nOK=-2147483648\nTOP=65535\n"));
    EXPECT_FALSE(Read<int>(file, "INT"));
    EXPECT_FALSE(Read<int>(file, "MIN"));
    EXPECT_FALSE(Read<unsigned short>(file, "SHORT"));
    EXPECT_FALSE(Read<unsigned short>(file, "NEG"));
    EXPECT_FALSE(Read<unsigned long>(file, "NEG"));
    EXPECT_FALSE(Read<long>(file, "LONG"));
    EXPECT_EQ(Read<int>(file, "OK"), -2147483647 - 1);
    EXPECT_EQ(Read<unsigned short>(file, "TOP"), 65535);
    EXPECT_EQ(Read<unsigned long>(file, "LONG"), 9223372036854775808UL);
}

TEST_F(ConfigTest, TextThatIsNoNumberCountsAsMissing)
{
    DescriptionFile const file(File("A=12x\nB=\nC=true\nD=0x10\nE=1e400\nF= 12 \nG=1e39\n"));
    EXPECT_FALSE(Read<long>(file, "A"));
    EXPECT_FALSE(Read<long>(file, "B"));
    EXPECT_FALSE(Read<bool>(file, "C"));
    EXPECT_FALSE(Read<long>(file, "D"));
    EXPECT_FALSE(Read<float>(file, "G")) << "beyond a float";
    EXPECT_EQ(Read<long>(file, "F"), 12) << "blanks around a number are harmless";
    EXPECT_EQ(ReadOr(file, "A", 5L), 5);
    EXPECT_EQ(ReadOr(file, "NONE", "text"), "text");
}

TEST_F(ConfigTest, BooleansAreNumbers)
{
    DescriptionFile const file(File("A=1\nB=0\n"));
    EXPECT_EQ(Read<bool>(file, "A"), true);
    EXPECT_EQ(Read<bool>(file, "B"), false);
}

TEST_F(ConfigTest, RecordReaderGoesOnAfterAMissingEntry)
{
    LogRecorder log;
    DescriptionFile const file(File("B=2\n"));
    long a = 10;
    long b = 20;
    wxString c = "old";
    config::RecordReader reader(file, "loading X : ");
    reader.Compulsory("A", a).Compulsory("B", b).Optional("C", c, "default");
    EXPECT_FALSE(reader.IsOk());
    EXPECT_EQ(a, 10) << "the failing field keeps its value";
    EXPECT_EQ(b, 2);
    EXPECT_EQ(c, "default");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("loading X : Compulsory entry A not defined.")}));
}

TEST_F(ConfigTest, RecordReaderCountsAnEntryThatFailsItsTestAsMissing)
{
    LogRecorder log;
    DescriptionFile const file(File("A=1000\nB=999\n"));
    auto const below_a_thousand = [](long value) { return value < 1000; };
    long a = 1;
    long b = 2;
    config::RecordReader reader(file, "loading X : ");
    reader.Compulsory("A", a, below_a_thousand).Compulsory("B", b, below_a_thousand);
    EXPECT_FALSE(reader.IsOk());
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 999);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("loading X : Compulsory entry A not defined.")}));
}

TEST_F(ConfigTest, RecordReaderSaysWhatIsMissingInARecordsOwnWords)
{
    LogRecorder log;
    DescriptionFile const file(File("B=2\n"));
    long a = 1;
    long b = 1;
    config::RecordReader reader(file, "X::Load: ");
    reader.Required("A", a, "No A!").Required("B", b, "No B!");
    EXPECT_FALSE(reader.IsOk());
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("X::Load: No A!")}));
}

TEST_F(ConfigTest, RecordWriterGoesOnAfterARefusedEntry)
{
    LogRecorder log;
    RefusingConfig file("A");
    config::RecordWriter writer(file, "saving X : ");
    writer.Entry("A", 1L).Entry("B", wxString("text"));
    EXPECT_FALSE(writer.IsOk());
    EXPECT_EQ(Read<wxString>(file, "B"), wxString("text"));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("saving X : Entry A not saved.")}));
}

TEST_F(ConfigTest, ForEachGroupVisitsEveryGroupFromInside)
{
    DescriptionFile file(File("[Outer/One]\nID=1\n[Outer/Two]\nID=2\n[Other]\nID=9\n"));
    config::GroupScope const outer(file, "Outer");
    std::vector<std::string> seen;
    config::ForEachGroup(file, [&](wxString const & name) {
        seen.push_back(std::string(name.utf8_str()) + std::to_string(ReadOr(file, "ID", 0L)));
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"One1", "Two2"}));
    EXPECT_EQ(file.GetPath(), "/Outer");
}

TEST_F(ConfigTest, EntryNamesComeSortedByText)
{
    DescriptionFile const file(File("2=b\n10=a\nx=c\n"));
    wxArrayString const names = config::EntryNames(file);
    EXPECT_EQ(std::vector<wxString>(names.begin(), names.end()), (std::vector<wxString>{"10", "2", "x"}));
}

} // namespace velm::test
