#include "velm_flat_field.h"

#include "support/every_machine.h"
#include "support/voxels.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace velm::test {

namespace {

using Row = std::vector<unsigned short>;

// The formula, pixel by pixel.
Row Expected(Row const & pixels, Row const & divisors, double mean)
{
    Row corrected;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        double const exact = static_cast<double>(pixels[i]) / static_cast<double>(divisors[i]) * mean;
        bool const is_number = divisors[i] != 0 && std::abs(exact) < 9e18;
        corrected.push_back(is_number ? static_cast<unsigned short>(static_cast<std::int64_t>(exact)) : 0);
    }
    return corrected;
}

Row Corrected(Row pixels, Row const & divisors, double mean)
{
    FlatField field(mean);
    field.SetDivisors(divisors.data(), divisors.size());
    field.Apply(pixels.data());
    return pixels;
}

Row PatternRow(unsigned int count, std::uint32_t seed)
{
    return Voxels(PatternImage<unsigned short>(count, 1, 1, seed));
}

} // namespace

TEST(VelmFlatField, DividesByTheCalibrationAndMultipliesByItsMean)
{
    EXPECT_EQ(Corrected({1000, 1000, 0, 7}, {500, 3, 5, 7}, 2.0), (Row{4, 666, 0, 2}));
    EXPECT_EQ(Corrected({65535}, {1}, 2.0), Row{65534}) << "wraps around";
    EXPECT_EQ(Corrected({1000, 0}, {0, 0}, 400.0), (Row{0, 0})) << "nothing divides by 0";
}

TEST(VelmFlatField, IsExactForAnyPixelOfAnyRowOnEveryMachine)
{
    Row const pixels = PatternRow(40000, 1);
    Row const divisors = PatternRow(40000, 2);
    for (double const mean : {0.0, 1.0, 1e-30, 0.3, 2048.0, 2048.37, 31234.567, 32766.99}) {
        Row const expected = Expected(pixels, divisors, mean);
        OnEveryMachine([&] { EXPECT_TRUE(Corrected(pixels, divisors, mean) == expected) << mean; });
    }
}

TEST(VelmFlatField, IsExactWhereTheResultIsNearlyOrJustAWholeNumber)
{
    Row pixels;
    Row divisors;
    for (unsigned int pixel = 1; pixel < 4096; pixel += 3) {
        for (unsigned int const divisor : {1U, 3U, 7U, 10U, 2999U, 3000U, 3001U, 65535U}) {
            pixels.push_back(static_cast<unsigned short>(pixel));
            divisors.push_back(static_cast<unsigned short>(divisor));
        }
    }
    for (double const whole : {3000.0, 30.0, 21.0, 65535.0 / 3.0, 1e-3}) {
        for (double const mean : {whole, std::nextafter(whole, 0.0), std::nextafter(whole, 1e9)}) {
            Row const expected = Expected(pixels, divisors, mean);
            OnEveryMachine([&] { EXPECT_TRUE(Corrected(pixels, divisors, mean) == expected) << mean; });
        }
    }
}

TEST(VelmFlatField, AnImpossibleMeanHarmsNobody)
{
    Row const pixels = PatternRow(100, 1);
    Row const divisors = PatternRow(100, 2);
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (double const mean : {-5.0, -0.0, 32767.0, 1e9, 1e30, -1e300, infinite, std::nan("")}) {
        EXPECT_EQ(Corrected(pixels, divisors, mean), Expected(pixels, divisors, mean)) << mean;
    }
}

TEST(VelmFlatField, RowsOfAnyLengthAreCorrectedToTheirEnd)
{
    for (unsigned int count = 0; count < 40; ++count) {
        Row const pixels = PatternRow(count, 1);
        Row const divisors = PatternRow(count, 2);
        EXPECT_EQ(Corrected(pixels, divisors, 3000.5), Expected(pixels, divisors, 3000.5));
    }
}

} // namespace velm::test
