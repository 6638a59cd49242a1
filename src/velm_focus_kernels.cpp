#include "velm_focus_kernels.h"

#include "vexacore/cpu.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#if VEXA_HAS_AVX2
#include <immintrin.h>
#endif

namespace velm {

namespace {

std::uint64_t SquaredStep(unsigned short const * pixel, std::size_t k)
{
    std::int64_t const step = std::int64_t{pixel[k]} - *(pixel - k);
    return static_cast<std::uint64_t>(step * step);
}

unsigned short MeanOfBlock(unsigned short const * corner, std::size_t width, std::size_t f)
{
    std::uint64_t sum = 0;
    for (std::size_t row = 0; row < f; ++row, corner += width) {
        for (std::size_t i = 0; i < f; ++i) {
            sum += corner[i];
        }
    }
    return static_cast<unsigned short>(sum / (f * f));
}

#if VEXA_HAS_AVX2

VEXA_AVX2 __m256i Load(unsigned short const * pixels)
{
    return _mm256_loadu_si256(reinterpret_cast<__m256i const *>(pixels));
}

// The squares of the low halves of all 64-bit words.
VEXA_AVX2 __m256i Square(__m256i words)
{
    return _mm256_mul_epu32(words, words);
}

// The sum of the four 64-bit words.
VEXA_AVX2 std::uint64_t Total(__m256i words)
{
    alignas(32) std::uint64_t parts[4];
    _mm256_store_si256(reinterpret_cast<__m256i *>(parts), words);
    return parts[0] + parts[1] + parts[2] + parts[3];
}

// Has the memory deliver what is needed soon.
VEXA_AVX2 void Fetch(unsigned short const * pixels)
{
    _mm_prefetch(reinterpret_cast<char const *>(pixels), _MM_HINT_T0);
}

// The sum of 16 squared steps around x, or of every K-th of them.
template <std::size_t K>
VEXA_AVX2 __m256i SquaredSteps(unsigned short const * pixel)
{
    __m256i const right = Load(pixel + K);
    __m256i const left = Load(pixel - K);
    if constexpr (K == 1) {
        __m256i const top_bits = _mm256_set1_epi32(static_cast<int>(0x80008000));
        if (_mm256_testz_si256(_mm256_or_si256(right, left), top_bits) != 0) { // as of most cameras
            __m256i const steps = _mm256_sub_epi16(right, left);
            __m256i const pairs = _mm256_madd_epi16(steps, steps);
            return _mm256_add_epi64(_mm256_and_si256(pairs, _mm256_set1_epi64x(0xFFFFFFFF)),
                                    _mm256_srli_epi64(pairs, 32));
        }
    }
    __m256i const steps = _mm256_or_si256(_mm256_subs_epu16(right, left), _mm256_subs_epu16(left, right));
    __m256i const even = _mm256_and_si256(steps, _mm256_set1_epi32(0xFFFF));
    __m256i sum = Square(even);
    if constexpr (K <= 2) {
        sum = _mm256_add_epi64(sum, Square(_mm256_srli_epi64(even, 32)));
    }
    if constexpr (K == 1) {
        __m256i const odd = _mm256_srli_epi32(steps, 16);
        sum = _mm256_add_epi64(sum, Square(odd));
        sum = _mm256_add_epi64(sum, Square(_mm256_srli_epi64(odd, 32)));
    }
    return sum;
}

// As SumOfSteps, for a K of 1, 2 or 4, as far along the row as registers are full; x moves to what is left.
template <std::size_t K>
VEXA_AVX2 std::uint64_t SumOfStepsAvx2(unsigned short const * row, std::size_t width, std::size_t & x)
{
    __m256i first = _mm256_setzero_si256();
    __m256i second = _mm256_setzero_si256();
    for (; x + 32 + K <= width; x += 32) {
        Fetch(row + K * width + x);
        first = _mm256_add_epi64(first, SquaredSteps<K>(row + x));
        second = _mm256_add_epi64(second, SquaredSteps<K>(row + x + 16));
    }
    return Total(_mm256_add_epi64(first, second));
}

#endif

// The sum over one row.
std::uint64_t SumOfSteps(unsigned short const * row, std::size_t width, std::size_t k)
{
    std::uint64_t sum = 0;
    std::size_t x = k;
#if VEXA_HAS_AVX2
    if (vexa::GetInstructionSet() == vexa::InstructionSet::Avx2) {
        sum = k == 1   ? SumOfStepsAvx2<1>(row, width, x)
              : k == 2 ? SumOfStepsAvx2<2>(row, width, x)
              : k == 4 ? SumOfStepsAvx2<4>(row, width, x)
                       : 0;
    }
#endif
    for (; x + k < width; x += k) {
        sum += SquaredStep(row + x, k);
    }
    return sum;
}

// The same sum as a programmer takes it who follows the definition.
double SumInOrder(unsigned short const * pixels, std::size_t width, std::size_t height, std::size_t k)
{
    double sum = 0.0;
    for (std::size_t y = k; y + k < height; y += k) {
        for (std::size_t x = k; x + k < width; x += k) {
            sum += static_cast<double>(SquaredStep(pixels + y * width + x, k));
        }
    }
    return sum;
}

} // namespace

double SumOfSquaredSteps(unsigned short const * pixels, std::size_t width, std::size_t height, std::size_t k)
{
    // Whole numbers up to this are the same in double precision, whatever the order in which they are added.
    // More takes two million steps from black to white.
    constexpr std::uint64_t exact = std::uint64_t{1} << 53;
    std::uint64_t sum = 0;
    for (std::size_t y = k; y + k < height && sum <= exact; y += k) {
        sum += SumOfSteps(pixels + y * width, width, k);
    }
    return sum <= exact ? static_cast<double>(sum) : SumInOrder(pixels, width, height, k);
}

namespace {

#if VEXA_HAS_AVX2

// The sums of 8 pairs of neighbours over so many rows.
template <std::size_t Rows>
VEXA_AVX2 __m256i PairSums(unsigned short const * pixels, std::size_t width)
{
    __m256i const low_words = _mm256_set1_epi32(0xFFFF);
    __m256i sums = _mm256_setzero_si256();
    for (std::size_t row = 0; row < Rows; ++row, pixels += width) {
        Fetch(pixels + Rows * width);
        __m256i const neighbours = Load(pixels);
        sums = _mm256_add_epi32(sums, _mm256_and_si256(neighbours, low_words));
        sums = _mm256_add_epi32(sums, _mm256_srli_epi32(neighbours, 16));
    }
    return sums;
}

// Writes the means of the F by F blocks that make up 16 columns, of which these are the sums by pairs.
template <std::size_t F>
VEXA_AVX2 void WriteMeans(__m256i sums, unsigned short * corner)
{
    constexpr int bits = F == 2 ? 2 : F == 4 ? 4 : F == 8 ? 6 : 8; // of the number of pixels
    if constexpr (F >= 4) {
        sums = _mm256_add_epi32(sums, _mm256_srli_epi64(sums, 32));
    }
    if constexpr (F >= 8) {
        sums = _mm256_add_epi32(sums, _mm256_srli_si256(sums, 8));
    }
    if constexpr (F == 16) {
        __m128i const sum = _mm_add_epi32(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
        *corner = static_cast<unsigned short>(_mm_cvtsi128_si32(sum) >> bits);
    } else {
        constexpr int corners = F == 2 ? 0x55 : F == 4 ? 0x11 : 0x01; // of 8 pixels
        __m256i const means = _mm256_srli_epi32(sums, bits);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(corner),
                            _mm256_blend_epi16(Load(corner), means, corners));
    }
}

// Bins a row of blocks as far as registers are full, and returns how many pixels that is. Four rows at a
// time: of more, which often lie a power of two apart, the nearest cache can't hold the same place. sums:
// room for half a row.
template <std::size_t F>
VEXA_AVX2 std::size_t BinRowAvx2(unsigned short * row, std::size_t width, std::uint32_t * sums)
{
    constexpr std::size_t rows = std::min<std::size_t>(F, 4);
    std::size_t const end = width / 16 * 16;
    for (std::size_t done = 0; done < F; done += rows) {
        for (std::size_t x = 0; x < end; x += 16) {
            auto * const place = reinterpret_cast<__m256i *>(sums + x / 2);
            __m256i of_pairs = PairSums<rows>(row + done * width + x, width);
            if (done > 0) {
                of_pairs = _mm256_add_epi32(of_pairs, _mm256_loadu_si256(place));
            }
            if (done + rows < F) {
                _mm256_storeu_si256(place, of_pairs);
            } else {
                WriteMeans<F>(of_pairs, row + x);
            }
        }
    }
    return end;
}

std::size_t BinRowWide(unsigned short * row, std::size_t width, std::size_t f, std::uint32_t * sums)
{
    if (vexa::GetInstructionSet() != vexa::InstructionSet::Avx2) {
        return 0;
    }
    switch (f) {
    case 2:
        return BinRowAvx2<2>(row, width, sums);
    case 4:
        return BinRowAvx2<4>(row, width, sums);
    case 8:
        return BinRowAvx2<8>(row, width, sums);
    case 16:
        return BinRowAvx2<16>(row, width, sums);
    default:
        return 0;
    }
}

#else

std::size_t BinRowWide(unsigned short *, std::size_t, std::size_t, std::uint32_t *)
{
    return 0;
}

#endif

} // namespace

void BinInPlace(unsigned short * pixels, std::size_t width, std::size_t height, std::size_t f)
{
    std::size_t const count = width * height;
    std::vector<std::uint32_t> sums(width / 2);
    for (std::size_t y = 0; y < height; y += f) {
        unsigned short * const row = pixels + y * width;
        std::size_t const left = count - y * width;
        std::size_t x = y + f <= height ? BinRowWide(row, width, f, sums.data()) : 0;
        for (; x < width; x += f) {
            if (x + (f - 1) * width + f <= left) {
                row[x] = MeanOfBlock(row + x, width, f);
            }
        }
    }
}

} // namespace velm
