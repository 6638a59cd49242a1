#ifndef VELM_DRIVER_MANAGER_H
#define VELM_DRIVER_MANAGER_H

#include "velm_export.h"

#include <vector>
#include <wx/string.h>

class wxDynamicLibrary;

namespace velm {

class VELM_DriverPackage;

// Loads every driver library of a directory and keeps their packages by name for the life of the application.
// Loading touches no hardware.
//
// An application creates the one instance at start, before anything reads a camera setting, and deletes it
// after the base control, whose devices point into the packages. The libraries stay in memory to the end of
// the process. Not locked.
class VELM_API VELM_DriverManager {
  public:
    struct DriverInfo {
        wxString path;
        wxDynamicLibrary * lib;       // owned
        VELM_DriverPackage * package; // owned
    };

    // Loads all libraries of the directory and its subdirectories, hidden ones excepted. entry_symbol: name
    // of the function that each library exports, without arguments, which gives a new package or null to
    // refuse. A library that fails costs a line in the log and no more; of two with one name the first stays.
    // A second call replaces the instance without deleting the first.
    static VELM_DriverManager * CreateInstance(wxString const & driver_dir, wxString const & entry_symbol);

    // Asserts that there is an instance.
    static VELM_DriverManager * GetInstance();

    static void DeleteInstance();

    VELM_DriverManager(VELM_DriverManager const &) = delete;
    VELM_DriverManager & operator=(VELM_DriverManager const &) = delete;
    ~VELM_DriverManager();

    // The package of that name, compared case-sensitively; null when there is none. Stays the manager's.
    VELM_DriverPackage * GetPackage(wxString const & name) const;

  private:
    VELM_DriverManager(wxString const & driver_dir, wxString const & entry_symbol);

    void LoadAllDrivers(wxString const & dir);

    // Loads the library and lets it make its package. False, with a line in the log unless the library itself
    // refused, when there is none.
    bool LoadDriverPackage(DriverInfo & info);

    // Takes a loaded package in; false, with a line in the log, when its name doesn't allow it.
    bool AddDriver(DriverInfo const & info);

    // Position in _drivers, -1 when absent.
    long GetDriverIndex(wxString const & name) const;

    wxString _driver_dir;
    std::vector<DriverInfo> _drivers; // in the order of loading; no two with one name
    wxString _entry_symbol;

    static VELM_DriverManager * _instance;
};

} // namespace velm

#endif
