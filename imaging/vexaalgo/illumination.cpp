#include "vexaalgo/illumination.h"

#include "vexaalgo/spline_surface.h"
#include "vexacore/cpu.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <optional>

namespace vexa {

namespace {

// Rows that one thread takes at a time.
constexpr std::size_t rows_per_part = 16;

// The first fit is off by percents where the light falls off steeply; with each further one the error falls
// to a fraction.
constexpr int fits = 5;

// A cell is the mean of up to this many pixels along an axis, where blocks have enough of them: a percentile
// of single pixels would lie below the background by its noise, and further so where there is less light.
constexpr std::size_t largest_cell = 8;
constexpr std::size_t cells_per_block = 8;

// Below this part of its mean a background is none.
constexpr double darkest = 1e-6;

// sums[i] += values[i].
VEXA_LOOP_BODY void AddRowBody(unsigned short const * values, std::size_t count,
                               std::uint32_t * __restrict sums)
{
    for (std::size_t i = 0; i < count; ++i) {
        sums[i] += values[i];
    }
}

// out[i] = values[i] times gains[i], rounded and saturated. Both may be one.
VEXA_LOOP_BODY void ScaleRowBody(unsigned short const * values, float const * gains, std::size_t count,
                                 unsigned short * out)
{
    for (std::size_t i = 0; i < count; ++i) {
        float const scaled = static_cast<float>(values[i]) * gains[i] + 0.5F;
        out[i] =
            static_cast<unsigned short>(static_cast<std::int32_t>(scaled < 65535.0F ? scaled : 65535.0F));
    }
}

#if VEXA_HAS_AVX2
VEXA_AVX2 void AddRowAvx2(unsigned short const * values, std::size_t count, std::uint32_t * sums)
{
    AddRowBody(values, count, sums);
}

VEXA_AVX2 void ScaleRowAvx2(unsigned short const * values, float const * gains, std::size_t count,
                            unsigned short * out)
{
    ScaleRowBody(values, gains, count, out);
}
#endif

void AddRow(unsigned short const * values, std::size_t count, std::uint32_t * sums)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        AddRowAvx2(values, count, sums);
        return;
    }
#endif
    AddRowBody(values, count, sums);
}

void ScaleRow(unsigned short const * values, float const * gains, std::size_t count, unsigned short * out)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        ScaleRowAvx2(values, gains, count, out);
        return;
    }
#endif
    ScaleRowBody(values, gains, count, out);
}

// Calls work(row) for all rows below count, on several threads.
template <typename Work>
void ForEachRow(std::size_t count, Work work)
{
    ParallelFor((count + rows_per_part - 1) / rows_per_part, [&](std::size_t part) {
        std::size_t const last = std::min(count, (part + 1) * rows_per_part);
        for (std::size_t row = part * rows_per_part; row < last; ++row) {
            work(row);
        }
    });
}

// Along an axis; enough to determine the spline where its knots lie on one another, too.
template <typename Number>
Number CountBlocks(Number patches, Number degree)
{
    return 2 * patches + degree + 1;
}

// One axis of the picture: pixels, in cells of so many. For the centre of each of some even blocks a sample
// is taken, from a window of two and a quarter blocks. At the ends the window is moved inwards rather than
// cut off, since one nucleus could fill what is left of it in a corner; that its middle isn't the block's
// matters no more once the image is almost even.
struct GridAxis {
    std::size_t size = 0;
    std::size_t cell = 1;
    std::size_t blocks = 1;

    std::size_t GetCells() const { return (size + cell - 1) / cell; }
    std::size_t GetCellBegin(std::size_t number) const { return std::min(number * cell, size); }

    // Of the window, in cells.
    std::size_t GetWindowSize() const { return std::max(9 * GetCells() / (4 * blocks), std::size_t{1}); }
    std::size_t GetWindowBegin(std::size_t block) const
    {
        std::size_t const centre = (2 * block + 1) * GetCells() / (2 * blocks);
        std::size_t const half = GetWindowSize() / 2;
        return std::min(std::max(centre, half) - half, GetCells() - GetWindowSize());
    }
    std::size_t GetWindowEnd(std::size_t block) const { return GetWindowBegin(block) + GetWindowSize(); }

    double GetCellCentre(std::size_t number) const
    {
        return 0.5 * static_cast<double>(GetCellBegin(number) + GetCellBegin(number + 1));
    }

    double GetBlockCentre(std::size_t block) const
    {
        return (static_cast<double>(block) + 0.5) * static_cast<double>(size) / static_cast<double>(blocks);
    }
};

// What the function gives for the numbers below count.
template <typename Function>
std::vector<double> Positions(std::size_t count, Function function)
{
    std::vector<double> positions(count);
    for (std::size_t i = 0; i < count; ++i) {
        positions[i] = function(i);
    }
    return positions;
}

std::vector<double> PixelCentres(unsigned int size)
{
    return Positions(size, [](std::size_t i) { return static_cast<double>(i) + 0.5; });
}

// Finds the background of a stack.
class BackgroundFit {
  public:
    using Image = Image3d<unsigned short>;

    // The image has at least as many pixels as blocks, and so many patches lie between its edges.
    BackgroundFit(Image const & image, SplineSurface surface, int percentile)
        : _image(&image), _percentile(static_cast<std::size_t>(percentile)), _surface(std::move(surface))
    {
        std::size_t const blocks_x = CountBlocks(_surface.GetX().GetPatches(), _surface.GetX().GetDegree());
        std::size_t const blocks_y = CountBlocks(_surface.GetY().GetPatches(), _surface.GetY().GetDegree());
        std::size_t const shortest = std::min(image.size.x / blocks_x, image.size.y / blocks_y);
        std::size_t const cell = std::clamp(shortest / cells_per_block, std::size_t{1}, largest_cell);
        _x = {image.size.x, cell, blocks_x};
        _y = {image.size.y, cell, blocks_y};
        TakeMeans();
    }

    bool IsBlack() const
    {
        return std::all_of(_means.begin(), _means.end(), [](float mean) { return mean == 0.0F; });
    }

    // Nothing when the image has no background that could be divided by.
    std::optional<SplineSurface> Fit()
    {
        std::vector<double> const xs =
            Positions(_x.blocks, [&](std::size_t i) { return _x.GetBlockCentre(i); });
        std::vector<double> const ys =
            Positions(_y.blocks, [&](std::size_t i) { return _y.GetBlockCentre(i); });
        _surface.SetCoefficients(std::vector<double>(_surface.GetCoefficients().size(), 1.0));
        for (int fit = 0; fit < fits; ++fit) {
            if (!TakeSamples(xs, ys) || !_surface.Fit(xs, ys, _samples)) {
                return std::nullopt;
            }
        }
        return std::move(_surface);
    }

  private:
    // The mean over each cell in all slices.
    void TakeMeans()
    {
        _means.resize(_x.GetCells() * _y.GetCells());
        ForEachRow(_y.GetCells(), [&](std::size_t row) {
            std::vector<std::uint32_t> sums(_image->size.x);
            std::vector<double> totals(_x.GetCells());
            std::size_t const height = _y.GetCellBegin(row + 1) - _y.GetCellBegin(row);
            for (unsigned int z = 0; z < _image->size.z; ++z) {
                for (std::size_t y = _y.GetCellBegin(row); y < _y.GetCellBegin(row + 1); ++y) {
                    AddRow(_image->GetVoxelAddr(0, static_cast<unsigned int>(y), z), sums.size(),
                           sums.data());
                }
                if (z + 1 == _image->size.z || z % slices_per_sum == slices_per_sum - 1) {
                    MoveSums(sums, totals);
                }
            }
            for (std::size_t i = 0; i < totals.size(); ++i) {
                std::size_t const width = _x.GetCellBegin(i + 1) - _x.GetCellBegin(i);
                auto const count = static_cast<double>(width * height * _image->size.z);
                _means[row * totals.size() + i] = static_cast<float>(totals[i] / count);
            }
        });
    }

    // Sums up those of each cell and starts again from 0.
    void MoveSums(std::vector<std::uint32_t> & sums, std::vector<double> & totals) const
    {
        for (std::size_t i = 0; i < totals.size(); ++i) {
            auto const begin = sums.begin() + static_cast<std::ptrdiff_t>(_x.GetCellBegin(i));
            auto const end = sums.begin() + static_cast<std::ptrdiff_t>(_x.GetCellBegin(i + 1));
            totals[i] += static_cast<double>(std::accumulate(begin, end, std::uint64_t{0}));
        }
        std::fill(sums.begin(), sums.end(), 0U);
    }

    // Takes the percentile of each block, relative to the present surface. False when that isn't above 0.
    bool TakeSamples(std::vector<double> const & xs, std::vector<double> const & ys)
    {
        SplineRows const rows(_surface.GetX(),
                              Positions(_x.GetCells(), [&](std::size_t i) { return _x.GetCellCentre(i); }));
        std::vector<char> usable(_y.blocks, 1);
        _samples.resize(_x.blocks * _y.blocks);
        ParallelFor(_y.blocks, [&](std::size_t block) {
            std::vector<std::vector<float>> shares(_x.blocks);
            for (std::size_t row = _y.GetWindowBegin(block); row < _y.GetWindowEnd(block); ++row) {
                if (!AddShares(rows, row, shares)) {
                    usable[block] = 0;
                    return;
                }
            }
            for (std::size_t i = 0; i < _x.blocks; ++i) {
                _samples[block * _x.blocks + i] = PercentileOf(shares[i]) * _surface.At(xs[i], ys[block]);
            }
        });
        return std::all_of(usable.begin(), usable.end(), [](char yes) { return yes != 0; });
    }

    // Adds to those of each block in x what the cells of the row are of the present surface.
    bool AddShares(SplineRows const & rows, std::size_t row, std::vector<std::vector<float>> & shares) const
    {
        std::vector<float> surface(_x.GetCells());
        rows.Evaluate(_surface, _y.GetCellCentre(row), surface.data());
        float const * const means = _means.data() + row * surface.size();
        for (std::size_t block = 0; block < _x.blocks; ++block) {
            for (std::size_t i = _x.GetWindowBegin(block); i < _x.GetWindowEnd(block); ++i) {
                if (!(surface[i] > 0.0F)) {
                    return false;
                }
                shares[block].push_back(means[i] / surface[i]);
            }
        }
        return true;
    }

    double PercentileOf(std::vector<float> & values) const
    {
        std::size_t const at = _percentile * (values.size() - 1) / 100;
        auto const value = values.begin() + static_cast<std::ptrdiff_t>(at);
        std::nth_element(values.begin(), value, values.end());
        return double{*value};
    }

    // A column of the largest cell sums up to less than 2^32 in so many slices.
    static constexpr unsigned int slices_per_sum = 65536 / largest_cell;

    Image const * _image;
    std::size_t _percentile;
    SplineSurface _surface;
    GridAxis _x;
    GridAxis _y;
    std::vector<float> _means;    // of the cells
    std::vector<double> _samples; // of the blocks
};

// Whether the surface is bright enough to be divided by in every pixel.
bool IsBrightEnough(SplineSurface const & surface, SplineRows const & rows,
                    Vector3d<unsigned int> const & size, double mean)
{
    double const least = mean * darkest;
    std::vector<double> const & coefficients = surface.GetCoefficients();
    if (std::all_of(coefficients.begin(), coefficients.end(), [&](double c) { return c > least; })) {
        return true; // no spline leaves the range of its coefficients
    }
    std::vector<char> bright(size.y, 0);
    ForEachRow(size.y, [&](std::size_t y) {
        std::vector<float> row(size.x);
        rows.Evaluate(surface, static_cast<double>(y) + 0.5, row.data());
        bright[y] = static_cast<char>(
            std::all_of(row.begin(), row.end(), [&](float v) { return double{v} > least; }));
    });
    return std::all_of(bright.begin(), bright.end(), [](char yes) { return yes != 0; });
}

template <typename T>
void DivideBy(SplineSurface const & surface, SplineRows const & rows, double mean, Image3d<T> const & in,
              Image3d<T> & out)
{
    ForEachRow(in.size.y, [&](std::size_t y) {
        std::vector<float> gains(in.size.x);
        rows.Evaluate(surface, static_cast<double>(y) + 0.5, gains.data());
        for (float & gain : gains) {
            gain = static_cast<float>(mean) / gain;
        }
        for (unsigned int z = 0; z < in.size.z; ++z) {
            auto const row = static_cast<unsigned int>(y);
            ScaleRow(in.GetVoxelAddr(0, row, z), gains.data(), gains.size(), out.GetVoxelAddr(0, row, z));
        }
    });
}

// Whether the arguments are in range and blocks of them fit into that size.
bool IsPossible(Vector3d<unsigned int> const & size, int percentile, int patches_x, int patches_y, int degree)
{
    if (percentile < 0 || percentile > 100 || patches_x < 1 || patches_y < 1 || degree < 0 ||
        degree > static_cast<int>(SplineAxis::highest_degree) || size.z == 0) {
        return false;
    }
    return size.x >= CountBlocks<std::int64_t>(patches_x, degree) &&
           size.y >= CountBlocks<std::int64_t>(patches_y, degree);
}

} // namespace

template <typename T>
bool correctIlluminationBsplineAprox(Image3d<T> const & in, Image3d<T> & out, int percentile, int patches_x,
                                     int patches_y, int degree)
{
    if (!IsPossible(in.size, percentile, patches_x, patches_y, degree)) {
        return false;
    }
    auto const axis = [&](unsigned int size, int patches) {
        return SplineAxis(size, static_cast<unsigned int>(patches), static_cast<unsigned int>(degree));
    };
    SplineSurface const surface(axis(in.size.x, patches_x), axis(in.size.y, patches_y));
    BackgroundFit fit(in, surface, percentile);
    if (fit.IsBlack()) {
        out = in;
        return true;
    }
    std::optional<SplineSurface> const background = fit.Fit();
    if (!background) {
        return false;
    }
    std::vector<double> const xs = PixelCentres(in.size.x);
    SplineRows const rows(background->GetX(), xs);
    double const mean = background->GetMean(xs, PixelCentres(in.size.y));
    if (!(mean > 0.0) || !IsBrightEnough(*background, rows, in.size, mean)) {
        return false;
    }
    out.MakeRoom(in.size.x, in.size.y, in.size.z);
    out.offset = in.offset;
    out.resolution = in.resolution;
    DivideBy(*background, rows, mean, in, out);
    return true;
}

template VEXA_API bool correctIlluminationBsplineAprox(Image3d<unsigned short> const &,
                                                       Image3d<unsigned short> &, int, int, int, int);

} // namespace vexa
