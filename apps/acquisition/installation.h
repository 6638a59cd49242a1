#ifndef ACQUISITION_INSTALLATION_H
#define ACQUISITION_INSTALLATION_H

#include <memory>
#include <stdexcept>
#include <string>
#include <wx/string.h>

namespace velm {
class VELM_BaseControl;
class VELM_Database;
} // namespace velm

namespace velm::acquisition {

// The installation cannot be used; the text says why, for its user.
class InstallationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One installation: its preferences and profile, the optical database, the drivers, and the microscope once
// it is started. Made once in a process, since drivers stay loaded.
class Installation {
  public:
    // Reads the installation's ini file and the database of its profile, and loads the drivers. In its
    // values, $VELM_RIG_DIR stands for the file's own directory and $VELM_DRIVER_DIR for the drivers
    // installed beside the program; variables that are set already keep their values. Throws
    // InstallationError. The preferences are read, never written.
    explicit Installation(wxString const & ini);
    ~Installation();
    Installation(Installation const &) = delete;
    Installation & operator=(Installation const &) = delete;

    // Brings the microscope up. Throws InstallationError.
    void StartMicroscope();

    VELM_Database & GetDatabase() { return *_database; }

    // Only once the microscope is started.
    VELM_BaseControl & GetBase() { return *_base; }

    // The hardware ini file of the chosen profile.
    wxString GetHardwareIni() const;

  private:
    std::unique_ptr<VELM_Database> _database;
    std::unique_ptr<VELM_BaseControl> _base;
};

// The directory that drivers lie in when they were installed, or built, beside this program.
wxString DriverDirectoryBesideProgram();

// Asks every driver library of the directory for the version of the contract that it was built with. Throws
// InstallationError, naming both versions, when one was built with another than this program; a library that
// doesn't tell is taken as it is.
void CheckDriverContracts(wxString const & directory);

} // namespace velm::acquisition

#endif
