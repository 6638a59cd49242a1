#ifndef FUZZ_IMAGE_H
#define FUZZ_IMAGE_H

#include "fuzz_input.h"
#include "vexacore/image3d.h"

namespace velm::fuzz {

template <typename T>
void ReadImage(std::string const & path, vexa::Box const * box)
{
    try {
        vexa::Image3d<T> image;
        image.ReadImage(path.c_str(), box, false, -1, nullptr, nullptr);
    } catch (vexa::IOException const &) {
        // what a damaged file has to end in
    }
}

// Reads the bytes as an image file of the name: whole, by a box, and as the narrower voxel type.
inline void ReadImageFile(char const * name, std::uint8_t const * data, std::size_t size)
{
    std::string const path = Input::Get().Write(name, data, size);
    vexa::Box const box(1, 1, 0, 2, 2, 1);
    ReadImage<unsigned short>(path, nullptr);
    ReadImage<unsigned short>(path, &box);
    ReadImage<unsigned char>(path, nullptr);
}

} // namespace velm::fuzz

#endif
