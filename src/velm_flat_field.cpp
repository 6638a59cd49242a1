#include "velm_flat_field.h"

#include "vexacore/cpu.h"

#include <cmath>
#include <cstdint>

#if VEXA_HAS_AVX2
#include <immintrin.h>
#endif

namespace velm {

namespace {

unsigned short Corrected(unsigned short pixel, unsigned short divisor, double mean)
{
    constexpr double limit = 9e18; // what fits into 64 bits; neither an infinity nor a NaN does
    double const quotient = static_cast<double>(pixel) / static_cast<double>(divisor) * mean;
    return std::abs(quotient) < limit ? static_cast<unsigned short>(static_cast<std::int64_t>(quotient)) : 0;
}

#if VEXA_HAS_AVX2

// Eight numbers of 16 bits as of 32.
VEXA_AVX2 __m256i Widened(unsigned short const * numbers)
{
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const *>(numbers)));
}

// Sets those of eight results to 0 whose divisor is 0.
VEXA_AVX2 __m256i WhereDivided(__m256i results, __m256i divisors)
{
    return _mm256_andnot_si256(_mm256_cmpeq_epi32(divisors, _mm256_setzero_si256()), results);
}

// mean / divisor, or 0. Returns how many it computed: all that fill registers.
VEXA_AVX2 std::size_t ComputeFactors(unsigned short const * divisors, std::size_t count, double mean,
                                     float * factors)
{
    __m256 const single = _mm256_set1_ps(static_cast<float>(mean));
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        __m256i const divisor = Widened(divisors + i);
        __m256 const factor = _mm256_div_ps(single, _mm256_cvtepi32_ps(divisor));
        _mm256_storeu_ps(factors + i,
                         _mm256_castsi256_ps(WhereDivided(_mm256_castps_si256(factor), divisor)));
    }
    return i;
}

VEXA_AVX2 __m128i QuotientsOf(__m128i pixels, __m128i divisors, double mean)
{
    __m256d const quotients = _mm256_div_pd(_mm256_cvtepi32_pd(pixels), _mm256_cvtepi32_pd(divisors));
    return _mm256_cvttpd_epi32(_mm256_mul_pd(quotients, _mm256_set1_pd(mean)));
}

// Eight results in double precision.
VEXA_AVX2 __m256i ExactQuotients(__m256i pixels, __m256i divisors, double mean)
{
    __m128i const first = QuotientsOf(_mm256_castsi256_si128(pixels), _mm256_castsi256_si128(divisors), mean);
    __m128i const second =
        QuotientsOf(_mm256_extracti128_si256(pixels, 1), _mm256_extracti128_si256(divisors, 1), mean);
    return WhereDivided(_mm256_set_m128i(second, first), divisors);
}

// Eight results in single precision with a bound of the error. Only where a whole number lies within that,
// which decides what the truncation gives, the double precision is needed.
VEXA_AVX2 __m256i Quotients(unsigned short const * pixels, unsigned short const * divisors,
                            float const * factors, double mean)
{
    // Mean, factor, product and the ends of the range are each rounded once, by 2^-24 at most.
    __m256 const error = _mm256_set1_ps(5.0F / 16777216.0F);
    __m256i const wide = Widened(pixels);
    __m256 const quotients = _mm256_mul_ps(_mm256_cvtepi32_ps(wide), _mm256_loadu_ps(factors));
    __m256 const bound = _mm256_mul_ps(quotients, error);
    __m256i const lowest = _mm256_cvttps_epi32(_mm256_sub_ps(quotients, bound));
    __m256i const highest = _mm256_cvttps_epi32(_mm256_add_ps(quotients, bound));
    __m256i const differing = _mm256_xor_si256(lowest, highest);
    return _mm256_testz_si256(differing, differing) != 0 ? lowest
                                                         : ExactQuotients(wide, Widened(divisors), mean);
}

// Returns how many pixels it corrected: all that fill registers.
VEXA_AVX2 std::size_t CorrectAvx2(unsigned short * pixels, unsigned short const * divisors,
                                  float const * factors, std::size_t count, double mean)
{
    __m256i const low_bits = _mm256_set1_epi32(0xFFFF);
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m256i const first = Quotients(pixels + i, divisors + i, factors + i, mean);
        __m256i const second = Quotients(pixels + i + 8, divisors + i + 8, factors + i + 8, mean);
        __m256i const packed =
            _mm256_packus_epi32(_mm256_and_si256(first, low_bits), _mm256_and_si256(second, low_bits));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(pixels + i), _mm256_permute4x64_epi64(packed, 0xD8));
    }
    return i;
}

#endif

} // namespace

void FlatField::SetDivisors(unsigned short const * divisors, std::size_t count)
{
    _divisors = divisors;
    _count = count;
    _quick = 0;
#if VEXA_HAS_AVX2
    // As long as no result leaves 32 bits.
    if (_mean >= 0.0 && _mean < 32767.0 && vexa::GetInstructionSet() == vexa::InstructionSet::Avx2) {
        _factors.resize(count);
        _quick = ComputeFactors(divisors, count, _mean, _factors.data());
    }
#endif
}

void FlatField::Apply(unsigned short * pixels) const
{
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    done = CorrectAvx2(pixels, _divisors, _factors.data(), _quick, _mean);
#endif
    for (std::size_t i = done; i < _count; ++i) {
        pixels[i] = Corrected(pixels[i], _divisors[i], _mean);
    }
}

} // namespace velm
