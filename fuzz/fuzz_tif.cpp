// An .tif file.

#include "fuzz_image.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::ReadImageFile("input.tif", data, size);
    return 0;
}
