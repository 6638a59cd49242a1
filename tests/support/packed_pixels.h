#ifndef TESTS_SUPPORT_PACKED_PIXELS_H
#define TESTS_SUPPORT_PACKED_PIXELS_H

#include "vexacore/pixel_deflate.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velm::test {

// The compressed pixels; a test failure when the room that was asked for wasn't enough.
inline std::string Compress(vexa::PixelDeflater & deflater, char const * source, std::size_t count)
{
    std::size_t const room = vexa::PixelDeflater::GetRoom(count);
    std::vector<unsigned char> packed(room + 64, 0xa5);
    std::size_t const length =
        deflater.Compress(reinterpret_cast<unsigned char const *>(source), count, packed.data());
    EXPECT_LE(length, room);
    EXPECT_EQ(std::count(packed.begin() + static_cast<std::ptrdiff_t>(room), packed.end(), 0xa5), 64)
        << "written behind the room";
    return {packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(length)};
}

inline std::string Compress(std::string const & pixels)
{
    vexa::PixelDeflater deflater;
    return Compress(deflater, pixels.data(), pixels.size() / 2);
}

} // namespace velm::test

#endif
