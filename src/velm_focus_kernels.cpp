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

// Rows that are added up together, k rows of the frame apart.
struct Rows {
    unsigned short const * first;
    std::size_t width; // of the frame
    std::size_t count;
};

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
    return static_cast<unsigned short>(sum / f / f);
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
    _mm_prefetch(reinterpret_cast<char const *>(pixels), _MM_HINT_T1);
}

// The sum of the squares of 16 steps, or of every K-th of them. counted: all bits for those that are to
// count.
template <std::size_t K>
VEXA_AVX2 __m256i WideSquares(unsigned short const * pixel, __m256i counted)
{
    __m256i const right = Load(pixel + K);
    __m256i const left = Load(pixel - K);
    __m256i const both = _mm256_or_si256(_mm256_subs_epu16(right, left), _mm256_subs_epu16(left, right));
    __m256i const steps = _mm256_and_si256(both, counted);
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

// Steps that are worked on together: of pixels of 14 bits, as most cameras give them, the squares of so many
// add up within 32 bits.
constexpr std::size_t group = 128;

// The sum of the squares of up to a group's steps, or of every K-th of them. count: a multiple of 16.
template <std::size_t K>
VEXA_AVX2 __m256i SquaresOfGroup(unsigned short const * pixel, std::size_t count)
{
    __m256i const all = _mm256_set1_epi32(-1);
    __m256i const counted = K == 1 ? all : K == 2 ? _mm256_set1_epi32(0xFFFF) : _mm256_set1_epi64x(0xFFFF);
    __m256i bits = Load(pixel - K);
    __m256i sum = _mm256_setzero_si256();
    for (std::size_t i = 0; i < count; i += 16) {
        __m256i const right = Load(pixel + i + K);
        __m256i const steps = _mm256_and_si256(_mm256_sub_epi16(right, Load(pixel + i - K)), counted);
        bits = _mm256_or_si256(bits, right);
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(steps, steps));
    }
    if (_mm256_testz_si256(bits, _mm256_set1_epi32(static_cast<int>(0xC000C000))) != 0) {
        return _mm256_add_epi64(_mm256_and_si256(sum, _mm256_set1_epi64x(0xFFFFFFFF)),
                                _mm256_srli_epi64(sum, 32));
    }
    sum = _mm256_setzero_si256();
    for (std::size_t i = 0; i < count; i += 16) {
        sum = _mm256_add_epi64(sum, WideSquares<K>(pixel + i, all));
    }
    return sum;
}

// For registers of which the first ones don't count.
constexpr unsigned short none_then_all[32] = {0,      0,      0,      0,      0,      0,      0,      0,
                                              0,      0,      0,      0,      0,      0,      0,      0,
                                              0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF,
                                              0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};

// The sum over one row, as far as registers can be filled: up to RestOfRow.
template <std::size_t K>
VEXA_AVX2 __m256i SquaresOfRow(unsigned short const * row, std::size_t width)
{
    std::size_t const last = (width - K - 16) / K * K; // where a register can be filled for the last time
    __m256i sum = _mm256_setzero_si256();
    std::size_t x = K;
    while (x <= last) {
        std::size_t const count = std::min(group, (last - x) / 16 * 16 + 16);
        for (std::size_t i = 0; K > 1 && i < count; i += 32) {
            Fetch(row + K * width + x + i); // the processor doesn't foresee a jump over rows
        }
        sum = _mm256_add_epi64(sum, SquaresOfGroup<K>(row + x, count));
        x += count;
    }
    // What is left, in a register that begins with what has been counted.
    __m256i const counted = Load(none_then_all + 16 - (x - last));
    return _mm256_add_epi64(sum, WideSquares<K>(row + last, counted));
}

std::size_t RestOfRow(std::size_t width, std::size_t k)
{
    return (width - k - 16) / k * k + 16;
}

// As SumOfSteps, for a K of 1, 2 or 4 and rows of at least 16 + 2 K pixels.
template <std::size_t K>
VEXA_AVX2 std::uint64_t SumOfStepsAvx2(Rows const & rows)
{
    __m256i sum = _mm256_setzero_si256();
    for (std::size_t i = 0; i < rows.count; ++i) {
        sum = _mm256_add_epi64(sum, SquaresOfRow<K>(rows.first + i * K * rows.width, rows.width));
    }
    return Total(sum);
}

#endif

// The sum over the rows.
std::uint64_t SumOfSteps(Rows const & rows, std::size_t k)
{
    std::uint64_t sum = 0;
    std::size_t begin = k;
#if VEXA_HAS_AVX2
    if (vexa::GetInstructionSet() == vexa::InstructionSet::Avx2 && (k == 1 || k == 2 || k == 4) &&
        rows.width >= 16 + 2 * k) {
        sum = k == 1 ? SumOfStepsAvx2<1>(rows) : k == 2 ? SumOfStepsAvx2<2>(rows) : SumOfStepsAvx2<4>(rows);
        begin = RestOfRow(rows.width, k);
    }
#endif
    for (std::size_t i = 0; i < rows.count; ++i) {
        for (std::size_t x = begin; x + k < rows.width; x += k) {
            sum += SquaredStep(rows.first + i * k * rows.width + x, k);
        }
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
    std::size_t const rows = height > 2 * k ? (height - 2 * k - 1) / k + 1 : 0;
    constexpr std::size_t at_once = 64; // far from what 64 bits hold
    for (std::size_t row = 0; row < rows && sum <= exact; row += at_once) {
        sum += SumOfSteps({pixels + (row + 1) * k * width, width, std::min(rows - row, at_once)}, k);
    }
    return sum <= exact ? static_cast<double>(sum) : SumInOrder(pixels, width, height, k);
}

namespace {

#if VEXA_HAS_AVX2

// The sums of 8 pairs of neighbours over so many rows.
template <std::size_t Rows>
VEXA_AVX2 __m256i PairSums(unsigned short const * pixels, std::size_t width)
{
    __m256i both =
        _mm256_setzero_si256(); // the second pixel's sum 65536 times, and the first one's, in 32 bits
    __m256i second = _mm256_setzero_si256();
    for (std::size_t row = 0; row < Rows; ++row, pixels += width) {
        __m256i const pairs = Load(pixels);
        both = _mm256_add_epi32(both, pairs);
        second = _mm256_add_epi32(second, _mm256_srli_epi32(pairs, 16));
    }
    __m256i const first = _mm256_sub_epi32(both, _mm256_slli_epi32(second, 16));
    return _mm256_add_epi32(first, second);
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
    if (f < 2) {
        return; // a block of one pixel is its mean already
    }
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
