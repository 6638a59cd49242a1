#include "vexaalgo/resample.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace vexa {

namespace {

// What one new position takes along an axis: consecutive old positions with weights that sum up to 1.
struct Taps {
    std::size_t first;
    std::vector<double> weights;
};

Taps AreaTaps(unsigned int index, unsigned int from, unsigned int to)
{
    // In units of 1/to of an old voxel, so that the borders are whole numbers.
    std::uint64_t const begin = std::uint64_t{index} * from;
    std::uint64_t const end = begin + from;
    Taps taps{static_cast<std::size_t>(begin / to), {}};
    for (std::uint64_t voxel = begin / to; voxel * to < end; ++voxel) {
        std::uint64_t const covered = std::min(end, (voxel + 1) * to) - std::max(begin, voxel * to);
        taps.weights.push_back(static_cast<double>(covered) / from);
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
            *out++ = static_cast<unsigned short>(sum + 0.5);
        }
    }
    return out;
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

    std::vector<Taps> const columns = MakeTaps(in.size.x, result.GetCount() > 0 ? new_size.x : 0);
    std::vector<Taps> const rows = MakeTaps(in.size.y, result.GetCount() > 0 ? new_size.y : 0);
    std::vector<Taps> const slices = MakeTaps(in.size.z, result.GetCount() > 0 ? new_size.z : 0);
    std::size_t const row_length = std::size_t{in.size.x} * Channels;
    std::size_t const plane_length = row_length * in.size.y;
    auto const * const source = reinterpret_cast<unsigned short const *>(in.GetFirstVoxelAddr());
    auto * target = reinterpret_cast<unsigned short *>(result.GetFirstVoxelAddr());
    std::vector<double> row(row_length);
    auto const combine_plane = [&](auto const * plane) {
        for (Taps const & line : rows) {
            CombineLines(plane, row_length, line, row);
            target = CombineColumns<Channels>(row, columns, target);
        }
    };
    std::vector<double> mixture;
    for (Taps const & slice : slices) {
        if (slice.weights.size() == 1) { // a slice as it is, such as that of a thumbnail's source
            combine_plane(source + slice.first * plane_length);
        } else {
            mixture.resize(plane_length);
            CombineLines(source, plane_length, slice, mixture);
            combine_plane(mixture.data());
        }
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
