// The file of microscope profiles.

#include "fuzz_input.h"
#include "velm_profile.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::VELM_ProfileList profiles;
    if (profiles.Load(velm::fuzz::Input::Get().Write("profiles.txt", data, size)) !=
        (profiles.GetCount() > 0)) {
        std::abort();
    }
    return 0;
}
