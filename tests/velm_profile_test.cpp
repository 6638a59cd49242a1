#include "velm_profile.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/temp_directory.h"

#include <stdlib.h>

namespace velm::test {

class VelmProfileList : public testing::Test {
  protected:
    bool Load(std::string const & content)
    {
        WriteFile(_file, content);
        return _list.Load(_file);
    }

    LogLine FormatWarning(std::string const & entry) const
    {
        return Warning(wxString::Format("Error in file '%s' at entry '%s' (unknown format).", _file, entry)
                           .ToStdString());
    }

    TempDirectory _directory;
    wxString const _file = _directory / "profiles.txt";
    VELM_ProfileList _list;
    LogRecorder _log;
};

TEST(VelmProfile, SetReplacesAllThreeTexts)
{
    VELM_Profile profile;
    EXPECT_EQ(profile.GetName(), "");
    profile.Set("name", "db", "hw");
    EXPECT_EQ(profile.GetName(), "name");
    EXPECT_EQ(profile.GetDB_Dir(), "db");
    EXPECT_EQ(profile.GetHW_File(), "hw");
    profile.Set("other");
    EXPECT_EQ(profile.GetName(), "other");
    EXPECT_EQ(profile.GetDB_Dir(), "");
    EXPECT_EQ(profile.GetHW_File(), "");
}

TEST_F(VelmProfileList, AnEntryNamesAMicroscopeItsOpticsAndItsHardware)
{
    EXPECT_TRUE(Load("Upright=/opt/optics;/opt/up.ini\nInverted one=db;hw;with semicolon\n[Group]\nx=1\n"));
    ASSERT_EQ(_list.GetCount(), 2u);
    EXPECT_EQ(_list.Get(0).GetName(), "Inverted one");
    EXPECT_EQ(_list.Get(0).GetDB_Dir(), "db");
    EXPECT_EQ(_list.Get(0).GetHW_File(), "hw;with semicolon");
    EXPECT_EQ(_list.Get(1).GetDB_Dir(), "/opt/optics");
    EXPECT_EQ(_list.Get(1).GetHW_File(), "/opt/up.ini");
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmProfileList, AValueMayNameAnEnvironmentVariable)
{
    setenv("VELM_TEST_RIG", "/opt/rig", 1);
    EXPECT_TRUE(Load("Rig=$(VELM_TEST_RIG)/optics;$(VELM_TEST_RIG)/hw.ini\n"));
    EXPECT_EQ(_list.Get(0).GetHW_File(), "/opt/rig/hw.ini");
    unsetenv("VELM_TEST_RIG");
}

TEST_F(VelmProfileList, TheNamesReplaceTheArray)
{
    EXPECT_TRUE(Load("b=1;2\na=1;2\n"));
    wxArrayString names;
    names.push_back("earlier");
    _list.GetProfileNames(names);
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], "a");
    EXPECT_EQ(names[1], "b");
}

TEST_F(VelmProfileList, AValueWithoutATextOnBothSidesOfASemicolonIsSkippedWithAWarning)
{
    EXPECT_TRUE(Load("first=;hw\ngood=db;hw\nlast=db;\nnone=db\nvoid=\n"));
    ASSERT_EQ(_list.GetCount(), 1u);
    EXPECT_EQ(_list.Get(0).GetName(), "good");
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{FormatWarning("first"), FormatWarning("last"),
                                                  FormatWarning("none"), FormatWarning("void")}));
}

TEST_F(VelmProfileList, WhenNoProfileIsLeftTheHardwareIsDisabled)
{
    EXPECT_FALSE(Load("only=db\n"));
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{
                  FormatWarning("only"),
                  Warning(("No profile defined in '" + _file + "'. HW disabled!").ToStdString())}));
}

TEST_F(VelmProfileList, WithoutAFileTheHardwareIsDisabled)
{
    EXPECT_FALSE(_list.Load(_file));
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{
                  Error(("Cannot find the profile file '" + _file + "'. HW disabled!").ToStdString())}));
}

TEST_F(VelmProfileList, APositionOutOfRangeTripsTheAssertion)
{
    EXPECT_EQ(VELM_TRIPPED_BY(_list.Get(0)), "i < _prof_list.size()");
}

} // namespace velm::test
