#include "vexaalgo/chromatic.h"

#include "vexaalgo/source_map.h"
#include "vexacore/cpu.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#if VEXA_HAS_AVX2
#include <immintrin.h>
#endif

namespace vexa {

namespace {

// Rows that one thread takes at a time.
constexpr unsigned int rows_per_part = 16;

// Where voxels come from along one axis: between the voxels lower and lower + 1, so far beyond the lower one,
// from 0 to 1. An axis of one voxel has no upper one, and nothing lies beyond.
struct AxisSources {
    std::vector<std::int32_t> lower;
    std::vector<float> beyond;

    explicit AxisSources(std::size_t length) : lower(length), beyond(length) {}
};

// The sources of a stretch of a row; the vectors begin where it begins. What one thread needs.
struct RowSources {
    Stretch stretch;
    AxisSources x;
    AxisSources y;
    AxisSources z;
    std::vector<float> inside; // in z: 1, or 0 where there is no source

    explicit RowSources(std::size_t length) : x(length), y(length), z(length), inside(length) {}
};

VEXA_LOOP_BODY void LocateBody(SourceMap::Row const & row, double start, Stretch const & stretch,
                               unsigned int size, std::int32_t * __restrict lower, float * __restrict beyond)
{
    double const highest = size - 1.0;
    auto const last_pair = static_cast<std::int32_t>(std::max(size, 2U) - 2);
    auto const first = static_cast<double>(stretch.first);
    auto const count = static_cast<std::int32_t>(stretch.GetLength());
    for (std::int32_t i = 0; i < count; ++i) {
        double const position = start + row.At(first + i);
        double const low = position > 0.0 ? position : 0.0;
        double const within = low < highest ? low : highest;
        auto const whole = static_cast<std::int32_t>(within);
        std::int32_t const below = whole < last_pair ? whole : last_pair;
        lower[i] = below;
        beyond[i] = static_cast<float>(within - below);
    }
}

VEXA_LOOP_BODY void MarkInsideBody(SourceMap::Row const & row, double start, Stretch const & stretch,
                                   unsigned int size, float * __restrict inside)
{
    auto const first = static_cast<double>(stretch.first);
    auto const count = static_cast<std::int32_t>(stretch.GetLength());
    for (std::int32_t i = 0; i < count; ++i) {
        inside[i] = SourceMap::IsInside(start + row.At(first + i), size) ? 1.0F : 0.0F;
    }
}

#if VEXA_HAS_AVX2
VEXA_AVX2 void LocateAvx2(SourceMap::Row const & row, double start, Stretch const & stretch,
                          unsigned int size, std::int32_t * lower, float * beyond)
{
    LocateBody(row, start, stretch, size, lower, beyond);
}

VEXA_AVX2 void MarkInsideAvx2(SourceMap::Row const & row, double start, Stretch const & stretch,
                              unsigned int size, float * inside)
{
    MarkInsideBody(row, start, stretch, size, inside);
}
#endif

// The sources at start + row.At(i), for the i of the stretch, on an axis of that size.
void Locate(SourceMap::Row const & row, double start, Stretch const & stretch, unsigned int size,
            AxisSources & axis)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        LocateAvx2(row, start, stretch, size, axis.lower.data(), axis.beyond.data());
        return;
    }
#endif
    LocateBody(row, start, stretch, size, axis.lower.data(), axis.beyond.data());
}

void MarkInside(SourceMap::Row const & row, double start, Stretch const & stretch, unsigned int size,
                std::vector<float> & inside)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        MarkInsideAvx2(row, start, stretch, size, inside.data());
        return;
    }
#endif
    MarkInsideBody(row, start, stretch, size, inside.data());
}

// Voxels to blend, and how far it is to the next one of each axis; 0 where there is no next one.
struct Source {
    unsigned short const * voxels;
    std::size_t width;
    std::size_t plane;
    std::size_t step_x;
    std::size_t step_y;
    std::size_t step_z;
};

// Every form of the arithmetic below has to be the same as these two, operation by operation.
float Between(float a, float b, float share)
{
    return a + share * (b - a);
}

unsigned short Rounded(float value)
{
    float const raised = value + 0.5F;
    return static_cast<unsigned short>(raised);
}

// In x and y, of the slice in which the voxels begin.
float BlendPlane(unsigned short const * slice, Source const & source, RowSources const & at, std::size_t i)
{
    auto const x = static_cast<std::size_t>(at.x.lower[i]);
    auto const y = static_cast<std::size_t>(at.y.lower[i]);
    unsigned short const * const upper = slice + y * source.width + x;
    unsigned short const * const lower = upper + source.step_y;
    return Between(Between(upper[0], upper[source.step_x], at.x.beyond[i]),
                   Between(lower[0], lower[source.step_x], at.x.beyond[i]), at.y.beyond[i]);
}

// Blends the voxels begin to end of the stretch, in x and y alone and in all three axes.
void BlendFlat(Source const & source, RowSources const & at, std::size_t begin, std::size_t end,
               unsigned short * out)
{
    for (std::size_t i = begin; i < end; ++i) {
        out[i] = Rounded(BlendPlane(source.voxels, source, at, i));
    }
}

void BlendDeep(Source const & source, RowSources const & at, std::size_t begin, std::size_t end,
               unsigned short * out)
{
    for (std::size_t i = begin; i < end; ++i) {
        unsigned short const * const slice =
            source.voxels + static_cast<std::size_t>(at.z.lower[i]) * source.plane;
        float const blend = Between(BlendPlane(slice, source, at, i),
                                    BlendPlane(slice + source.step_z, source, at, i), at.z.beyond[i]);
        out[i] = Rounded(blend * at.inside[i]);
    }
}

#if VEXA_HAS_AVX2

constexpr std::size_t lanes = 8;

VEXA_AVX2 inline __m256 BetweenAvx2(__m256 a, __m256 b, __m256 share)
{
    return _mm256_add_ps(a, _mm256_mul_ps(share, _mm256_sub_ps(b, a)));
}

// Between each of the voxels and the one behind it.
VEXA_AVX2 inline __m256 BlendPairsAvx2(unsigned short const * voxels, __m256i index, __m256 share)
{
    __m256i const pairs = _mm256_i32gather_epi32(reinterpret_cast<int const *>(voxels), index, 2);
    __m256 const left = _mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFFFF)));
    __m256 const right = _mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 16));
    return BetweenAvx2(left, right, share);
}

VEXA_AVX2 inline __m256i LoadIndices(std::vector<std::int32_t> const & values, std::size_t i)
{
    return _mm256_loadu_si256(reinterpret_cast<__m256i const *>(values.data() + i));
}

VEXA_AVX2 inline __m256i PlaneIndices(Source const & source, RowSources const & at, std::size_t i)
{
    __m256i const rows =
        _mm256_mullo_epi32(LoadIndices(at.y.lower, i), _mm256_set1_epi32(static_cast<int>(source.width)));
    return _mm256_add_epi32(rows, LoadIndices(at.x.lower, i));
}

VEXA_AVX2 inline __m256 BlendPlaneAvx2(unsigned short const * slice, __m256i index, Source const & source,
                                       RowSources const & at, std::size_t i)
{
    __m256 const share = _mm256_loadu_ps(at.x.beyond.data() + i);
    __m256 const upper = BlendPairsAvx2(slice, index, share);
    __m256 const lower = BlendPairsAvx2(slice + source.step_y, index, share);
    return BetweenAvx2(upper, lower, _mm256_loadu_ps(at.y.beyond.data() + i));
}

VEXA_AVX2 inline void StoreRoundedAvx2(__m256 values, unsigned short * out)
{
    __m256i const whole = _mm256_cvttps_epi32(_mm256_add_ps(values, _mm256_set1_ps(0.5F)));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out),
                     _mm_packus_epi32(_mm256_castsi256_si128(whole), _mm256_extracti128_si256(whole, 1)));
}

// These return how many voxels they did.
VEXA_AVX2 std::size_t BlendFlatAvx2(Source const & source, RowSources const & at, std::size_t count,
                                    unsigned short * out)
{
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        __m256i const index = PlaneIndices(source, at, i);
        StoreRoundedAvx2(BlendPlaneAvx2(source.voxels, index, source, at, i), out + i);
    }
    return i;
}

VEXA_AVX2 std::size_t BlendDeepAvx2(Source const & source, RowSources const & at, std::size_t count,
                                    std::int32_t first_slice, unsigned short * out)
{
    unsigned short const * const slice = source.voxels + static_cast<std::size_t>(first_slice) * source.plane;
    __m256i const plane = _mm256_set1_epi32(static_cast<int>(source.plane));
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        __m256i const z = _mm256_sub_epi32(LoadIndices(at.z.lower, i), _mm256_set1_epi32(first_slice));
        __m256i const index = _mm256_add_epi32(_mm256_mullo_epi32(z, plane), PlaneIndices(source, at, i));
        __m256 const blend = BetweenAvx2(BlendPlaneAvx2(slice, index, source, at, i),
                                         BlendPlaneAvx2(slice + source.step_z, index, source, at, i),
                                         _mm256_loadu_ps(at.z.beyond.data() + i));
        StoreRoundedAvx2(_mm256_mul_ps(blend, _mm256_loadu_ps(at.inside.data() + i)), out + i);
    }
    return i;
}

// Whether voxels of so many slices can be numbered in 32 bits, and pairs of them be fetched at once.
bool SuitsAvx2(Source const & source, std::size_t slices)
{
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    return GetInstructionSet() == InstructionSet::Avx2 && source.step_x != 0 && source.plane <= most / slices;
}

#endif

// Blend all voxels of a row's stretch.
void BlendFlat(Source const & source, RowSources const & at, unsigned short * out)
{
    std::size_t const count = at.stretch.GetLength();
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    if (SuitsAvx2(source, 1)) {
        done = BlendFlatAvx2(source, at, count, out);
    }
#endif
    BlendFlat(source, at, done, count, out);
}

void BlendDeep(Source const & source, RowSources const & at, unsigned short * out)
{
    std::size_t const count = at.stretch.GetLength();
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    auto const end = at.z.lower.begin() + static_cast<std::ptrdiff_t>(count);
    auto const [lowest, highest] = std::minmax_element(at.z.lower.begin(), end);
    if (SuitsAvx2(source, static_cast<std::size_t>(*highest - *lowest) + 1)) {
        done = BlendDeepAvx2(source, at, count, *lowest, out);
    }
#endif
    BlendDeep(source, at, done, count, out);
}

class ChromaticResampler {
  public:
    using Image = Image3d<unsigned short>;

    // Both images have the same size, which is not empty.
    ChromaticResampler(Image const & in, Image & out, SourceMap const & map)
        : _in(&in), _out(&out), _map(&map), _flat(map.KeepsZ())
    {
    }

    void Resample()
    {
        std::size_t const parts = (std::size_t{_in->size.y} + rows_per_part - 1) / rows_per_part;
        ParallelFor(parts, [&](std::size_t part) {
            RowSources sources(_in->size.x);
            auto const first = static_cast<unsigned int>(part) * rows_per_part;
            unsigned int const last = std::min(rows_per_part, _in->size.y - first) + first;
            for (unsigned int y = first; y < last; ++y) {
                ResampleRow(y, sources);
            }
        });
    }

  private:
    // The row of that y, in all slices.
    void ResampleRow(unsigned int y, RowSources & sources) const
    {
        sources.stretch = _map->GetValidX(y);
        if (!sources.stretch.IsEmpty()) {
            Locate(_map->GetRowX(y), 0.0, sources.stretch, _in->size.x, sources.x);
            Locate(_map->GetRowY(y), 0.0, sources.stretch, _in->size.y, sources.y);
        }
        for (unsigned int z = 0; z < _in->size.z; ++z) {
            unsigned short * const row = _out->GetVoxelAddr(0, y, z);
            if (sources.stretch.IsEmpty()) {
                std::fill_n(row, _in->size.x, static_cast<unsigned short>(0));
                continue;
            }
            std::fill_n(row, sources.stretch.first, static_cast<unsigned short>(0));
            BlendRow(y, z, sources, row + sources.stretch.first);
            std::fill(row + sources.stretch.end, row + _in->size.x, static_cast<unsigned short>(0));
        }
    }

    void BlendRow(unsigned int y, unsigned int z, RowSources & sources, unsigned short * out) const
    {
        std::size_t const width = _in->size.x;
        std::size_t const plane = width * _in->size.y;
        Source source{_in->begin(),
                      width,
                      plane,
                      _in->size.x > 1 ? std::size_t{1} : 0,
                      _in->size.y > 1 ? width : 0,
                      _in->size.z > 1 ? plane : 0};
        if (_flat) {
            source.voxels += z * plane;
            BlendFlat(source, sources, out);
        } else {
            Locate(_map->GetRowZ(y), z, sources.stretch, _in->size.z, sources.z);
            MarkInside(_map->GetRowZ(y), z, sources.stretch, _in->size.z, sources.inside);
            BlendDeep(source, sources, out);
        }
    }

    Image const * _in;
    Image * _out;
    SourceMap const * _map;
    bool _flat;
};

bool IsEmpty(Vector3d<unsigned int> const & size)
{
    return size.x == 0 || size.y == 0 || size.z == 0;
}

// Voxels along an axis are numbered in 32 bits with a sign, as in boxes.
void RefuseLongAxes(Vector3d<unsigned int> const & size)
{
    constexpr unsigned int longest = std::numeric_limits<std::int32_t>::max();
    if (std::max({size.x, size.y, size.z}) > longest) {
        throw InternalException("The image is too long for a chromatic correction");
    }
}

} // namespace

template <typename T>
void CorrectChromaticAberration(Image3d<T> const & in, Image3d<T> & out, ChromAberParams const & params,
                                bool cut)
{
    RefuseLongAxes(in.size);
    SourceMap const map(in.offset, in.resolution, in.size, params);
    Image3d<T> result(&in.offset, &in.resolution);
    result.MakeRoom(in.size.x, in.size.y, in.size.z);
    if (map.IsUsable() && !IsEmpty(in.size)) {
        ChromaticResampler(in, result, map).Resample();
    } else {
        result.Clear();
    }
    if (cut && !IsEmpty(in.size)) {
        Vector3d<unsigned int> first;
        Vector3d<unsigned int> last;
        GetCuttingPosition(in.offset, in.resolution, in.size, params, first, last);
        Box box;
        for (unsigned int i = 0; i < 3; ++i) {
            box.offset[i] = first[i] <= last[i] ? static_cast<int>(first[i]) : 0;
            box.size[i] = first[i] <= last[i] ? last[i] - first[i] + 1 : 0;
        }
        result = Image3d<T>(result, &box);
    }
    out = std::move(result);
}

void GetCuttingPosition(Vector3d<float> const & offset, Resolution const & resolution,
                        Vector3d<unsigned int> const & size, ChromAberParams const & params,
                        Vector3d<unsigned int> & first, Vector3d<unsigned int> & last)
{
    SourceMap const map(offset, resolution, size, params);
    if (IsEmpty(size) || !map.IsUsable() || !map.FindValidBox(first, last)) {
        first = size;
        last = {};
    }
}

template VEXA_API void CorrectChromaticAberration(Image3d<unsigned short> const &, Image3d<unsigned short> &,
                                                  ChromAberParams const &, bool);

} // namespace vexa
