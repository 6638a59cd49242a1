// The deflate writer for pixels, with zlib as the reader.

#include "support/zlib_reader.h"
#include "vexacore/pixel_deflate.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velm::test {

using vexa::PixelDeflater;

// Gives the pixel at each place of a stretch.
using Pattern = std::function<std::uint32_t(std::size_t)>;

std::uint32_t Random(std::size_t i)
{
    auto x = static_cast<std::uint64_t>(i) * 0x9e3779b97f4a7c15U;
    x = (x ^ x >> 31) * 0xbf58476d1ce4e5b9U;
    return static_cast<std::uint32_t>(x >> 32);
}

// Near enough to the normal distribution: the sum of eight evenly distributed numbers, of this deviation.
std::uint32_t Noisy(std::size_t i, double mean, double deviation)
{
    double sum = 0.0;
    for (std::size_t k = 0; k < 8; ++k) {
        sum += Random(8 * i + k) / 4294967296.0 - 0.5;
    }
    return static_cast<std::uint32_t>(mean + deviation * sum * 1.2247);
}

// A dark field with bright, noisier patches, as a camera sees cells.
std::uint32_t Camera(std::size_t i)
{
    bool const bright = (i / 90) % 5 == 0;
    return bright ? Noisy(i, 900.0, 25.0) : Noisy(i, 110.0, 2.0);
}

struct NamedPattern {
    char const * name;
    Pattern pixel;
};

std::vector<NamedPattern> const & Patterns()
{
    static std::vector<NamedPattern> const patterns = {
        {"zeros", [](std::size_t) { return 0U; }},
        {"the highest value", [](std::size_t) { return 0xffffU; }},
        {"a value of two different bytes", [](std::size_t) { return 0x1234U; }},
        {"all values, upwards", [](std::size_t i) { return static_cast<std::uint32_t>(i); }},
        {"all values, downwards", [](std::size_t i) { return static_cast<std::uint32_t>(~i); }},
        {"noise of 16 bits", [](std::size_t i) { return Random(i); }},
        {"noise of 12 bits", [](std::size_t i) { return Random(i) & 0xfff; }},
        {"noise of 8 bits", [](std::size_t i) { return Random(i) & 0xff; }},
        {"noise of one bit", [](std::size_t i) { return Random(i) & 1; }},
        {"high bytes only", [](std::size_t i) { return Random(i) & 0xff00; }},
        {"a camera's picture", Camera},
        {"runs of any length", [](std::size_t i) { return Random(i / (1 + i / 100 % 300)) & 0xfff; }},
        {"a long period", [](std::size_t i) { return Random(i % 16384) & 0xfff; }},
        {"a period just too long", [](std::size_t i) { return Random(i % 16385) & 0xfff; }},
        {"one bright pixel in 5000", [](std::size_t i) { return i % 5000 == 4999 ? 0xffffU : 100U; }},
        {"noise behind a constant half", [](std::size_t i) { return i < 65536 ? 7U : Random(i); }},
        {"rare values of many kinds", [](std::size_t i) { return i % 97 == 0 ? Random(i) : 0U; }},
    };
    return patterns;
}

std::string Make(Pattern const & pixel, std::size_t count)
{
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<char>(pixel(i)));
        bytes.push_back(static_cast<char>(pixel(i) >> 8));
    }
    return bytes;
}

// The compressed pixels; a test failure when the room that was asked for wasn't enough.
std::string Compress(PixelDeflater & deflater, char const * source, std::size_t count)
{
    std::size_t const room = PixelDeflater::GetRoom(count);
    std::vector<unsigned char> packed(room + 64, 0xa5);
    std::size_t const length =
        deflater.Compress(reinterpret_cast<unsigned char const *>(source), count, packed.data());
    EXPECT_LE(length, room);
    EXPECT_EQ(std::count(packed.begin() + static_cast<std::ptrdiff_t>(room), packed.end(), 0xa5), 64)
        << "written behind the room";
    return {packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(length)};
}

std::string Compress(std::string const & pixels)
{
    PixelDeflater deflater;
    return Compress(deflater, pixels.data(), pixels.size() / 2);
}

// What zlib makes of blocks that aren't final, followed by one that is.
std::string Inflate(std::string const & packed, std::size_t expected)
{
    return InflatedByZlib(packed + std::string("\3\0", 2), -15, expected);
}

TEST(PixelDeflate, AnyPixelsComeBackThroughZlib)
{
    for (NamedPattern const & pattern : Patterns()) {
        for (std::size_t const count : {std::size_t{1000}, std::size_t{20000},
                                        PixelDeflater::largest_count - 1, PixelDeflater::largest_count}) {
            std::string const pixels = Make(pattern.pixel, count);
            EXPECT_TRUE(Inflate(Compress(pixels), pixels.size()) == pixels) << pattern.name << ' ' << count;
        }
    }
}

TEST(PixelDeflate, AnyNumberOfPixelsComesBack)
{
    for (NamedPattern const & pattern : Patterns()) {
        for (std::size_t count = 1; count < 80; ++count) {
            std::string const pixels = Make(pattern.pixel, count);
            ASSERT_TRUE(Inflate(Compress(pixels), pixels.size()) == pixels) << pattern.name << ' ' << count;
        }
    }
}

TEST(PixelDeflate, NothingGrowsByMoreThanAFewBytes)
{
    for (NamedPattern const & pattern : Patterns()) {
        for (std::size_t const count : {std::size_t{1}, std::size_t{100}, PixelDeflater::largest_count}) {
            EXPECT_LE(Compress(Make(pattern.pixel, count)).size(), 2 * count + 32) << pattern.name;
        }
    }
}

TEST(PixelDeflate, PixelsNeedNotBeAligned)
{
    std::string const pixels = Make(Camera, 5000);
    std::string const shifted = '-' + pixels;
    PixelDeflater deflater;
    EXPECT_EQ(Compress(deflater, shifted.data() + 1, 5000), Compress(pixels));
}

TEST(PixelDeflate, ResultDoesntDependOnWhatCameBefore)
{
    PixelDeflater deflater;
    for (NamedPattern const & pattern : Patterns()) {
        std::string const pixels = Make(pattern.pixel, 30000);
        EXPECT_EQ(Compress(deflater, pixels.data(), 30000), Compress(pixels)) << pattern.name;
    }
}

TEST(PixelDeflate, CameraPixelsTakeAtMostASeventhMoreThanWithZlibsLevel6)
{
    for (Pattern const & pattern :
         {Pattern(Camera), Pattern([](std::size_t i) { return Noisy(i, 500.0, 20.0); }),
          Pattern([](std::size_t i) { return Noisy(i, 110.0, 1.5); })}) {
        std::string const pixels = Make(pattern, PixelDeflater::largest_count);
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
    std::string const pixels = Make([](std::size_t) { return 0x1234U; }, PixelDeflater::largest_count);
    EXPECT_LT(Compress(pixels).size(), pixels.size() / 500);
}

} // namespace velm::test
