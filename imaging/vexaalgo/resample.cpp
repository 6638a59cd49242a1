#include "vexaalgo/resample.h"

#include "vexacore/cpu.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace vexa {

namespace {

// What one new position covers along an axis that doesn't grow: consecutive old voxels, as parts of 1/to of a
// voxel, so that all are whole numbers. Together they are as many as the axis had voxels.
struct Cover {
    std::size_t first;
    std::size_t count;  // of voxels
    std::uint32_t head; // parts of the first voxel; those between are covered whole
    std::uint32_t tail; // parts of the last voxel; 0 when there is just one
};

Cover CoverOf(unsigned int index, unsigned int from, unsigned int to)
{
    std::uint64_t const begin = std::uint64_t{index} * from;
    std::uint64_t const end = begin + from;
    std::uint64_t const first = begin / to;
    std::uint64_t const last = (end - 1) / to;
    return {first, last - first + 1, static_cast<std::uint32_t>(std::min(end, (first + 1) * to) - begin),
            static_cast<std::uint32_t>(last > first ? end - last * to : 0)};
}

// What one new position takes along an axis: consecutive old positions with weights that sum up to 1.
struct Taps {
    std::size_t first;
    std::vector<double> weights;
};

Taps AreaTaps(unsigned int index, unsigned int from, unsigned int to)
{
    Cover const cover = CoverOf(index, from, to);
    Taps taps{cover.first, std::vector<double>(cover.count, static_cast<double>(to) / from)};
    taps.weights.front() = static_cast<double>(cover.head) / from;
    if (cover.count > 1) {
        taps.weights.back() = static_cast<double>(cover.tail) / from;
    }
    return taps;
}

Taps LinearTaps(unsigned int index, unsigned int from, unsigned int to)
{
    double const centre = (index + 0.5) * from / to - 0.5;
    double const inside = std::clamp(centre, 0.0, from - 1.0);
    auto const first = std::min(static_cast<std::size_t>(inside), std::size_t{from} - 1);
    double const beyond = inside - static_cast<double>(first);
    return beyond > 0.0 ? Taps{first, {1.0 - beyond, beyond}} : Taps{first, {1.0}};
}

std::vector<Taps> MakeTaps(unsigned int from, unsigned int to)
{
    std::vector<Taps> taps;
    taps.reserve(to);
    for (unsigned int i = 0; i < to; ++i) {
        taps.push_back(to < from ? AreaTaps(i, from, to) : LinearTaps(i, from, to));
    }
    return taps;
}

// out = the weighted sum of the lines that begin at source, stride values apart.
template <typename Value>
void CombineLines(Value const * source, std::size_t stride, Taps const & taps, std::vector<double> & out)
{
    Value const * line = source + taps.first * stride;
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = taps.weights[0] * line[i];
    }
    for (std::size_t tap = 1; tap < taps.weights.size(); ++tap) {
        line += stride;
        double const weight = taps.weights[tap];
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] += weight * line[i];
        }
    }
}

// One row of voxels of so many channels each, rounded to the nearest.
template <std::size_t Channels>
unsigned short * CombineColumns(std::vector<double> const & row, std::vector<Taps> const & columns,
                                unsigned short * out)
{
    for (Taps const & taps : columns) {
        for (std::size_t channel = 0; channel < Channels; ++channel) {
            double sum = 0.0;
            double const * value = row.data() + taps.first * Channels + channel;
            for (double const weight : taps.weights) {
                sum += weight * *value;
                value += Channels;
            }
            *out++ = static_cast<unsigned short>(std::lround(sum));
        }
    }
    return out;
}

// sums[i] = the covered parts of the lines, times their values; whole: the parts of a whole voxel.
VEXA_LOOP_BODY void SumLinesBody(unsigned short const * source, std::size_t stride, Cover const & cover,
                                 std::uint32_t whole, std::size_t length, std::uint32_t * __restrict sums)
{
    unsigned short const * const head = source + cover.first * stride;
    unsigned short const * const tail = head + (cover.count - 1) * stride;
    unsigned short const * line = head + stride;
    std::size_t between = cover.count > 2 ? cover.count - 2 : 0;
    std::fill_n(sums, length, 0U);
    for (; between >= 4; between -= 4, line += 4 * stride) { // the sums are fetched less often than by ones
        for (std::size_t i = 0; i < length; ++i) {
            std::uint32_t const upper = std::uint32_t{line[i]} + line[stride + i];
            std::uint32_t const lower = std::uint32_t{line[2 * stride + i]} + line[3 * stride + i];
            sums[i] += upper + lower;
        }
    }
    for (; between > 0; --between, line += stride) {
        for (std::size_t i = 0; i < length; ++i) {
            sums[i] += line[i];
        }
    }
    for (std::size_t i = 0; i < length; ++i) {
        sums[i] = sums[i] * whole + head[i] * cover.head + tail[i] * cover.tail;
    }
}

#if VEXA_HAS_AVX2
VEXA_AVX2 void SumLinesAvx2(unsigned short const * source, std::size_t stride, Cover const & cover,
                            std::uint32_t whole, std::size_t length, std::uint32_t * sums)
{
    SumLinesBody(source, stride, cover, whole, length, sums);
}
#endif

void SumLines(unsigned short const * source, std::size_t stride, Cover const & cover, std::uint32_t whole,
              std::size_t length, std::uint32_t * sums)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        SumLinesAvx2(source, stride, cover, whole, length, sums);
        return;
    }
#endif
    SumLinesBody(source, stride, cover, whole, length, sums);
}

// Shrinks one plane of voxels of so many channels each in whole numbers: several times as fast as weights,
// and without their rounding errors.
template <std::size_t Channels>
class PlaneShrinker {
  public:
    PlaneShrinker(Vector3d<unsigned int> const & from, Vector3d<unsigned int> const & to)
        : _from(from), _to(to), _sums(std::size_t{from.x} * Channels)
    {
        for (unsigned int x = 0; x < to.x; ++x) {
            _columns.push_back(CoverOf(x, from.x, to.x));
        }
    }

    // Whether no axis grows and all sums fit: those of a column, which are no more than 2^16 for each of its
    // voxels, into 32 bits.
    static bool IsFor(Vector3d<unsigned int> const & from, Vector3d<unsigned int> const & to)
    {
        constexpr unsigned int longest = 65536;
        return to.x <= from.x && to.y <= from.y && from.x <= longest && from.y <= longest;
    }

    // Returns the end of what was written.
    unsigned short * Shrink(unsigned short const * source, unsigned short * target)
    {
        for (unsigned int y = 0; y < _to.y; ++y) {
            SumLines(source, _sums.size(), CoverOf(y, _from.y, _to.y), _to.y, _sums.size(), _sums.data());
            target = SumColumns(target);
        }
        return target;
    }

  private:
    unsigned short * SumColumns(unsigned short * target) const
    {
        std::uint64_t const area = std::uint64_t{_from.x} * _from.y;
        for (Cover const & cover : _columns) {
            for (std::size_t channel = 0; channel < Channels; ++channel) {
                std::uint32_t const * const sums = _sums.data() + cover.first * Channels + channel;
                std::size_t const last = cover.count - 1;
                std::uint64_t between = 0;
                for (std::size_t i = 1; i < last; ++i) {
                    between += sums[i * Channels];
                }
                std::uint64_t const total = between * _to.x + std::uint64_t{sums[0]} * cover.head +
                                            std::uint64_t{sums[last * Channels]} * cover.tail;
                *target++ = static_cast<unsigned short>((2 * total + area) / (2 * area));
            }
        }
        return target;
    }

    Vector3d<unsigned int> _from;
    Vector3d<unsigned int> _to;
    std::vector<Cover> _columns;
    std::vector<std::uint32_t> _sums; // of one row of new voxels, a sum for each old column
};

// Resamples planes to a size that is not empty.
template <std::size_t Channels>
class PlaneResampler {
  public:
    PlaneResampler(Vector3d<unsigned int> const & from, Vector3d<unsigned int> const & to)
        : _columns(MakeTaps(from.x, to.x)), _rows(MakeTaps(from.y, to.y)),
          _row(std::size_t{from.x} * Channels)
    {
        if (PlaneShrinker<Channels>::IsFor(from, to)) {
            _shrinker = std::make_unique<PlaneShrinker<Channels>>(from, to);
        }
    }

    // A plane as it is, such as that of a thumbnail's source. Returns the end of what was written.
    unsigned short * Resample(unsigned short const * source, unsigned short * target)
    {
        return _shrinker ? _shrinker->Shrink(source, target) : Weigh(source, target);
    }

    // A plane that was mixed from several.
    unsigned short * Resample(double const * source, unsigned short * target)
    {
        return Weigh(source, target);
    }

  private:
    template <typename Value>
    unsigned short * Weigh(Value const * source, unsigned short * target)
    {
        for (Taps const & line : _rows) {
            CombineLines(source, _row.size(), line, _row);
            target = CombineColumns<Channels>(_row, _columns, target);
        }
        return target;
    }

    std::vector<Taps> _columns;
    std::vector<Taps> _rows;
    std::vector<double> _row;                           // at work
    std::unique_ptr<PlaneShrinker<Channels>> _shrinker; // where it is for them
};

template <std::size_t Channels>
void ResamplePlanes(unsigned short const * source, Vector3d<unsigned int> const & from,
                    unsigned short * target, Vector3d<unsigned int> const & to)
{
    PlaneResampler<Channels> resampler(from, to);
    std::size_t const plane_length = std::size_t{from.x} * Channels * from.y;
    std::vector<double> mixture;
    for (Taps const & slice : MakeTaps(from.z, to.z)) {
        if (slice.weights.size() == 1) {
            target = resampler.Resample(source + slice.first * plane_length, target);
        } else {
            mixture.resize(plane_length);
            CombineLines(source, plane_length, slice, mixture);
            target = resampler.Resample(mixture.data(), target);
        }
    }
}

template <std::size_t Channels, typename Voxel>
void ResampleChannels(Image3d<Voxel> const & in, Image3d<Voxel> & out,
                      Vector3d<unsigned int> const & new_size)
{
    static_assert(sizeof(Voxel) == Channels * sizeof(unsigned short), "a voxel is its channels, packed");
    Vector3d<float> res = in.resolution.GetRes();
    for (unsigned int i = 0; i < 3; ++i) {
        res[i] = in.size[i] > 0 ? res[i] * static_cast<float>(new_size[i]) / static_cast<float>(in.size[i])
                                : res[i];
    }
    Resolution const resolution = in.resolution.IsDefined() ? Resolution(res) : Resolution();
    Image3d<Voxel> result(&in.offset, &resolution);
    result.MakeRoom(new_size.x, new_size.y, new_size.z);
    if (result.GetCount() > 0 && in.GetCount() == 0) {
        throw InternalException("An empty image cannot be resampled");
    }
    if (result.GetCount() > 0) {
        ResamplePlanes<Channels>(reinterpret_cast<unsigned short const *>(in.GetFirstVoxelAddr()), in.size,
                                 reinterpret_cast<unsigned short *>(result.GetFirstVoxelAddr()), new_size);
    }
    out = std::move(result);
}

} // namespace

template <typename T>
void Resize(Image3d<T> const & in, Image3d<T> & out, Vector3d<unsigned int> const & new_size, SamplingMode)
{
    ResampleChannels<1>(in, out, new_size);
}

template <typename RGB>
void Resample(Image3d<RGB> const & in, Image3d<RGB> & out, Vector3d<unsigned int> const & new_size,
              SamplingMode)
{
    ResampleChannels<3>(in, out, new_size);
}

template VEXA_API void Resize(Image3d<unsigned short> const &, Image3d<unsigned short> &,
                              Vector3d<unsigned int> const &, SamplingMode);
template VEXA_API void Resample(Image3d<RGB_generic<unsigned short>> const &,
                                Image3d<RGB_generic<unsigned short>> &, Vector3d<unsigned int> const &,
                                SamplingMode);

} // namespace vexa
