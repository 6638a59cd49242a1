#ifndef TESTS_SUPPORT_PREFERENCES_FIXTURE_H
#define TESTS_SUPPORT_PREFERENCES_FIXTURE_H

#include "support/log_recorder.h"
#include "support/temp_directory.h"
#include "velm_prefs.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <wx/stdpaths.h>

namespace velm::test {

// An installation and a user's home, both empty but for one profile.
class PreferencesFixture : public testing::Test {
  protected:
    PreferencesFixture()
    {
        setenv("HOME", _home.GetPath().utf8_str(), 1);
        _installation.Write("profiles.txt", "Rig=/opt/optics;/opt/hw.ini\n");
    }

    ~PreferencesFixture() override
    {
        VELM_Preferences::DeleteInstance();
        setenv("HOME", _old_home.c_str(), 1);
    }

    // The ini file's text: the entries, then the directories and the profile file of this installation.
    std::string WithDirectories(std::string const & entries) const
    {
        std::string const base(_installation.GetPath().utf8_str());
        return entries + "PluginDir=" + base + "\nDriverDir=" + base + "\nAcqModeDir=" + base +
               "\nProfileFile=" + base + "/profiles.txt\n";
    }

    // The instance of an ini file of the text; one that exists goes first, since it writes that file.
    bool Create(std::string const & ini_text)
    {
        VELM_Preferences::DeleteInstance();
        WriteFile(_ini, ini_text);
        return VELM_Preferences::CreateInstance(_ini);
    }

    static VELM_Preferences & Prefs() { return *VELM_Preferences::GetInstance(); }

    // The name of the user's file, relative to the home.
    wxString UserFile() const
    {
        return wxStandardPaths::Get().GetUserDataDir().Mid(_home.GetPath().length() + 1) + "/preferences.txt";
    }

    std::string const _old_home = getenv("HOME");
    TempDirectory _home;
    TempDirectory _installation;
    wxString const _ini = _installation / "velm.ini";
    LogRecorder _log;
};

} // namespace velm::test

#endif
