// Makes a depository and loads the installed drivers, with nothing but the installed headers and libraries.

#include "velm_depository.h"

#include "drivers/base/velm_base.h"
#include "velm_driver_manager.h"

#include <cstdio>
#include <wx/init.h>

int main(int argc, char ** argv)
{
    wxInitializer const toolkit;
    if (argc != 3) {
        return 2;
    }
    velm::VELM_Database db(wxString::FromUTF8(argv[1]));
    velm::VELM_Depository depository(wxString::FromUTF8(argv[2]), &db);
    velm::VELM_DriverManager * const drivers =
        velm::VELM_DriverManager::CreateInstance(DRIVER_DIR, "velm_driver_entry");
    bool const ok =
        depository.Open() && depository.IsValid() && drivers->GetPackage("Simulated microscope") != nullptr;
    velm::VELM_DriverManager::DeleteInstance();
    std::puts(ok ? "installed velm works" : "installed velm does not work");
    return ok ? 0 : 1;
}
