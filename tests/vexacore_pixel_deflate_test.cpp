// The deflate writer for pixels, with zlib as the reader.

#include "support/packed_pixels.h"
#include "support/pixel_patterns.h"
#include "support/zlib_reader.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velm::test {

using vexa::PixelDeflater;

TEST(PixelDeflate, AnyPixelsComeBackThroughZlib)
{
    for (NamedPattern const & pattern : Patterns()) {
        for (std::size_t const count : {std::size_t{1000}, std::size_t{20000},
                                        PixelDeflater::largest_count - 1, PixelDeflater::largest_count}) {
            std::string const pixels = MakePixels(pattern.pixel, count);
            EXPECT_TRUE(BlocksInflatedByZlib(Compress(pixels), pixels.size()) == pixels)
                << pattern.name << ' ' << count;
        }
    }
}

TEST(PixelDeflate, AnyNumberOfPixelsComesBack)
{
    for (NamedPattern const & pattern : Patterns()) {
        for (std::size_t count = 1; count < 80; ++count) {
            std::string const pixels = MakePixels(pattern.pixel, count);
            ASSERT_TRUE(BlocksInflatedByZlib(Compress(pixels), pixels.size()) == pixels)
                << pattern.name << ' ' << count;
        }
    }
}

TEST(PixelDeflate, NothingGrowsByMoreThanAFewBytes)
{
    for (NamedPattern const & pattern : Patterns()) {
        for (std::size_t const count : {std::size_t{1}, std::size_t{100}, PixelDeflater::largest_count}) {
            EXPECT_LE(Compress(MakePixels(pattern.pixel, count)).size(), 2 * count + 32) << pattern.name;
        }
    }
}

TEST(PixelDeflate, PixelsNeedNotBeAligned)
{
    std::string const pixels = MakePixels(Camera, 5000);
    std::string const shifted = '-' + pixels;
    PixelDeflater deflater;
    EXPECT_EQ(Compress(deflater, shifted.data() + 1, 5000), Compress(pixels));
}

TEST(PixelDeflate, ResultDoesntDependOnWhatCameBefore)
{
    PixelDeflater deflater;
    for (NamedPattern const & pattern : Patterns()) {
        std::string const pixels = MakePixels(pattern.pixel, 30000);
        EXPECT_EQ(Compress(deflater, pixels.data(), 30000), Compress(pixels)) << pattern.name;
    }
}

TEST(PixelDeflate, CameraPixelsTakeAtMostASeventhMoreThanWithZlibsLevel6)
{
    for (Pattern const & pattern :
         {Pattern(Camera), Pattern([](std::size_t i) { return Noisy(i, 500.0, 20.0); }),
          Pattern([](std::size_t i) { return Noisy(i, 110.0, 1.5); })}) {
        std::string const pixels = MakePixels(pattern, PixelDeflater::largest_count);
        uLongf length = compressBound(pixels.size());
        std::vector<unsigned char> packed(length);
        ASSERT_EQ(compress2(packed.data(), &length, reinterpret_cast<unsigned char const *>(pixels.data()),
                            pixels.size(), 6),
                  Z_OK);
        EXPECT_LE(static_cast<double>(Compress(pixels).size()), 1.14 * static_cast<double>(length));
    }
}

TEST(PixelDeflate, OneValueTakesNextToNothing)
{
    std::string const pixels = MakePixels([](std::size_t) { return 0x1234U; }, PixelDeflater::largest_count);
    EXPECT_LT(Compress(pixels).size(), pixels.size() / 500);
}

} // namespace velm::test
