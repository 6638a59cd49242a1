#ifndef VELM_PREFS_H
#define VELM_PREFS_H

#include "velm_export.h"

#include <memory>
#include <wx/string.h>

class wxFileHistory;
class wxMenu;

namespace velm {

// The settings of one installation and of one user: read at start-up, written at shut-down, and one instance
// in between. Behind it lie the installation's ini file and the user's preferences.txt.
//
// Loading chooses a profile too, which may ask the user: this belongs to the thread of the user interface.
// Not locked.
class VELM_API VELM_Preferences {
  public:
    // Makes the instance from an ini file, after saving one that exists. False when no profile could be
    // chosen; the instance is there all the same, with the settings read so far and without optical data and
    // hardware.
    static bool CreateInstance(wxString const & ini_file);

    // Asserts that there is one.
    static VELM_Preferences * GetInstance();

    // Saves and forgets the instance, if there is one.
    static void DeleteInstance();

    VELM_Preferences(VELM_Preferences const &) = delete;
    VELM_Preferences & operator=(VELM_Preferences const &) = delete;

    // The working directories used last, the latest first, at most 9; empty when there aren't so many.
    wxString GetWorkingDir(unsigned int index) const;
    wxString GetLastWorkingDir() const { return GetWorkingDir(0); }
    void SetLastWorkingDir(wxString const & dir);

    // Adds the working directories to a menu, with ids from 5051, and keeps it up to date.
    void CreateHistoryMenu(wxMenu * menu);

    wxString const & GetLastChannelCfgFile() const { return _last_channel_cfg_file; }
    void SetLastChannelCfgFile(wxString const & file) { _last_channel_cfg_file = file; }

    // Of the chosen profile; all three empty when there is none.
    wxString const & GetDBDir() const { return _db_dir; }
    void SetDBDir(wxString const & dir) { _db_dir = dir; }
    wxString const & GetHWInitFile() const { return _hw_init_file; }
    wxString const & GetProfileName() const { return _profile_name; }

    wxString const & GetProfileFile() const { return _profile_file; }
    void SetProfileFile(wxString const & file) { _profile_file = file; }

    // Percent of the window's height: 10 to 90.
    long GetLogWinHeight() const { return _log_window_height; }

    long GetInitialZoom() const { return _initial_zoom; }
    void SetInitialZoom(long zoom) { _initial_zoom = zoom; }

    bool GetShowDebugMsg() const { return _show_debug_msg; }
    void SetShowDebugMsg(bool show) { _show_debug_msg = show; }
    int GetDebugLevel() const { return _debug_level; }

    // Whether images are stored compressed.
    bool GetEnableCompression() const { return _enable_compression; }
    void SetEnableCompression(bool enable) { _enable_compression = enable; }

    bool GetShowMediaPreview() const { return _show_media_preview; }
    void SetShowMediaPreview(bool show) { _show_media_preview = show; }

    // Absolute paths.
    wxString const & GetPluginsDir() const { return _plugins_dir; }
    wxString const & GetDriversDir() const { return _drivers_dir; }
    wxString const & GetAcqModeDir() const { return _acq_mode_dir; }

  private:
    explicit VELM_Preferences(wxString const & ini_file);
    ~VELM_Preferences();

    bool Load();
    bool Save();

    void LoadIniFile();
    void LoadUserFile();
    bool ChooseProfile();

    static VELM_Preferences * _pref_instance;

    wxString _ini_file;
    std::unique_ptr<wxFileHistory> _history;
    wxString _last_channel_cfg_file;
    wxString _db_dir;
    wxString _hw_init_file;
    wxString _profile_name;
    bool _show_debug_msg = true;
    int _debug_level = -1;
    bool _show_media_preview = true;
    bool _enable_compression = true;
    long _initial_zoom = 1;
    long _log_window_height = 40; // 10 to 90
    wxString _profile_file;
    wxString _plugins_dir;
    wxString _drivers_dir;
    wxString _acq_mode_dir;
};

} // namespace velm

#endif
