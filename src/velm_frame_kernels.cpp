#include "velm_frame_kernels.h"

#include "vexacore/cpu.h"

#include <algorithm>
#include <cstring>

#if VEXA_HAS_AVX2
#include <immintrin.h>
#endif

namespace velm {

namespace {

using Table = vexa::VELM_LUT<unsigned short, unsigned char>;

// The colour of an output of the look-up table.
std::array<unsigned char, 4> ColourOf(unsigned char value, VELM_Channel_VisType vis)
{
    switch (GetVisTypeColour(vis)) {
    case VIS_RED:
        return {value, 0, 0, 0};
    case VIS_GREEN:
        return {0, value, 0, 0};
    case VIS_BLUE:
        return {0, 0, value, 0};
    default:
        if (value == 0 && (vis & VIS_BACKGROUND_SATURATION) != 0) {
            return {0, 0, 255, 0};
        }
        if (value == 255 && (vis & VIS_FOREGROUND_SATURATION) != 0) {
            return {255, 0, 0, 0};
        }
        return {value, value, value, 0};
    }
}

#if VEXA_HAS_AVX2

bool IsShift(Table const & lut, int shift)
{
    for (int value = 0; value < 0x10000; ++value) {
        if (lut.Get(static_cast<unsigned short>(value)) != std::min(value >> shift, 255)) {
            return false;
        }
    }
    return true;
}

// The shift that the table stands for, as one that selects eight bits does; -1 for another table.
int FindShift(Table const & lut)
{
    for (int shift = 0; shift <= 8; ++shift) {
        if (IsShift(lut, shift)) { // mostly a matter of the first few values
            return shift;
        }
    }
    return -1;
}

VEXA_AVX2 __m256i Load(unsigned short const * pixels)
{
    return _mm256_loadu_si256(reinterpret_cast<__m256i const *>(pixels));
}

// Returns how many bytes it copied: all that fill registers.
VEXA_AVX2 std::size_t CopyBytesAvx2(unsigned char const * source, std::size_t bytes, unsigned char * target,
                                    unsigned char const * soon)
{
    constexpr std::size_t step = 4 * sizeof(__m256i);
    std::size_t done = 0;
    for (; done + step <= bytes; done += step) {
        _mm_prefetch(reinterpret_cast<char const *>(soon + done), _MM_HINT_T0);
        _mm_prefetch(reinterpret_cast<char const *>(soon + done + step / 2), _MM_HINT_T0);
        auto const * const from = reinterpret_cast<__m256i const *>(source + done);
        auto * const to = reinterpret_cast<__m256i *>(target + done);
        __m256i const a = _mm256_loadu_si256(from);
        __m256i const b = _mm256_loadu_si256(from + 1);
        __m256i const c = _mm256_loadu_si256(from + 2);
        __m256i const d = _mm256_loadu_si256(from + 3);
        _mm256_storeu_si256(to, a);
        _mm256_storeu_si256(to + 1, b);
        _mm256_storeu_si256(to + 2, c);
        _mm256_storeu_si256(to + 3, d);
    }
    return done;
}

// Returns how many pixels it copied: all that fill registers.
VEXA_AVX2 std::size_t CopyReversedAvx2(unsigned short const * source, std::size_t count,
                                       unsigned short * target, unsigned char const * soon)
{
    __m256i const swap =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        _mm_prefetch(reinterpret_cast<char const *>(soon + i * sizeof(*source)), _MM_HINT_T0);
        __m256i const halves = _mm256_shuffle_epi8(Load(source + i), swap);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(target + count - 16 - i),
                            _mm256_permute4x64_epi64(halves, 0x4E));
    }
    return i;
}

// Where the bytes of 16 pixels of one colour go in the picture: a shuffle for each 16 of its 48 bytes.
struct Spread {
    alignas(16) signed char from[3][16] = {};
};

constexpr Spread SpreadOf(int colour)
{
    Spread spread;
    for (int byte = 0; byte < 48; ++byte) {
        spread.from[byte / 16][byte % 16] = static_cast<signed char>(byte % 3 == colour ? byte / 3 : -1);
    }
    return spread;
}

constexpr Spread red_spread = SpreadOf(0);
constexpr Spread green_spread = SpreadOf(1);
constexpr Spread blue_spread = SpreadOf(2);

VEXA_AVX2 __m128i SpreadOut(__m128i bytes, Spread const & spread, int part)
{
    return _mm_shuffle_epi8(bytes, _mm_load_si128(reinterpret_cast<__m128i const *>(spread.from[part])));
}

// How a grey value becomes a colour, by bits.
struct Tint {
    int red; // bits of the grey value that show in this colour
    int green;
    int blue;
    int top;     // bits that 255 loses in green and blue when it is marked
    int nothing; // bits that 0 gains in blue when it is marked
};

VEXA_AVX2 __m128i AllOf(int byte)
{
    return _mm_set1_epi8(static_cast<char>(byte));
}

// Returns how many pixels it painted: all that fill registers.
VEXA_AVX2 std::size_t PaintAvx2(unsigned short const * pixels, std::size_t count, int shift,
                                Tint const & tint, unsigned char * target)
{
    __m128i const red_bits = AllOf(tint.red);
    __m128i const green_bits = AllOf(tint.green);
    __m128i const blue_bits = AllOf(tint.blue);
    __m128i const top_bits = AllOf(tint.top);
    __m128i const nothing_bits = AllOf(tint.nothing);
    __m128i const bits = _mm_cvtsi32_si128(shift);
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16, target += 48) {
        __m256i const wide =
            _mm256_min_epu16(_mm256_srl_epi16(Load(pixels + i), bits), _mm256_set1_epi16(255));
        __m128i const grey =
            _mm_packus_epi16(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
        __m128i const top = _mm_and_si128(_mm_cmpeq_epi8(grey, AllOf(255)), top_bits);
        __m128i const nothing = _mm_and_si128(_mm_cmpeq_epi8(grey, AllOf(0)), nothing_bits);
        __m128i const rest = _mm_andnot_si128(top, grey);
        __m128i const red = _mm_and_si128(grey, red_bits);
        __m128i const green = _mm_and_si128(rest, green_bits);
        __m128i const blue = _mm_or_si128(_mm_and_si128(rest, blue_bits), nothing);
        for (int part = 0; part < 3; ++part) {
            __m128i const two =
                _mm_or_si128(SpreadOut(red, red_spread, part), SpreadOut(green, green_spread, part));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(target + 16 * part),
                             _mm_or_si128(two, SpreadOut(blue, blue_spread, part)));
        }
    }
    return i;
}

#endif

} // namespace

void CopyBytes(void const * source, std::size_t bytes, void * target, void const * soon)
{
    auto const * const from = static_cast<unsigned char const *>(source);
    auto * const to = static_cast<unsigned char *>(target);
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    constexpr std::size_t long_run = std::size_t{1} << 20; // these memcpy itself does with registers
    if (bytes < long_run && vexa::GetInstructionSet() == vexa::InstructionSet::Avx2) {
        done = CopyBytesAvx2(from, bytes, to,
                             static_cast<unsigned char const *>(soon != nullptr ? soon : source));
    }
#endif
    std::memcpy(to + done, from + done, bytes - done);
}

void CopyReversed(unsigned short const * source, std::size_t count, unsigned short * target,
                  void const * soon)
{
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    if (vexa::GetInstructionSet() == vexa::InstructionSet::Avx2) {
        done = CopyReversedAvx2(source, count, target,
                                static_cast<unsigned char const *>(soon != nullptr ? soon : source));
    }
#endif
    std::reverse_copy(source + done, source + count, target);
}

FramePainter::FramePainter(Table const & lut, VELM_Channel_VisType vis)
{
    for (std::size_t value = 0; value < _palette.size(); ++value) {
        _palette[value] = ColourOf(static_cast<unsigned char>(value), vis);
    }
#if VEXA_HAS_AVX2
    if (vexa::GetInstructionSet() == vexa::InstructionSet::Avx2) {
        _shift = FindShift(lut);
    }
#endif
    if (_shift < 0) {
        _colours.resize(std::size_t{1} << 16);
        for (std::size_t value = 0; value < _colours.size(); ++value) {
            _colours[value] = _palette[lut.Get(static_cast<unsigned short>(value))];
        }
    }
}

void FramePainter::Paint(unsigned short const * pixels, std::size_t count, unsigned char * target) const
{
    if (_shift < 0) {
        PaintByTable(pixels, count, target);
    } else {
        PaintByShift(pixels, count, target);
    }
}

// One look-up per pixel in this table is several times faster than the two in the look-up table and in the
// palette.
void FramePainter::PaintByTable(unsigned short const * pixels, std::size_t count,
                                unsigned char * target) const
{
    for (std::size_t i = 0; i + 1 < count; ++i, target += 3) {
        std::memcpy(target, _colours[pixels[i]].data(), 4); // the fourth byte is the next pixel's first
    }
    if (count > 0) {
        std::memcpy(target, _colours[pixels[count - 1]].data(), 3);
    }
}

void FramePainter::PaintByShift(unsigned short const * pixels, std::size_t count,
                                unsigned char * target) const
{
    std::size_t done = 0;
#if VEXA_HAS_AVX2
    PixelBytes const & unit = _palette[1];
    PixelBytes const & top = _palette[255];
    Tint const tint{255 * unit[0], 255 * unit[1], 255 * unit[2], 255 - (top[1] | top[2]), _palette[0][2]};
    done = PaintAvx2(pixels, count, _shift, tint, target);
#endif
    for (std::size_t i = done; i < count; ++i) {
        std::size_t const grey = static_cast<std::size_t>(std::min(pixels[i] >> _shift, 255));
        std::memcpy(target + 3 * i, _palette[grey].data(), 3);
    }
}

} // namespace velm
