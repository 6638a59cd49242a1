#include "vexacore/color_planes.h"

#include "vexacore/cpu.h"

#if VEXA_HAS_AVX2
#include <immintrin.h>
#endif

namespace vexa {

namespace {

template <typename T>
void JoinFrom(std::size_t first, T const * red, T const * green, T const * blue, std::size_t count,
              RGB_generic<T> * out)
{
    for (std::size_t i = first; i < count; ++i) {
        out[i] = RGB_generic<T>(red[i], green[i], blue[i]);
    }
}

#if VEXA_HAS_AVX2

// Eight voxels of a plane in each half of a register, in the order of the places, counted round by eight,
// that they take in the joined row: voxel i of the plane at offset stands at 3 i + offset.
VEXA_AVX2 __m256i Rotated(unsigned short const * plane, __m128i order)
{
    return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<__m256i const *>(plane)),
                               _mm256_broadcastsi128_si256(order));
}

// Returns how many voxels it joined: all that fill registers.
VEXA_AVX2 std::size_t JoinAvx2(unsigned short const * red, unsigned short const * green,
                               unsigned short const * blue, std::size_t count,
                               RGB_generic<unsigned short> * out)
{
    __m128i const red_order = _mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11);
    __m128i const green_order = _mm_setr_epi8(10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5);
    __m128i const blue_order = _mm_setr_epi8(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15);
    // The places of a register of the joined row that one colour takes.
    constexpr int from_0 = 0x49; // 0, 3, 6
    constexpr int from_1 = 0x92; // 1, 4, 7
    constexpr int from_2 = 0x24; // 2, 5
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m256i const r = Rotated(red + i, red_order);
        __m256i const g = Rotated(green + i, green_order);
        __m256i const b = Rotated(blue + i, blue_order);
        // Each holds a part of the first eight voxels, and the same part of the next eight.
        __m256i const part_0 = _mm256_blend_epi16(_mm256_blend_epi16(r, g, from_1), b, from_2);
        __m256i const part_1 = _mm256_blend_epi16(_mm256_blend_epi16(r, g, from_2), b, from_0);
        __m256i const part_2 = _mm256_blend_epi16(_mm256_blend_epi16(r, g, from_0), b, from_1);
        auto * const target = reinterpret_cast<__m256i *>(out + i);
        _mm256_storeu_si256(target, _mm256_permute2x128_si256(part_0, part_1, 0x20));
        _mm256_storeu_si256(target + 1, _mm256_permute2x128_si256(part_2, part_0, 0x30));
        _mm256_storeu_si256(target + 2, _mm256_permute2x128_si256(part_1, part_2, 0x31));
    }
    return i;
}

#endif

template <typename From, typename To>
void TakeGeometry(Image3d<From> const & from, Image3d<To> & to)
{
    to.MakeRoom(from.GetSizeX(), from.GetSizeY(), from.GetSizeZ());
    to.offset = from.offset;
    to.resolution = from.resolution;
}

} // namespace

void JoinPlanes(unsigned char const * red, unsigned char const * green, unsigned char const * blue,
                std::size_t count, RGB_generic<unsigned char> * out)
{
    JoinFrom(0, red, green, blue, count, out);
}

void JoinPlanes(unsigned short const * red, unsigned short const * green, unsigned short const * blue,
                std::size_t count, RGB_generic<unsigned short> * out)
{
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        done = JoinAvx2(red, green, blue, count, out);
    }
#endif
    JoinFrom(done, red, green, blue, count, out);
}

template <typename T, typename RGB>
void GrayToRGB(Image3d<T> const & red, Image3d<T> const & green, Image3d<T> const & blue, Image3d<RGB> & out)
{
    if (green.size != red.size || blue.size != red.size) {
        throw InternalException("The three colour planes differ in size");
    }
    TakeGeometry(red, out);
    JoinPlanes(red.GetFirstVoxelAddr(), green.GetFirstVoxelAddr(), blue.GetFirstVoxelAddr(), out.GetCount(),
               out.GetFirstVoxelAddr());
}

template <typename RGB, typename T>
void RGBtoGray(Image3d<RGB> const & in, Image3d<T> & red, Image3d<T> & green, Image3d<T> & blue)
{
    TakeGeometry(in, red);
    TakeGeometry(in, green);
    TakeGeometry(in, blue);
    RGB const * const source = in.GetFirstVoxelAddr();
    T * const r = red.GetFirstVoxelAddr();
    T * const g = green.GetFirstVoxelAddr();
    T * const b = blue.GetFirstVoxelAddr();
    for (std::size_t i = 0, count = in.GetCount(); i < count; ++i) {
        r[i] = source[i].red;
        g[i] = source[i].green;
        b[i] = source[i].blue;
    }
}

template VEXA_API void GrayToRGB(Image3d<unsigned char> const &, Image3d<unsigned char> const &,
                                 Image3d<unsigned char> const &, Image3d<RGB_generic<unsigned char>> &);
template VEXA_API void GrayToRGB(Image3d<unsigned short> const &, Image3d<unsigned short> const &,
                                 Image3d<unsigned short> const &, Image3d<RGB_generic<unsigned short>> &);
template VEXA_API void RGBtoGray(Image3d<RGB_generic<unsigned char>> const &, Image3d<unsigned char> &,
                                 Image3d<unsigned char> &, Image3d<unsigned char> &);
template VEXA_API void RGBtoGray(Image3d<RGB_generic<unsigned short>> const &, Image3d<unsigned short> &,
                                 Image3d<unsigned short> &, Image3d<unsigned short> &);

} // namespace vexa
