#include "sim_noise.h"

#include <cmath>

namespace velm::sim::test {

struct Moments {
    double mean;
    double variance;
};

// A converter so fine that its rounding adds next to nothing: 20 units an electron.
Readout FineReadout(double read_noise)
{
    Readout readout;
    readout.electrons_per_unit = 0.05;
    readout.offset = 1000.0;
    readout.read_noise = read_noise;
    readout.full_well = 1e6;
    readout.max_value = 65535;
    return readout;
}

// A million pixels of the same mean, in electrons.
std::vector<double> Electrons(double mean, Readout const & readout, std::uint64_t seed = 1)
{
    NoiseSource source;
    std::vector<float> const electrons(1000, static_cast<float>(mean));
    std::vector<std::uint16_t> pixels(electrons.size());
    std::vector<double> values;
    for (unsigned int row = 0; row < 1000; ++row) {
        source.ReadRow(electrons.data(), 1000, row, seed, readout, pixels.data());
        for (std::uint16_t const pixel : pixels) {
            values.push_back((pixel - readout.offset) * readout.electrons_per_unit);
        }
    }
    return values;
}

Moments MomentsOf(std::vector<double> const & values)
{
    double sum = 0.0, squares = 0.0;
    for (double const value : values) {
        sum += value;
        squares += value * value;
    }
    double const count = static_cast<double>(values.size());
    return {sum / count, squares / count - sum / count * sum / count};
}

TEST(SimNoise, ShotNoiseHasTheVarianceOfTheMean)
{
    for (double const mean : {0.05, 0.7, 3.3, 9.99, 15.9, 16.1, 40.0, 300.0, 2500.0}) {
        Moments const moments = MomentsOf(Electrons(mean, FineReadout(0.0)));
        EXPECT_NEAR(moments.mean, mean, 5.0 * std::sqrt(mean / 1e6) + 1e-4) << mean;
        EXPECT_NEAR(moments.variance / mean, 1.0, 0.02) << mean;
    }
}

TEST(SimNoise, ReadNoiseAddsItsVariance)
{
    for (double const mean : {0.0, 5.0, 100.0}) {
        Moments const moments = MomentsOf(Electrons(mean, FineReadout(6.0)));
        EXPECT_NEAR(moments.mean, mean, 0.05) << mean;
        EXPECT_NEAR(moments.variance, mean + 36.0, 0.01 * (mean + 36.0)) << mean;
    }
}

TEST(SimNoise, FewElectronsFollowThePoissonDistribution)
{
    double const mean = 2.3;
    std::vector<double> counts(30, 0.0);
    for (double const value : Electrons(mean, FineReadout(0.0))) {
        double const whole = std::round(value);
        ASSERT_NEAR(value, whole, 1e-9);
        counts[static_cast<std::size_t>(whole)] += 1.0;
    }
    double chance = std::exp(-mean);
    for (std::size_t k = 0; k < 10; ++k) {
        EXPECT_NEAR(counts[k] / 1e6, chance, 5.0 * std::sqrt(chance / 1e6)) << k;
        chance *= mean / static_cast<double>(k + 1);
    }
}

TEST(SimNoise, ManyElectronsFollowTheNormalDistributionFarIntoItsTails)
{
    double beyond2 = 0.0, beyond3 = 0.0, beyond4 = 0.0;
    for (double const value : Electrons(400.0, FineReadout(0.0))) {
        double const z = std::abs(value - 400.0) / 20.0;
        beyond2 += z > 2.0 ? 1.0 : 0.0;
        beyond3 += z > 3.0 ? 1.0 : 0.0;
        beyond4 += z > 4.0 ? 1.0 : 0.0;
    }
    EXPECT_NEAR(beyond2 / 1e6, 0.0455, 0.002);
    EXPECT_NEAR(beyond3 / 1e6, 0.0027, 0.0003);
    EXPECT_GT(beyond4, 10.0);
    EXPECT_LT(beyond4, 130.0);
}

TEST(SimNoise, NeighboursAreIndependent)
{
    for (double const mean : {8.0, 100.0}) {
        std::vector<double> const values = Electrons(mean, FineReadout(0.0));
        for (std::size_t const lag : {1u, 2u, 8u, 1000u, 1001u}) {
            double product = 0.0;
            for (std::size_t i = 0; i + lag < values.size(); ++i) {
                product += (values[i] - mean) * (values[i + lag] - mean);
            }
            EXPECT_NEAR(product / 1e6 / mean, 0.0, 0.005) << mean << " " << lag;
        }
    }
}

TEST(SimNoise, TheSameSeedGivesTheSameNoiseAndAnotherSeedAnother)
{
    EXPECT_EQ(Electrons(20.0, FineReadout(3.0), 5), Electrons(20.0, FineReadout(3.0), 5));
    EXPECT_NE(Electrons(20.0, FineReadout(3.0), 5), Electrons(20.0, FineReadout(3.0), 6));
}

TEST(SimNoise, RowsCanBeReadInAnyOrder)
{
    NoiseSource source;
    std::vector<float> const electrons(100, 50.0f);
    std::vector<std::uint16_t> first(100), again(100), other(100);
    source.ReadRow(electrons.data(), 100, 17, 1, Readout(), first.data());
    source.ReadRow(electrons.data(), 100, 3, 1, Readout(), other.data());
    source.ReadRow(electrons.data(), 100, 17, 1, Readout(), again.data());
    EXPECT_EQ(first, again);
    EXPECT_NE(first, other);
}

TEST(SimNoise, WithoutNoiseTheExpectedValueIsRounded)
{
    NoiseSource source;
    Readout readout;
    readout.noisy = false;
    readout.electrons_per_unit = 4.0;
    readout.offset = 10.0;
    std::vector<float> const electrons = {0.0f, 4.0f, 5.9f, 6.1f, 100000.0f};
    std::vector<std::uint16_t> pixels(5);
    source.ReadRow(electrons.data(), 5, 0, 1, readout, pixels.data());
    EXPECT_EQ(pixels, (std::vector<std::uint16_t>{10, 11, 11, 12, 4095}));
}

TEST(SimNoise, TheConverterSaturatesAndNeverWraps)
{
    NoiseSource source;
    Readout readout;
    readout.full_well = 1000.0;
    readout.electrons_per_unit = 1.0;
    readout.offset = 3.0;
    std::vector<float> const electrons = {1e6f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    std::vector<std::uint16_t> pixels(8);
    for (unsigned int row = 0; row < 100; ++row) {
        source.ReadRow(electrons.data(), 8, row, 1, readout, pixels.data());
        EXPECT_EQ(pixels[0], 1003);
        for (std::size_t x = 1; x < 8; ++x) {
            EXPECT_LT(pixels[x], 50);
        }
    }
}

} // namespace velm::sim::test
