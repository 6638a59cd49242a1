#include "velm_driver_manager.h"

#include "velm_driver_package.h"
#include "velm_log_macros.h"

#include <wx/dir.h>
#include <wx/dynlib.h>

namespace velm {

VELM_DriverManager * VELM_DriverManager::_instance = nullptr;

VELM_DriverManager * VELM_DriverManager::CreateInstance(wxString const & driver_dir,
                                                        wxString const & entry_symbol)
{
    _instance = new VELM_DriverManager(driver_dir, entry_symbol);
    return _instance;
}

VELM_DriverManager * VELM_DriverManager::GetInstance()
{
    wxASSERT(_instance != 0);
    return _instance;
}

void VELM_DriverManager::DeleteInstance()
{
    delete _instance;
    _instance = nullptr;
}

VELM_DriverManager::VELM_DriverManager(wxString const & driver_dir, wxString const & entry_symbol)
    : _driver_dir(driver_dir), _entry_symbol(entry_symbol)
{
    VELM_LOG_MESSAGE("------------Looking for drivers in %s-------------", driver_dir);
    LoadAllDrivers(driver_dir);
    VELM_LOG_MESSAGE("%lu drivers loaded", static_cast<unsigned long>(_drivers.size()));
    VELM_LOG_MESSAGE("--------------------------------------------------");
}

VELM_DriverManager::~VELM_DriverManager()
{
    for (DriverInfo const & info : _drivers) {
        delete info.package;
        // The library stays loaded: something of its code may still be in use, a log target or an exception.
        info.lib->Detach();
        delete info.lib;
    }
}

VELM_DriverPackage * VELM_DriverManager::GetPackage(wxString const & name) const
{
    long const index = GetDriverIndex(name);
    return index >= 0 ? _drivers[static_cast<std::size_t>(index)].package : nullptr;
}

long VELM_DriverManager::GetDriverIndex(wxString const & name) const
{
    for (std::size_t i = 0; i < _drivers.size(); ++i) {
        if (_drivers[i].package->GetName().IsSameAs(name)) {
            return static_cast<long>(i);
        }
    }
    return -1;
}

void VELM_DriverManager::LoadAllDrivers(wxString const & dir)
{
    wxArrayString files;
    if (wxDir::Exists(dir)) {
        wxDir::GetAllFiles(dir, &files, "*" + wxDynamicLibrary::GetDllExt(), wxDIR_FILES | wxDIR_DIRS);
    }
    for (wxString const & path : files) {
        DriverInfo info{path, new wxDynamicLibrary, nullptr};
        bool added = false;
        try {
            VELM_LOG_MESSAGE("Loading %s", path);
            added = LoadDriverPackage(info) && AddDriver(info);
        } catch (std::exception const & error) {
            VELM_LOG_ERROR("%s: Exception caught while trying to load dynamic library %s: %s", VELM_FUNCTION,
                           path, detail::ExceptionText(error));
        } catch (...) {
            VELM_LOG_ERROR("%s: Unknown exception caught while trying to load dynamic library %s",
                           VELM_FUNCTION, path);
        }
        if (!added) {
            // Only here, behind the handlers: an exception of the library's own class needs its code.
            delete info.package;
            delete info.lib;
        }
    }
}

bool VELM_DriverManager::LoadDriverPackage(DriverInfo & info)
{
    try {
        // A library that needs a symbol nobody has must fail here and not in the middle of an acquisition, so
        // all symbols are resolved now. The toolkit adds a line with the loader's reason.
        if (!info.lib->Load(info.path, wxDL_NOW | wxDL_VERBATIM)) {
            VELM_LOG_ERROR("%s: Unable to load dynamic library %s", VELM_FUNCTION, info.path);
            return false;
        }
        if (!info.lib->HasSymbol(_entry_symbol)) {
            VELM_LOG_ERROR("%s: Unable to find symbol %s in dynamic library %s", VELM_FUNCTION, _entry_symbol,
                           info.path);
            return false;
        }
        using EntryFunction = VELM_DriverPackage * (*)();
        auto const entry = reinterpret_cast<EntryFunction>(info.lib->GetSymbol(_entry_symbol));
        info.package = entry();
        return info.package != nullptr;
    } catch (std::exception const & error) {
        VELM_LOG_ERROR("%s: Exception caught while trying to load driver %s: %s", VELM_FUNCTION, info.path,
                       detail::ExceptionText(error));
    } catch (...) {
        VELM_LOG_ERROR("%s: Unknown exception caught while trying to load driver %s", VELM_FUNCTION,
                       info.path);
    }
    return false;
}

bool VELM_DriverManager::AddDriver(DriverInfo const & info)
{
    wxString const name = info.package->GetName();
    if (name.empty()) {
        VELM_LOG_ERROR("Driver returned empty name. Skipping driver.");
        return false;
    }
    if (GetDriverIndex(name) != -1) {
        VELM_LOG_ERROR("Driver with name '%s' already exists. Skipping driver.", name);
        return false;
    }
    _drivers.push_back(info);
    VELM_LOG_MESSAGE("Driver loaded correctly as '%s'", name);
    return true;
}

} // namespace velm
