#ifndef FUZZ_IMAGE_H
#define FUZZ_IMAGE_H

#include "fuzz_input.h"
#include "vexacore/image3d.h"

#include <algorithm>

namespace velm::fuzz {

// False for what a damaged file has to end in.
template <typename T>
bool ReadImage(std::string const & path, vexa::Box const * box, vexa::Image3d<T> & image)
{
    try {
        image.ReadImage(path.c_str(), box, false, -1, nullptr, nullptr);
        return true;
    } catch (vexa::IOException const &) {
        return false;
    }
}

// Reads the bytes as an image file of the name: whole, by a box, and as the narrower voxel type. A file that
// is whole has to give the same voxels either way.
inline void ReadImageFile(char const * name, std::uint8_t const * data, std::size_t size)
{
    std::string const path = Input::Get().Write(name, data, size);
    vexa::Box const box(1, 1, 0, 2, 2, 1);
    vexa::Image3d<unsigned short> whole;
    vexa::Image3d<unsigned short> part;
    vexa::Image3d<unsigned char> narrow;
    bool const is_whole = ReadImage(path, nullptr, whole);
    bool const is_part = ReadImage(path, &box, part);
    ReadImage(path, nullptr, narrow);
    if (is_whole && whole.size.x > 2 && whole.size.y > 2 && whole.size.z > 0) {
        vexa::Image3d<unsigned short> const expected(whole, &box);
        if (!is_part || !std::equal(expected.begin(), expected.end(), part.begin(), part.end())) {
            std::abort();
        }
    }
}

} // namespace velm::fuzz

#endif
