#include "vexaalgo/lut.h"

#include "vexacore/exceptions.h"

#include <algorithm>
#include <limits>

namespace vexa {

namespace {

long FloorDivide(long dividend, long divisor)
{
    long const quotient = dividend / divisor;
    return dividend % divisor != 0 && (dividend < 0) != (divisor < 0) ? quotient - 1 : quotient;
}

template <typename Tout>
Tout Saturate(long value)
{
    return static_cast<Tout>(std::clamp<long>(value, 0, std::numeric_limits<Tout>::max()));
}

} // namespace

template <typename Tin, typename Tout>
LUT<Tin, Tout>::LUT() : _table(1, Tout(0))
{
}

template <typename Tin, typename Tout>
void LUT<Tin, Tout>::Init(long size, Tin low, Tin high)
{
    if (size < 1 || size != long{high} - long{low} + 1) {
        throw InternalException("The size of a look-up table doesn't fit its range");
    }
    _table.assign(static_cast<std::size_t>(size), Tout(0));
    _low = low;
    _high = high;
}

template <typename Tin, typename Tout>
void LUT<Tin, Tout>::CreateLinearMapping(Tin in_low, Tin in_high, Tout out_low, Tout out_high)
{
    long const run = long{in_high} - long{in_low};
    long const rise = long{out_high} - long{out_low};
    for (long value = _low; value <= long{_high}; ++value) {
        long output = value < long{in_low} ? long{out_low} : long{out_high};
        if (run != 0) {
            // floor(x + 1/2), with twice the numerator and the denominator to stay with whole numbers
            output = long{out_low} + FloorDivide(2 * (value - in_low) * rise + run, 2 * run);
        }
        _table[static_cast<std::size_t>(value - _low)] = Saturate<Tout>(output);
    }
}

template <typename Tin, typename Tout>
void LUT<Tin, Tout>::Select8Bits(int last_bit)
{
    // Beyond these the result is the same: no bit selected, or only bits that no input has.
    int const bit = std::clamp(last_bit, 0, std::numeric_limits<Tin>::digits + 8);
    for (long value = _low; value <= long{_high}; ++value) {
        bool const over = (value >> bit) != 0;
        long const output = over       ? std::numeric_limits<Tout>::max()
                            : bit >= 8 ? value >> (bit - 8)
                                       : value << (8 - bit);
        _table[static_cast<std::size_t>(value - _low)] = Saturate<Tout>(output);
    }
}

template <typename Tin, typename Tout>
void LUT<Tin, Tout>::Apply(Tin const * in, Tout * out, long count) const
{
    for (long i = 0; i < count; ++i) {
        out[i] = Get(in[i]);
    }
}

template <typename Tin, typename Tout>
VELM_LUT<Tin, Tout>::VELM_LUT()
{
    constexpr Tin last = std::numeric_limits<Tin>::max();
    this->Init(long{last} + 1, 0, last);
    this->CreateLinearMapping(0, last, 0, std::numeric_limits<Tout>::max());
}

template <typename Tin, typename Tout>
VELM_LUT<Tin, Tout>::~VELM_LUT() = default;

template class VEXA_API LUT<unsigned short, unsigned char>;
template class VEXA_API LUT<unsigned char, unsigned char>;
template class VEXA_API VELM_LUT<unsigned short, unsigned char>;
template class VEXA_API VELM_LUT<unsigned char, unsigned char>;

} // namespace vexa
