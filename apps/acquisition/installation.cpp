#include "acquisition/installation.h"

#include "drivers/base/driver_contract.h"
#include "drivers/base/velm_base.h"
#include "velm_db.h"
#include "velm_driver_manager.h"
#include "velm_prefs.h"

#include <wx/dir.h>
#include <wx/dynlib.h>
#include <wx/filename.h>
#include <wx/log.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

namespace velm::acquisition {

namespace {

char const * const entry_symbol = "velm_driver_entry";

void SetUnlessSet(wxString const & variable, wxString const & value)
{
    if (!wxGetEnv(variable, nullptr)) {
        wxSetEnv(variable, value);
    }
}

} // namespace

wxString DriverDirectoryBesideProgram()
{
    wxFileName const program(wxStandardPaths::Get().GetExecutablePath());
    wxFileName directory = wxFileName::DirName(program.GetPath() + "/../" VELM_DRIVER_SUBDIR);
    directory.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_ABSOLUTE);
    return directory.GetPath();
}

void CheckDriverContracts(wxString const & directory)
{
    wxArrayString files;
    if (wxDir::Exists(directory)) {
        wxDir::GetAllFiles(directory, &files, "*" + wxDynamicLibrary::GetDllExt(), wxDIR_FILES | wxDIR_DIRS);
    }
    for (wxString const & file : files) {
        wxLogNull const quiet; // what cannot be loaded, the driver manager tells
        wxDynamicLibrary library;
        if (!library.Load(file, wxDL_NOW | wxDL_VERBATIM) ||
            !library.HasSymbol("velm_driver_contract_version")) {
            continue;
        }
        auto const get_version =
            reinterpret_cast<int (*)()>(library.GetSymbol("velm_driver_contract_version"));
        int const version = get_version();
        if (version != VELM_DRIVER_CONTRACT_VERSION) {
            throw InstallationError(
                wxString::Format("The driver %s was built with version %d of the driver contract, but "
                                 "this program needs version %d.",
                                 file, version, VELM_DRIVER_CONTRACT_VERSION)
                    .utf8_string());
        }
    }
}

Installation::Installation(wxString const & ini)
{
    wxFileName file(ini);
    file.MakeAbsolute();
    if (!file.FileExists()) {
        throw InstallationError("The installation's ini file " + file.GetFullPath().utf8_string() +
                                " does not exist.");
    }
    SetUnlessSet("VELM_RIG_DIR", file.GetPath());
    SetUnlessSet("VELM_DRIVER_DIR", DriverDirectoryBesideProgram());
    if (!VELM_Preferences::CreateInstance(file.GetFullPath())) {
        throw InstallationError("No microscope profile could be chosen from " +
                                VELM_Preferences::GetInstance()->GetProfileFile().utf8_string() + ".");
    }
    VELM_Preferences const & preferences = *VELM_Preferences::GetInstance();
    CheckDriverContracts(preferences.GetDriversDir());
    VELM_DriverManager::CreateInstance(preferences.GetDriversDir(), entry_symbol);
    try {
        _database = std::make_unique<VELM_Database>(preferences.GetDBDir());
    } catch (VELM_Error const & error) {
        throw InstallationError(error.what());
    }
}

void Installation::StartMicroscope()
{
    try {
        _base = std::make_unique<VELM_BaseControl>(GetHardwareIni(), _database.get(),
                                                   VELM_DriverManager::GetInstance());
        if (_base->IsOK()) {
            _base->Init();
            return;
        }
    } catch (VELM_Error const & error) {
        throw InstallationError(error.what());
    }
    throw InstallationError("The microscope described in " + GetHardwareIni().utf8_string() +
                            " is not complete; the log tells which device is missing.");
}

wxString Installation::GetHardwareIni() const
{
    return VELM_Preferences::GetInstance()->GetHWInitFile();
}

Installation::~Installation()
{
    _base.reset(); // the devices go before their drivers
    VELM_DriverManager::DeleteInstance();
}

} // namespace velm::acquisition
