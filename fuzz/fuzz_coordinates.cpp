// coordinates.txt, read and written back.

#include "fuzz_input.h"
#include "velm_coords.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::Input const & input = velm::fuzz::Input::Get();
    velm::VELM_CoordList coords;
    if (coords.Load(input.Write("coordinates.txt", data, size))) {
        std::string const copy = input.GetDirectory() + "/copy.txt";
        velm::VELM_CoordList again;
        if (!coords.Save(copy) || !again.Load(copy) || again.GetCount() != coords.GetCount()) {
            std::abort();
        }
    }
    return 0;
}
