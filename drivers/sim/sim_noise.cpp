#include "sim_noise.h"

#include "sim_hash.h"
#include "sim_vectorised.h"

#include <algorithm>
#include <cmath>

namespace velm::sim {

namespace {

// The cumulative normal distribution.
double Normal(double x)
{
    return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

// Where the cumulative normal distribution reaches p, by bisection.
double Quantile(double p)
{
    double low = -10.0;
    double high = 10.0;
    for (int i = 0; i < 60; ++i) {
        double const middle = 0.5 * (low + high);
        (Normal(middle) < p ? low : high) = middle;
    }
    return 0.5 * (low + high);
}

// A 32-bit bijective hash of each column under the row's key; two rounds of multiply and shift.
SIM_VECTORISED void HashColumns(std::uint32_t key_low, std::uint32_t key_high, unsigned int count,
                                std::uint32_t * hashes)
{
    for (unsigned int i = 0; i < count; ++i) {
        std::uint32_t h = i * 0x9E3779B9u + key_low;
        h = (h ^ (h >> 16)) * 0x7FEB352Du;
        h = ((h ^ (h >> 15)) + key_high) * 0x846CA68Bu;
        h = (h ^ (h >> 16)) * 0x45D9F3B5u;
        hashes[i] = h ^ (h >> 15);
    }
}

SIM_VECTORISED void PickNormals(std::uint32_t const * hashes, float const * quantiles, unsigned int count,
                                float * normals)
{
    for (unsigned int i = 0; i < count; ++i) {
        normals[i] = quantiles[hashes[i] & 2047u] + quantiles[hashes[i] >> 21];
    }
}

// The electrons read: mean plus noise of the shot and read variances. True when every mean was large enough
// for the normal distribution.
SIM_VECTORISED bool AddNoise(float const * electrons, float const * normals, float read_variance, float limit,
                             float full_well, unsigned int count, float * values)
{
    int small = 0;
    for (unsigned int i = 0; i < count; ++i) {
        float const mean = electrons[i];
        small |= mean < limit ? 1 : 0;
        float const value = mean + normals[i] * __builtin_sqrtf(mean + read_variance);
        values[i] = value < full_well ? value : full_well;
    }
    return small == 0;
}

// Cuts off what is behind the point, so that an offset with half a unit more rounds.
SIM_VECTORISED void Convert(float const * electrons, float units_per_electron, float offset, float max_value,
                            unsigned int count, std::uint16_t * pixels)
{
    for (unsigned int i = 0; i < count; ++i) {
        float value = electrons[i] * units_per_electron + offset;
        value = value > 0.0f ? value : 0.0f;
        value = value < max_value ? value : max_value;
        pixels[i] = static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
    }
}

} // namespace

NoiseSource::NoiseSource()
    : _quantiles(1u << NORMAL_BITS), _cumulated(POISSON_BINS * POISSON_LENGTH), _guides(POISSON_BINS * 256u)
{
    double square = 0.0;
    auto const count = static_cast<double>(_quantiles.size());
    for (std::size_t i = 0; i < _quantiles.size(); ++i) {
        double const value = Quantile((static_cast<double>(i) + 0.5) / count);
        square += value * value;
        _quantiles[i] = static_cast<float>(value);
    }
    // The sum of two draws has the variance 1, and tails as far as 4.9 standard deviations.
    auto const scale = static_cast<float>(std::sqrt(0.5 * count / square));
    for (float & value : _quantiles) {
        value *= scale;
    }
    for (unsigned int bin = 0; bin < POISSON_BINS; ++bin) {
        double const mean = bin / 8.0;
        double chance = std::exp(-mean);
        double sum = 0.0;
        std::uint32_t * const row = &_cumulated[bin * POISSON_LENGTH];
        for (unsigned int k = 0; k < POISSON_LENGTH; ++k) {
            sum += chance;
            chance *= mean / (k + 1.0);
            row[k] = static_cast<std::uint32_t>(std::min(sum * 4294967296.0, 4294967295.0));
        }
        row[POISSON_LENGTH - 1] = 0xFFFFFFFFu;
        for (std::uint32_t top = 0; top < 256; ++top) {
            unsigned int k = 0;
            while (row[k] <= top << 24 && k + 1 < POISSON_LENGTH) {
                ++k;
            }
            _guides[bin * 256u + top] = static_cast<std::uint8_t>(k);
        }
    }
}

void NoiseSource::DrawNormals(std::uint64_t key, unsigned int count)
{
    _hashes.resize(count);
    _normals.resize(count);
    HashColumns(static_cast<std::uint32_t>(key), static_cast<std::uint32_t>(key >> 32), count,
                _hashes.data());
    PickNormals(_hashes.data(), _quantiles.data(), count, _normals.data());
}

// A Poisson number of a small mean: one of the tabulated mean just below, plus one of the little that is
// left.
float NoiseSource::DrawPoisson(float mean, std::uint64_t key) const
{
    std::uint64_t const hash = Mix(key);
    auto const bin = static_cast<unsigned int>(mean * 8.0f);
    std::uint32_t const * const row = &_cumulated[bin * POISSON_LENGTH];
    auto const number = static_cast<std::uint32_t>(hash);
    unsigned int k = _guides[bin * 256u + (number >> 24)];
    while (row[k] <= number && k + 1 < POISSON_LENGTH) {
        ++k;
    }
    float const rest = mean - 0.125f * static_cast<float>(bin);
    float chance = 1.0f - rest * (1.0f - rest * (0.5f - rest * (1.0f / 6.0f - rest * (1.0f / 24.0f))));
    float left = static_cast<float>(hash >> 40) * (1.0f / 16777216.0f) - chance;
    for (unsigned int more = 1; left >= 0.0f && more < 8; ++more) {
        ++k;
        chance *= rest / static_cast<float>(more);
        left -= chance;
    }
    return static_cast<float>(k);
}

void NoiseSource::ReadRow(float const * electrons, unsigned int count, unsigned int row, std::uint64_t seed,
                          Readout const & readout, std::uint16_t * pixels)
{
    auto const full_well = static_cast<float>(readout.full_well);
    _values.resize(count);
    if (readout.noisy) {
        std::uint64_t const key = Join(seed, row);
        auto const read_noise = static_cast<float>(readout.read_noise);
        DrawNormals(key, count);
        bool const all_large = AddNoise(electrons, _normals.data(), read_noise * read_noise, POISSON_LIMIT,
                                        full_well, count, _values.data());
        for (unsigned int i = 0; i < count && !all_large; ++i) {
            if (electrons[i] < POISSON_LIMIT) {
                _values[i] = DrawPoisson(electrons[i], key + i) + read_noise * _normals[i];
            }
        }
    } else {
        std::transform(electrons, electrons + count, _values.begin(),
                       [full_well](float value) { return std::min(value, full_well); });
    }
    Convert(_values.data(), static_cast<float>(1.0 / readout.electrons_per_unit),
            static_cast<float>(readout.offset + 0.5), static_cast<float>(readout.max_value), count, pixels);
}

} // namespace velm::sim
