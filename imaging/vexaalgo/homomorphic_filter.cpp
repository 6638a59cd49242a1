#include "vexaalgo/illumination.h"

#include "vexacore/cpu.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <vector>

// The header below asks for aligned memory of sizes that the C standard doesn't allow and the address
// sanitizer therefore refuses. It finds this function first.
namespace pocketfft::detail {

inline void * aligned_alloc(std::size_t alignment, std::size_t size)
{
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

} // namespace pocketfft::detail

#define POCKETFFT_NO_MULTITHREADING // the pool shares the work
#define POCKETFFT_CACHE_SIZE 4      // plans of as many lengths are kept
#include <pocketfft_hdronly.h>

namespace vexa {

namespace {

using Complex = std::complex<float>;

constexpr std::size_t grey_values = 65536;

// Rows, and columns of the spectrum, that one thread takes at a time.
constexpr std::size_t rows_per_part = 16;
constexpr std::size_t columns_per_part = 16;

// What is taken off the logarithms, which lie from 0 to 11.1, and given back in the end: smaller numbers come
// out of the transform with smaller errors.
constexpr float middle = 5.5F;

// log(1 + v) - middle of all grey values.
std::vector<float> MakeLogarithms()
{
    std::vector<float> logarithms(grey_values);
    for (std::size_t v = 0; v < grey_values; ++v) {
        logarithms[v] = static_cast<float>(std::log1p(static_cast<double>(v)) - double{middle});
    }
    return logarithms;
}

// out[i] = exp(logarithms[i] + base) - 1, rounded, from 0 to 65535; 0 for what is not a number.
VEXA_LOOP_BODY void RaiseRowBody(float const * logarithms, float base, std::size_t count,
                                 unsigned short * out)
{
    constexpr float highest = 11.0904F; // exp(highest) - 1 is more than 65535
    constexpr float per_ln2 = 1.44269504F;
    constexpr float ln2_high = 0.693359375F; // its products with small integers are exact
    constexpr float ln2_low = -2.12194440e-4F;
    for (std::size_t i = 0; i < count; ++i) {
        float const sum = logarithms[i] + base;
        float const low = sum > 0.0F ? sum : 0.0F;
        float const x = low < highest ? low : highest;
        float const raised = x * per_ln2 + 0.5F;
        auto const power = static_cast<std::int32_t>(raised);
        auto const n = static_cast<float>(power);
        float const r = (x - n * ln2_high) - n * ln2_low;
        // Taylor's series, good to one unit in the last place for |r| up to ln(2) / 2.
        float series = 1.0F / 720.0F;
        series = series * r + 1.0F / 120.0F;
        series = series * r + 1.0F / 24.0F;
        series = series * r + 1.0F / 6.0F;
        series = series * r + 0.5F;
        series = series * r + 1.0F;
        series = series * r + 1.0F;
        float const value = series * static_cast<float>(1 << power) - 0.5F;
        out[i] = static_cast<unsigned short>(static_cast<std::int32_t>(value < 65535.0F ? value : 65535.0F));
    }
}

// values[i] times low + (high - low) (1 - decay decays[i]).
VEXA_LOOP_BODY void EmphasiseBody(float const * decays, float decay, float low, float high, std::size_t count,
                                  float * __restrict values)
{
    for (std::size_t i = 0; i < count; ++i) {
        float const kept = decay * decays[i];
        float const emphasis = low * kept + high * (1.0F - kept);
        values[2 * i] *= emphasis;
        values[2 * i + 1] *= emphasis;
    }
}

#if VEXA_HAS_AVX2
VEXA_AVX2 void RaiseRowAvx2(float const * logarithms, float base, std::size_t count, unsigned short * out)
{
    RaiseRowBody(logarithms, base, count, out);
}

VEXA_AVX2 void EmphasiseAvx2(float const * decays, float decay, float low, float high, std::size_t count,
                             float * values)
{
    EmphasiseBody(decays, decay, low, high, count, values);
}
#endif

void RaiseRow(float const * logarithms, float base, std::size_t count, unsigned short * out)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        RaiseRowAvx2(logarithms, base, count, out);
        return;
    }
#endif
    RaiseRowBody(logarithms, base, count, out);
}

void Emphasise(float const * decays, float decay, float low, float high, std::size_t count, Complex * values)
{
    auto * const parts = reinterpret_cast<float *>(values);
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        EmphasiseAvx2(decays, decay, low, high, count, parts);
        return;
    }
#endif
    EmphasiseBody(decays, decay, low, high, count, parts);
}

// Calls work(first, count) for parts of all numbers below total, on several threads.
template <typename Work>
void ForParts(std::size_t total, std::size_t most, Work work)
{
    ParallelFor((total + most - 1) / most,
                [&](std::size_t part) { work(part * most, std::min(most, total - part * most)); });
}

class HomomorphicFilter {
  public:
    HomomorphicFilter(std::size_t width, std::size_t height, HomomorphicFilterParams const & params)
        : _width(width), _height(height), _columns(width / 2 + 1), _low(static_cast<float>(params.gamma_low)),
          _high(static_cast<float>(params.gamma_high)), _spectrum(_columns * height)
    {
        // exp(-c (u² + v²) / d0²) is a product of a factor for u and one for v.
        auto const decay = [&](std::size_t frequency) {
            double const share = static_cast<double>(frequency) / params.d0;
            return static_cast<float>(params.c > 0.0 ? std::exp(-params.c * (share * share)) : 1.0);
        };
        for (std::size_t u = 0; u < _columns; ++u) {
            _decays_x.push_back(decay(u));
        }
        for (std::size_t v = 0; v < height; ++v) {
            _decays_y.push_back(decay(std::min(v, height - v)));
        }
    }

    // in and out may be one.
    void Filter(unsigned short const * in, unsigned short * out)
    {
        ForParts(_height, rows_per_part, [&](std::size_t first, std::size_t count) {
            TransformRows(in + first * _width, first, count);
        });
        ForParts(_columns, columns_per_part, [&](std::size_t first, std::size_t) { FilterColumns(first); });
        ForParts(_height, rows_per_part, [&](std::size_t first, std::size_t count) {
            RestoreRows(first, count, out + first * _width);
        });
    }

  private:
    void TransformRows(unsigned short const * in, std::size_t first, std::size_t count)
    {
        static std::vector<float> const logarithms = MakeLogarithms();
        std::vector<float> rows(count * _width);
        std::vector<Complex> frequencies(count * _columns);
        std::transform(in, in + rows.size(), rows.begin(), [](unsigned short v) { return logarithms[v]; });
        pocketfft::r2c({count, _width}, Strides(_width * sizeof(float), sizeof(float)),
                       Strides(_columns * sizeof(Complex), sizeof(Complex)), 1, pocketfft::FORWARD,
                       rows.data(), frequencies.data(), 1.0F);
        for (std::size_t column = 0; column < _columns; column += columns_per_part) {
            Strip const strip = StripAt(column);
            for (std::size_t row = 0; row < count; ++row) {
                std::copy_n(frequencies.data() + row * _columns + column, strip.width,
                            strip.values + (first + row) * strip.width);
            }
        }
    }

    // There and back in one go: the strip stays in the cache.
    void FilterColumns(std::size_t first)
    {
        Strip const strip = StripAt(first);
        pocketfft::shape_t const shape{_height, strip.width};
        pocketfft::stride_t const strides = Strides(strip.width * sizeof(Complex), sizeof(Complex));
        pocketfft::c2c(shape, strides, strides, {0}, pocketfft::FORWARD, strip.values, strip.values, 1.0F);
        for (std::size_t v = 0; v < _height; ++v) {
            Emphasise(_decays_x.data() + first, _decays_y[v], _low, _high, strip.width,
                      strip.values + v * strip.width);
        }
        pocketfft::c2c(shape, strides, strides, {0}, pocketfft::BACKWARD, strip.values, strip.values, 1.0F);
    }

    void RestoreRows(std::size_t first, std::size_t count, unsigned short * out)
    {
        std::vector<float> rows(count * _width);
        std::vector<Complex> frequencies(count * _columns);
        for (std::size_t column = 0; column < _columns; column += columns_per_part) {
            Strip const strip = StripAt(column);
            for (std::size_t row = 0; row < count; ++row) {
                std::copy_n(strip.values + (first + row) * strip.width, strip.width,
                            frequencies.data() + row * _columns + column);
            }
        }
        auto const share =
            static_cast<float>(1.0 / (static_cast<double>(_width) * static_cast<double>(_height)));
        pocketfft::c2r({count, _width}, Strides(_columns * sizeof(Complex), sizeof(Complex)),
                       Strides(_width * sizeof(float), sizeof(float)), 1, pocketfft::BACKWARD,
                       frequencies.data(), rows.data(), share);
        RaiseRow(rows.data(), _low * middle, rows.size(), out);
    }

    // Neighbouring columns of the spectrum.
    struct Strip {
        Complex * values;
        std::size_t width;
    };

    Strip StripAt(std::size_t column)
    {
        return {_spectrum.data() + column * _height, std::min(columns_per_part, _columns - column)};
    }

    // In bytes: from row to row, from value to value.
    static pocketfft::stride_t Strides(std::size_t row, std::size_t value)
    {
        return {static_cast<std::ptrdiff_t>(row), static_cast<std::ptrdiff_t>(value)};
    }

    std::size_t _width;
    std::size_t _height;
    std::size_t _columns; // of the spectrum: the others mirror these
    float _low;
    float _high;
    std::vector<float> _decays_x;
    std::vector<float> _decays_y;
    std::vector<Complex>
        _spectrum; // strip after strip, each by rows: so transforms along y stay in few pages
};

void RefuseUnusable(HomomorphicFilterParams const & params)
{
    bool const finite = std::isfinite(params.gamma_low) && std::isfinite(params.gamma_high) &&
                        std::isfinite(params.c) && std::isfinite(params.d0);
    if (!finite || params.c < 0.0 || params.d0 == 0.0) {
        throw InternalException("The homomorphic filter's parameters make no sense");
    }
}

} // namespace

template <typename T>
void homFilter(Image3d<T> const & in, Image3d<T> & out, HomomorphicFilterParams const & params)
{
    RefuseUnusable(params);
    HomomorphicFilter filter(in.size.x, in.size.y, params);
    out.MakeRoom(in.size.x, in.size.y, in.size.z);
    out.offset = in.offset;
    out.resolution = in.resolution;
    for (unsigned int z = 0; z < in.size.z && in.GetCount() > 0; ++z) {
        filter.Filter(in.GetVoxelAddr(0, 0, z), out.GetVoxelAddr(0, 0, z));
    }
}

template VEXA_API void homFilter(Image3d<unsigned short> const &, Image3d<unsigned short> &,
                                 HomomorphicFilterParams const &);

} // namespace vexa
