// An .ics file, whole and by a box.

#include "fuzz_input.h"
#include "vexacore/image3d.h"

namespace {

template <typename T>
void Read(std::string const & path, vexa::Box const * box)
{
    try {
        vexa::Image3d<T> image;
        image.ReadImage(path.c_str(), box, false, -1, nullptr, nullptr);
    } catch (vexa::IOException const &) {
        // what a damaged file has to end in
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::string const path = velm::fuzz::Input::Get().Write("input.ics", data, size);
    vexa::Box const box(1, 1, 0, 2, 2, 1);
    Read<unsigned short>(path, nullptr);
    Read<unsigned short>(path, &box);
    Read<unsigned char>(path, nullptr);
    return 0;
}
