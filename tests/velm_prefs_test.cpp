#include "velm_prefs.h"

#include "support/assert_recorder.h"
#include "support/preferences_fixture.h"

#include <wx/filename.h>
#include <wx/utils.h>

namespace velm::test {

using VelmPreferences = PreferencesFixture;

TEST_F(VelmPreferences, AFullIniFileIsReadAsItStands)
{
    EXPECT_TRUE(Create(WithDirectories("ShowDebugMsg=1\nDebugLevel=3\nLogWindowHeight=55\n"
                                       "InitialZoom=-2\nEnableCompression=0\n")));
    EXPECT_TRUE(Prefs().GetShowDebugMsg());
    EXPECT_EQ(Prefs().GetDebugLevel(), 3);
    EXPECT_EQ(Prefs().GetLogWinHeight(), 55);
    EXPECT_EQ(Prefs().GetInitialZoom(), -2);
    EXPECT_FALSE(Prefs().GetEnableCompression());
    EXPECT_EQ(Prefs().GetPluginsDir(), _installation.GetPath());
    EXPECT_EQ(Prefs().GetProfileFile(), _installation / "profiles.txt");
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmPreferences, WhatTheIniFileLacksTakesItsDefault)
{
    EXPECT_TRUE(Create("ProfileFile=" + std::string((_installation / "profiles.txt").utf8_str()) + "\n"));
    EXPECT_FALSE(Prefs().GetShowDebugMsg()) << "although a fresh instance starts with true";
    EXPECT_EQ(Prefs().GetDebugLevel(), -1);
    EXPECT_EQ(Prefs().GetLogWinHeight(), 40);
    EXPECT_EQ(Prefs().GetInitialZoom(), 0);
    EXPECT_TRUE(Prefs().GetEnableCompression());
    std::string const here(wxGetCwd().utf8_str());
    EXPECT_EQ(Prefs().GetPluginsDir(), here + "/plugins");
    EXPECT_EQ(Prefs().GetDriversDir(), here + "/drivers");
    EXPECT_EQ(Prefs().GetAcqModeDir(), here + "/acq_modes");
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{
                  Warning("PluginDir entry not found in ini file. Using " + here + "/plugins."),
                  Warning("DriverDir entry not found in ini file. Using " + here + "/drivers."),
                  Warning("AcqModeDir entry not found in ini file. Using " + here + "/acq_modes.")}));
}

TEST_F(VelmPreferences, ALogWindowOfFivePercentBecomesThirtyAndIsSavedSo)
{
    EXPECT_TRUE(Create(WithDirectories("LogWindowHeight=5\n")));
    EXPECT_EQ(Prefs().GetLogWinHeight(), 30);
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{Error("Log window height must be between 10 and 90%.")}));
    VELM_Preferences::DeleteInstance();
    EXPECT_THAT(ReadFile(_ini), testing::HasSubstr("LogWindowHeight=30\n"));
}

TEST_F(VelmPreferences, LogWindowsOfTenAndNinetyPercentAreAccepted)
{
    Create(WithDirectories("LogWindowHeight=90\n"));
    EXPECT_EQ(Prefs().GetLogWinHeight(), 90);
    Create(WithDirectories("LogWindowHeight=10\n"));
    EXPECT_EQ(Prefs().GetLogWinHeight(), 10);
    EXPECT_TRUE(_log.Lines().empty());
    Create(WithDirectories("LogWindowHeight=91\n"));
    EXPECT_EQ(Prefs().GetLogWinHeight(), 30);
}

TEST_F(VelmPreferences, ARelativeDirectoryComesBackAbsoluteAndNormalized)
{
    Create("PluginDir=~/plug\nDriverDir=some/../drivers\nAcqModeDir=./modes\n");
    EXPECT_EQ(Prefs().GetDriversDir(), wxGetCwd() + "/drivers");
    EXPECT_EQ(Prefs().GetAcqModeDir(), wxGetCwd() + "/modes");
    EXPECT_EQ(Prefs().GetPluginsDir(), _home / "plug");
}

TEST_F(VelmPreferences, AProfileFileWithOneEntryStartsWithoutADialog)
{
    EXPECT_TRUE(Create(WithDirectories("")));
    EXPECT_EQ(Prefs().GetProfileName(), "Rig");
    EXPECT_EQ(Prefs().GetDBDir(), "/opt/optics");
    EXPECT_EQ(Prefs().GetHWInitFile(), "/opt/hw.ini");
}

TEST_F(VelmPreferences, UnattendedNoneOfSeveralProfilesIsTaken)
{
    _installation.Write("profiles.txt", "A=1;2\nB=3;4\n");
    EXPECT_FALSE(Create(WithDirectories("InitialZoom=2\n")));
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{Message("Select a profile:"),
                                                  Warning("No profile selected. HW disabled!")}));
    EXPECT_EQ(Prefs().GetProfileName(), "");
    EXPECT_EQ(Prefs().GetHWInitFile(), "");
    EXPECT_EQ(Prefs().GetInitialZoom(), 2) << "the settings read so far";
}

TEST_F(VelmPreferences, WithoutAProfileFileTheInstanceIsThereWithoutHardware)
{
    wxRemoveFile(_installation / "profiles.txt");
    EXPECT_FALSE(Create(WithDirectories("")));
    wxString const file = _installation / "profiles.txt";
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{
                  Error(("Cannot find the profile file '" + file + "'. HW disabled!").ToStdString())}));
    EXPECT_EQ(Prefs().GetDBDir(), "");
}

TEST_F(VelmPreferences, SavingWritesTheInstallationsAndTheUsersSettings)
{
    Create(WithDirectories("DebugLevel=2\n"));
    Prefs().SetShowDebugMsg(true);
    Prefs().SetInitialZoom(3);
    Prefs().SetEnableCompression(false);
    Prefs().SetShowMediaPreview(false);
    Prefs().SetLastChannelCfgFile("/data/$HOME.cfg");
    Prefs().SetLastWorkingDir("/data/$HOME");
    VELM_Preferences::DeleteInstance();

    EXPECT_EQ(ReadFile(_ini), WithDirectories("DebugLevel=2\n") +
                                  "ShowDebugMsg=1\nLogWindowHeight=40\nInitialZoom=3\nEnableCompression=0\n");
    EXPECT_THAT(_home.Read(UserFile()),
                testing::StartsWith("[Sorvenum]\nLastChannelCfgFile=/data/$HOME.cfg\nShowMediaPreview=0\n"
                                    "file1=/data/$HOME\n"));

    EXPECT_TRUE(VELM_Preferences::CreateInstance(_ini));
    EXPECT_TRUE(Prefs().GetShowDebugMsg());
    EXPECT_FALSE(Prefs().GetShowMediaPreview());
    EXPECT_EQ(Prefs().GetLastChannelCfgFile(), "/data/$HOME.cfg");
    EXPECT_EQ(Prefs().GetLastWorkingDir(), "/data/$HOME");
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmPreferences, AVariableInTheProfileFilesNameSurvivesSaving)
{
    setenv("VELM_TEST_INSTALLATION", _installation.GetPath().utf8_str(), 1);
    EXPECT_TRUE(Create("ProfileFile=$(VELM_TEST_INSTALLATION)/profiles.txt\n"));
    EXPECT_EQ(Prefs().GetProfileFile(), _installation / "profiles.txt");
    VELM_Preferences::DeleteInstance();
    EXPECT_THAT(ReadFile(_ini), testing::HasSubstr("ProfileFile=$(VELM_TEST_INSTALLATION)/profiles.txt\n"));
    unsetenv("VELM_TEST_INSTALLATION");
}

TEST_F(VelmPreferences, AnotherProfileFileIsSaved)
{
    Create(WithDirectories(""));
    Prefs().SetProfileFile("/elsewhere/profiles.txt");
    VELM_Preferences::DeleteInstance();
    EXPECT_THAT(ReadFile(_ini), testing::HasSubstr("ProfileFile=/elsewhere/profiles.txt\n"));
}

TEST_F(VelmPreferences, AnOldFilesWorkingDirectoryBecomesTheHistory)
{
    _home.Write(UserFile(), "[Sorvenum]\nLastWorkingDir=/old/place\n");
    Create(WithDirectories(""));
    EXPECT_EQ(Prefs().GetLastWorkingDir(), "/old/place");
    EXPECT_EQ(Prefs().GetWorkingDir(1), "");
    VELM_Preferences::DeleteInstance();
    EXPECT_THAT(_home.Read(UserFile()), testing::HasSubstr("file1=/old/place\n"));
    EXPECT_THAT(_home.Read(UserFile()), testing::HasSubstr("LastWorkingDir=/old/place\n"));
}

TEST_F(VelmPreferences, ANewFilesHistoryCountsMoreThanTheOldForm)
{
    _home.Write(UserFile(), "[Sorvenum]\nLastWorkingDir=/old\nfile1=/a\nfile2=/b\n");
    Create(WithDirectories(""));
    EXPECT_EQ(Prefs().GetWorkingDir(0), "/a");
    EXPECT_EQ(Prefs().GetWorkingDir(1), "/b");
}

TEST_F(VelmPreferences, AWorkingDirectoryBeyondTheHistoryIsEmpty)
{
    Create(WithDirectories(""));
    EXPECT_EQ(Prefs().GetLastWorkingDir(), "");
    EXPECT_EQ(Prefs().GetWorkingDir(100), "");
}

TEST_F(VelmPreferences, TheNineLatestWorkingDirectoriesAreKept)
{
    Create(WithDirectories(""));
    for (int i = 0; i < 12; ++i) {
        Prefs().SetLastWorkingDir(wxString::Format("/place/%d", i));
    }
    EXPECT_EQ(Prefs().GetWorkingDir(0), "/place/11");
    EXPECT_EQ(Prefs().GetWorkingDir(8), "/place/3");
    EXPECT_EQ(Prefs().GetWorkingDir(9), "");
}

TEST_F(VelmPreferences, WhatTheUsersFileLacksLeavesTheStartValue)
{
    Create(WithDirectories(""));
    EXPECT_TRUE(Prefs().GetShowMediaPreview());
    EXPECT_EQ(Prefs().GetLastChannelCfgFile(), "");
}

TEST_F(VelmPreferences, ASecondInstanceSavesAndReplacesTheFirst)
{
    Create(WithDirectories(""));
    Prefs().SetInitialZoom(7);
    EXPECT_TRUE(VELM_Preferences::CreateInstance(_ini));
    EXPECT_EQ(Prefs().GetInitialZoom(), 7);
}

TEST_F(VelmPreferences, WithoutAnInstanceThereIsNothingToGetOrDelete)
{
    VELM_Preferences::DeleteInstance();
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_Preferences::GetInstance()), "_pref_instance != 0");
}

TEST_F(VelmPreferences, AnIniFileNeedsAName)
{
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_Preferences::CreateInstance("")), "fn != wxEmptyString");
}

TEST_F(VelmPreferences, SettingsThatCannotBeWrittenAreToldOncePerFile)
{
    Create(WithDirectories(""));
    wxRemoveFile(_ini);
    wxMkdir(_ini);
    _home.Write(UserFile().BeforeLast('/'), "in the directory's place");
    VELM_Preferences::DeleteInstance();
    wxString const user_file = _home / UserFile();
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{
                  Warning(("The settings cannot be written to '" + _ini + "'.").ToStdString()),
                  Warning(("The settings cannot be written to '" + user_file + "'.").ToStdString())}));
    wxRmdir(_ini);
}

TEST_F(VelmPreferences, SettersChangeWhatTheyName)
{
    Create(WithDirectories(""));
    Prefs().SetDBDir("/other/optics");
    EXPECT_EQ(Prefs().GetDBDir(), "/other/optics");
    EXPECT_EQ(Prefs().GetHWInitFile(), "/opt/hw.ini");
}

} // namespace velm::test
