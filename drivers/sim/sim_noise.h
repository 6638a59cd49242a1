#ifndef SIM_NOISE_H
#define SIM_NOISE_H

#include <cstdint>
#include <vector>

namespace velm::sim {

// How a sensor turns electrons into numbers.
struct Readout {
    double electrons_per_unit = 4.4; // of the converter, at the gain in force
    double offset = 100.0;           // what no electrons read as
    double read_noise = 6.0;         // electrons, standard deviation
    double full_well = 18000.0;      // electrons that a pixel of the frame can hold
    unsigned int max_value = 4095;   // of the converter
    bool noisy = true;               // without, the expected value is rounded
};

// Reads frames out with shot noise and read noise. The noise of a pixel is a function of the seed, the row
// and the column alone, so that it doesn't matter in which order rows are read.
//
// Fewer than 16 electrons follow the Poisson distribution itself, more the normal distribution of the same
// mean and variance.
class NoiseSource {
  public:
    NoiseSource();

    // Reads one row. electrons: the expected number of each pixel, not negative.
    void ReadRow(float const * electrons, unsigned int count, unsigned int row, std::uint64_t seed,
                 Readout const & readout, std::uint16_t * pixels);

  private:
    void DrawNormals(std::uint64_t key, unsigned int count);
    float DrawPoisson(float mean, std::uint64_t key) const;

    static constexpr unsigned int NORMAL_BITS = 11;
    static constexpr unsigned int POISSON_BINS = 128; // tables for 0, 1/8, 2/8, ... electrons
    static constexpr float POISSON_LIMIT = 16.0f;
    static constexpr unsigned int POISSON_LENGTH = 64;

    std::vector<float> _quantiles;         // of the normal distribution, each divided by the root of 2
    std::vector<std::uint32_t> _cumulated; // POISSON_LENGTH chances of each bin, times 2^32
    std::vector<std::uint8_t> _guides;     // where to start looking in them, by the top 8 bits
    std::vector<std::uint32_t> _hashes;    // of the row at work
    std::vector<float> _normals;
    std::vector<float> _values;
};

} // namespace velm::sim

#endif
