// An .ics file.

#include "fuzz_image.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::ReadImageFile("input.ics", data, size);
    return 0;
}
