#include "vexaalgo/lut.h"

#include "vexacore/exceptions.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velm::test {

using Wide = vexa::LUT<unsigned short, unsigned char>;
using Narrow = vexa::LUT<unsigned char, unsigned char>;
using Ready = vexa::VELM_LUT<unsigned short, unsigned char>;

TEST(Lut, GivesZeroForEverythingBeforeInit)
{
    Wide const lut;
    EXPECT_EQ(lut.Get(0), 0);
    EXPECT_EQ(lut.Get(65535), 0);
}

TEST(Lut, LinearMappingRunsThroughBothPoints)
{
    Wide lut;
    lut.Init(1001, 500, 1500);
    lut.CreateLinearMapping(500, 1500, 0, 255);
    for (int value = 500; value <= 1500; ++value) {
        auto const expected = std::floor((value - 500) * 255.0 / 1000.0 + 0.5);
        EXPECT_EQ(lut.Get(static_cast<unsigned short>(value)), expected) << value;
    }
}

TEST(Lut, LinearMappingGoesOnBeyondItsPointsUpToTheEndsOfTheOutput)
{
    Narrow lut;
    lut.Init(256, 0, 255);
    lut.CreateLinearMapping(100, 110, 50, 150);
    EXPECT_EQ(lut.Get(100), 50);
    EXPECT_EQ(lut.Get(110), 150);
    EXPECT_EQ(lut.Get(95), 0);
    EXPECT_EQ(lut.Get(96), 10);
    EXPECT_EQ(lut.Get(94), 0);
    EXPECT_EQ(lut.Get(120), 250);
    EXPECT_EQ(lut.Get(121), 255);
}

TEST(Lut, LinearMappingMayFall)
{
    Narrow lut;
    lut.Init(256, 0, 255);
    lut.CreateLinearMapping(0, 255, 255, 0);
    for (int value = 0; value < 256; ++value) {
        EXPECT_EQ(lut.Get(static_cast<unsigned char>(value)), 255 - value);
    }
    lut.CreateLinearMapping(255, 0, 0, 255);
    EXPECT_EQ(lut.Get(55), 200) << "the order of the points doesn't matter";
}

TEST(Lut, LinearMappingThroughOnePointIsAStep)
{
    Narrow lut;
    lut.Init(256, 0, 255);
    lut.CreateLinearMapping(100, 100, 10, 20);
    EXPECT_EQ(lut.Get(99), 10);
    EXPECT_EQ(lut.Get(100), 20);
    EXPECT_EQ(lut.Get(101), 20);
}

TEST(Lut, ValueOutsideTheRangeGivesTheNearerEnd)
{
    Wide lut;
    lut.Init(11, 100, 110);
    lut.CreateLinearMapping(100, 110, 20, 30);
    EXPECT_EQ(lut.Get(0), 20);
    EXPECT_EQ(lut.Get(99), 20);
    EXPECT_EQ(lut.Get(111), 30);
    EXPECT_EQ(lut.Get(65535), 30);
}

TEST(Lut, InitRefusesASizeThatDoesntFit)
{
    Wide lut;
    EXPECT_THROW(lut.Init(10, 100, 110), vexa::InternalException);
    EXPECT_THROW(lut.Init(12, 100, 110), vexa::InternalException);
    EXPECT_THROW(lut.Init(-9, 110, 100), vexa::InternalException);
    EXPECT_THROW(lut.Init(0, 1, 0), vexa::InternalException);
    lut.Init(65536, 0, 65535);
    EXPECT_EQ(lut.Get(65535), 0) << "a new table is all zero";
}

TEST(Lut, Select8BitsTakesTheBitsThatEndAtTheLast)
{
    Ready lut;
    for (int last_bit = 1; last_bit <= 17; ++last_bit) {
        lut.Select8Bits(last_bit);
        for (int value = 0; value < 65536; ++value) {
            double const scaled = std::floor(std::ldexp(value, 8 - last_bit));
            EXPECT_EQ(lut.Get(static_cast<unsigned short>(value)), std::min(scaled, 255.0))
                << value << ", bit " << last_bit;
        }
    }
}

TEST(Lut, Select8BitsOfAnyNumberIsSafe)
{
    Ready lut;
    for (int const last_bit : {-2147483647, -1, 0}) {
        lut.Select8Bits(last_bit);
        EXPECT_EQ(lut.Get(0), 0);
        EXPECT_EQ(lut.Get(1), 255);
    }
    lut.Select8Bits(2147483647);
    EXPECT_EQ(lut.Get(65535), 0);
}

TEST(Lut, ApplyMapsTheGivenNumberOfValues)
{
    Ready lut;
    lut.Select8Bits(8);
    std::vector<unsigned short> const in{1, 2, 300, 4};
    std::vector<unsigned char> out(4, 9);
    lut.Apply(in.data(), out.data(), 3);
    EXPECT_EQ(out, (std::vector<unsigned char>{1, 2, 255, 9}));
    lut.Apply(in.data(), out.data(), 0);
    lut.Apply(in.data(), out.data(), -1);
    EXPECT_EQ(out, (std::vector<unsigned char>{1, 2, 255, 9}));
}

TEST(VelmLut, IsReadyForTheWholeRangeOnConstruction)
{
    Ready const lut;
    EXPECT_EQ(lut.Get(0), 0);
    EXPECT_EQ(lut.Get(32768), 128);
    EXPECT_EQ(lut.Get(65535), 255);
    EXPECT_EQ((vexa::VELM_LUT<unsigned char, unsigned char>().Get(77)), 77);
}

} // namespace velm::test
