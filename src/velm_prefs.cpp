#include "velm_prefs.h"

#include "velm_config.h"
#include "velm_profile.h"
#include "velm_prompt.h"

#include <wx/filehistory.h>
#include <wx/filename.h>
#include <wx/menu.h>
#include <wx/stdpaths.h>

namespace velm {

namespace {

constexpr std::size_t MAX_WORKING_DIRS = 9;
constexpr wxWindowID FIRST_HISTORY_MENU_ID = 5051;
constexpr char const * USER_GROUP = "/Sorvenum/";

wxString UserFileName()
{
    return wxString::Format("%s%cpreferences.txt", wxStandardPaths::Get().GetUserDataDir(),
                            wxFileName::GetPathSeparator());
}

// The user's file. Its texts stay as they are: paths, which may hold a "$".
class UserFile : public config::DescriptionFile {
  public:
    UserFile()
        : DescriptionFile(UserFileName(), config::Expansion::Off,
                          wxCONFIG_USE_LOCAL_FILE | wxCONFIG_USE_GLOBAL_FILE)
    {
        SetPath(USER_GROUP);
    }
};

void CloseOrWarn(config::DescriptionFile & file, wxString const & name)
{
    if (!file.Close()) {
        VELM_LOG_WARNING("The settings cannot be written to '%s'.", name);
    }
}

// The directory at the key, absolute and normalised; without an entry that of the name in the current
// directory, with a warning.
wxString ReadDirectory(wxConfigBase const & config, wxString const & key, wxString const & name)
{
    if (config.HasEntry(key)) {
        wxFileName directory(config::ReadOr(config, key, ""));
        directory.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_ABSOLUTE);
        return directory.GetFullPath();
    }
    wxString const directory = wxString::Format("%s%c%s", wxGetCwd(), wxFileName::GetPathSeparator(), name);
    VELM_LOG_WARNING("%s entry not found in ini file. Using %s.", key, directory);
    return directory;
}

} // namespace

VELM_Preferences * VELM_Preferences::_pref_instance = nullptr;

VELM_Preferences::VELM_Preferences(wxString const & ini_file)
    : _ini_file(ini_file), _history(std::make_unique<wxFileHistory>(MAX_WORKING_DIRS, FIRST_HISTORY_MENU_ID))
{
}

VELM_Preferences::~VELM_Preferences() = default;

bool VELM_Preferences::CreateInstance(wxString const & fn)
{
    wxASSERT(fn != wxEmptyString);
    DeleteInstance();
    _pref_instance = new VELM_Preferences(fn);
    return _pref_instance->Load();
}

VELM_Preferences * VELM_Preferences::GetInstance()
{
    wxASSERT(_pref_instance != 0);
    return _pref_instance;
}

void VELM_Preferences::DeleteInstance()
{
    if (_pref_instance != nullptr) {
        _pref_instance->Save();
        delete _pref_instance;
        _pref_instance = nullptr;
    }
}

wxString VELM_Preferences::GetWorkingDir(unsigned int index) const
{
    return index < _history->GetCount() ? _history->GetHistoryFile(index) : wxString();
}

void VELM_Preferences::SetLastWorkingDir(wxString const & dir)
{
    _history->AddFileToHistory(dir);
}

void VELM_Preferences::CreateHistoryMenu(wxMenu * menu)
{
    _history->UseMenu(menu);
    _history->AddFilesToMenu(menu);
}

bool VELM_Preferences::Load()
{
    LoadIniFile();
    LoadUserFile();
    if (_log_window_height > 90 || _log_window_height < 10) {
        // Not the default of a missing entry: who set a height wanted a small or a large one.
        _log_window_height = 30;
        VELM_LOG_ERROR("Log window height must be between 10 and 90%%.");
    }
    return ChooseProfile();
}

void VELM_Preferences::LoadIniFile()
{
    config::DescriptionFile const ini(_ini_file, config::Expansion::On);
    _show_debug_msg = config::ReadOr(ini, "ShowDebugMsg", false);
    _debug_level = config::ReadOr(ini, "DebugLevel", -1);
    _log_window_height = config::ReadOr(ini, "LogWindowHeight", 40l);
    _initial_zoom = config::ReadOr(ini, "InitialZoom", 0l);
    _enable_compression = config::ReadOr(ini, "EnableCompression", true);
    _plugins_dir = ReadDirectory(ini, "PluginDir", "plugins");
    _drivers_dir = ReadDirectory(ini, "DriverDir", "drivers");
    _acq_mode_dir = ReadDirectory(ini, "AcqModeDir", "acq_modes");
    _profile_file = config::ReadOr(ini, "ProfileFile", "");
}

void VELM_Preferences::LoadUserFile()
{
    UserFile const user;
    auto const old_form = config::Read<wxString>(user, "LastWorkingDir");
    if (!user.HasEntry("file1") && old_form) {
        _history->AddFileToHistory(*old_form);
    } else {
        _history->Load(user);
    }
    _last_channel_cfg_file = config::ReadOr(user, "LastChannelCfgFile", _last_channel_cfg_file);
    _show_media_preview = config::ReadOr(user, "ShowMediaPreview", _show_media_preview);
}

bool VELM_Preferences::ChooseProfile()
{
    VELM_ProfileList profiles;
    if (!profiles.Load(_profile_file)) {
        return false;
    }
    int choice = 0;
    if (profiles.GetCount() > 1) {
        wxArrayString names;
        profiles.GetProfileNames(names);
        choice = prompt::ChooseOne("Select a profile:", "List of profiles", names);
    }
    if (choice == -1) {
        wxString const text = "No profile selected. HW disabled!";
        VELM_LOG_WARNING("%s", text);
        prompt::ShowLogged(text);
        return false;
    }
    VELM_Profile const & profile = profiles.Get(static_cast<unsigned int>(choice));
    _db_dir = profile.GetDB_Dir();
    _hw_init_file = profile.GetHW_File();
    _profile_name = profile.GetName();
    return true;
}

bool VELM_Preferences::Save()
{
    config::DescriptionFile ini(_ini_file, config::Expansion::On);
    config::Write(ini, "ShowDebugMsg", _show_debug_msg);
    config::Write(ini, "LogWindowHeight", _log_window_height);
    config::Write(ini, "InitialZoom", _initial_zoom);
    config::Write(ini, "EnableCompression", _enable_compression);
    // Reads the same when a variable stands in it, which then stays.
    if (config::Read<wxString>(ini, "ProfileFile") != _profile_file) {
        config::Write(ini, "ProfileFile", _profile_file);
    }
    CloseOrWarn(ini, _ini_file);

    {
        wxLogNull const quiet; // a directory that can't be made shows when the file is written
        wxFileName::Mkdir(wxStandardPaths::Get().GetUserDataDir(), wxS_DIR_DEFAULT, wxPATH_MKDIR_FULL);
    }
    UserFile user;
    config::Write(user, "LastChannelCfgFile", _last_channel_cfg_file);
    config::Write(user, "ShowMediaPreview", _show_media_preview);
    _history->Save(user);
    CloseOrWarn(user, UserFileName());
    return true;
}

} // namespace velm
