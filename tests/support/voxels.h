#ifndef TESTS_SUPPORT_VOXELS_H
#define TESTS_SUPPORT_VOXELS_H

#include "vexacore/image3d.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <vector>

namespace vexa {

template <typename T>
std::ostream & operator<<(std::ostream & out, Vector3d<T> const & vector)
{
    return out << '(' << vector.x << ", " << vector.y << ", " << vector.z << ')';
}

} // namespace vexa

namespace velm::test {

// An image of that size whose voxels come from a fixed sequence: no value is where its neighbour is, and the
// same call gives the same image.
template <typename T>
vexa::Image3d<T> PatternImage(unsigned int x, unsigned int y, unsigned int z, std::uint32_t seed = 1)
{
    vexa::Image3d<T> image;
    image.MakeRoom(x, y, z);
    std::uint32_t state = seed * 2654435761U + 12345U;
    for (T & voxel : image) {
        state = state * 1664525U + 1013904223U;
        voxel = static_cast<T>(state >> 16);
    }
    return image;
}

// An image of that size with one value everywhere.
template <typename T>
vexa::Image3d<T> ConstantImage(unsigned int x, unsigned int y, unsigned int z, T value)
{
    vexa::Image3d<T> image;
    image.MakeRoom(x, y, z);
    std::fill(image.begin(), image.end(), value);
    return image;
}

template <typename T>
std::vector<T> Voxels(vexa::Image3d<T> const & image)
{
    return {image.begin(), image.end()};
}

// The voxels of a box, taken one by one.
template <typename T>
std::vector<T> VoxelsOf(vexa::Image3d<T> const & image, vexa::Box const & box)
{
    std::vector<T> voxels;
    for (unsigned int k = 0; k < box.size.z; ++k) {
        for (unsigned int j = 0; j < box.size.y; ++j) {
            for (unsigned int i = 0; i < box.size.x; ++i) {
                voxels.push_back(image.GetVoxel(static_cast<unsigned int>(box.offset.x) + i,
                                                static_cast<unsigned int>(box.offset.y) + j,
                                                static_cast<unsigned int>(box.offset.z) + k));
            }
        }
    }
    return voxels;
}

} // namespace velm::test

#endif
