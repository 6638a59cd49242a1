// The hardware ini file: how the base control selects and builds the devices, with the simulated microscope's
// driver. Nothing is opened and nothing moves.

#include "drivers/base/velm_base.h"
#include "fuzz_record.h"

#include <wx/utils.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    using namespace velm;
    static VELM_Database const db = fuzz::Surroundings::Get().GetDatabase();
    wxString const path = fuzz::Input::Get().Write("hardware.ini", data, size);
    // Anew for each input: a package makes its driver once and never again.
    VELM_DriverManager::DeleteInstance();
    VELM_DriverManager * const drivers =
        VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry");
    try {
        VELM_BaseControl const base(path, &db, drivers);
    } catch (VELM_Error const &) {
        // what a file without a scale has to end in
    }
    return 0;
}
