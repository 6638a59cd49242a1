// Makes a depository and loads the installed drivers, with nothing but the installed headers and libraries.

#include "velm_depository.h"

#include "drivers/base/velm_base.h"
#include "export/ome_tiff.h"
#include "velm_driver_manager.h"

#include <cstdio>
#include <wx/init.h>

namespace {

// Whether the export is there: of a depository without records it has nothing to write.
bool CanExport(velm::VELM_Depository & depository)
{
    try {
        velm::ome::ExportFov(depository, 1, "none.ome.tif");
        return false;
    } catch (velm::ome::ExportError const &) {
        return true;
    }
}

} // namespace

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
    bool const ok = depository.Open() && depository.IsValid() && CanExport(depository) &&
                    drivers->GetPackage("Simulated microscope") != nullptr;
    velm::VELM_DriverManager::DeleteInstance();
    std::puts(ok ? "installed velm works" : "installed velm does not work");
    return ok ? 0 : 1;
}
