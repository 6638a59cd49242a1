#ifndef TESTS_SUPPORT_PIXEL_PATTERNS_H
#define TESTS_SUPPORT_PIXEL_PATTERNS_H

// 16-bit pixels of all kinds that a writer or a reader of them may treat differently.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velm::test {

// Gives the pixel at each place of a stretch.
using Pattern = std::function<std::uint32_t(std::size_t)>;

inline std::uint32_t Random(std::size_t i)
{
    auto x = static_cast<std::uint64_t>(i) * 0x9e3779b97f4a7c15U;
    x = (x ^ x >> 31) * 0xbf58476d1ce4e5b9U;
    return static_cast<std::uint32_t>(x >> 32);
}

// Near enough to the normal distribution: the sum of eight evenly distributed numbers, of this deviation.
inline std::uint32_t Noisy(std::size_t i, double mean, double deviation)
{
    double sum = 0.0;
    for (std::size_t k = 0; k < 8; ++k) {
        sum += Random(8 * i + k) / 4294967296.0 - 0.5;
    }
    return static_cast<std::uint32_t>(mean + deviation * sum * 1.2247);
}

// A dark field with bright, noisier patches, as a camera sees cells.
inline std::uint32_t Camera(std::size_t i)
{
    bool const bright = (i / 90) % 5 == 0;
    return bright ? Noisy(i, 900.0, 25.0) : Noisy(i, 110.0, 2.0);
}

struct NamedPattern {
    char const * name;
    Pattern pixel;
};

inline std::vector<NamedPattern> const & Patterns()
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

// The bytes of so many pixels, the lower one of each first.
inline std::string MakePixels(Pattern const & pixel, std::size_t count)
{
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<char>(pixel(i)));
        bytes.push_back(static_cast<char>(pixel(i) >> 8));
    }
    return bytes;
}

} // namespace velm::test

#endif
