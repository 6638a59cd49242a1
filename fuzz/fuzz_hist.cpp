// A histogram file. The last four bytes are replaced by the check sum that fits, without which no input would
// get far, unless the last one is odd.

#include "fuzz_input.h"
#include "nubo/histogram.h"

#include <algorithm>
#include <cstring>
#include <libdeflate.h>

// Of a histogram that is written again; more only cost time.
constexpr std::size_t most_bins = 1024;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::string content(reinterpret_cast<char const *>(data), size);
    if (size >= 4 && data[size - 1] % 2 == 0) {
        std::uint32_t const checksum = libdeflate_crc32(0, data, size - 4);
        std::memcpy(content.data() + size - 4, &checksum, 4);
    }
    nubo::Histogram<unsigned short> histogram;
    velm::fuzz::Input const & input = velm::fuzz::Input::Get();
    if (!histogram.Load(input.Write("input.hist", content)) || histogram.GetBins().size() > most_bins) {
        return 0;
    }
    nubo::Histogram<unsigned short> again;
    std::string const copy = input.GetDirectory() + "/copy.hist";
    auto const same = [&] {
        auto const & a = histogram.GetBins();
        auto const & b = again.GetBins();
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    };
    if (!histogram.Save(copy) || !again.Load(copy) || !same()) {
        std::abort();
    }
    return 0;
}
