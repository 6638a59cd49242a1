// The record of a field of view, fov.txt.

#include "fuzz_record.h"
#include "velm_fov.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::LoadAndSettle(data, size, velm::VELM_FOV(), std::mem_fn(&velm::VELM_FOV::Load),
                              std::mem_fn(&velm::VELM_FOV::Save));
    return 0;
}
