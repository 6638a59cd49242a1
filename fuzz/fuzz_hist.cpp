// A histogram file.

#include "fuzz_input.h"
#include "nubo/histogram.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    nubo::Histogram<unsigned short> histogram;
    histogram.Load(velm::fuzz::Input::Get().Write("input.hist", data, size));
    return 0;
}
