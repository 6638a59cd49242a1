#ifndef VEXAALGO_LUT_H
#define VEXAALGO_LUT_H

#include "vexacore/export.h"

#include <vector>

namespace vexa {

// A table from input values to output values.
//
// It covers a closed range of inputs; an input outside the range gives what the nearer end of the range
// gives. Instantiated for (unsigned short, unsigned char) and (unsigned char, unsigned char).
template <typename Tin, typename Tout>
class VEXA_API LUT {
  public:
    // A table for the range from 0 to 0 that gives 0 for everything.
    LUT();

    // Gives the table the range from low to high and the output 0 for all of it. Throws InternalException
    // unless size is high - low + 1 and at least 1.
    void Init(long size, Tin low, Tin high);

    // Fills the table with the straight line through (in_low, out_low) and (in_high, out_high), rounded to
    // the nearest output and cut off at the ends of Tout. When in_low is in_high, inputs below it give
    // out_low and all others out_high.
    void CreateLinearMapping(Tin in_low, Tin in_high, Tout out_low, Tout out_high);

    // Fills the table so that the eight bits of the input that end at bit last_bit become the output; bit 1
    // is the lowest. An input with a set bit above last_bit gives 255.
    void Select8Bits(int last_bit);

    // Maps count values; in and out may be the same memory when the types are. Nothing for a count below 1.
    void Apply(Tin const * in, Tout * out, long count) const;

    Tout Get(Tin value) const
    {
        // Two comparisons, which cost nothing beside the fetch from the table.
        Tin const inside = value < _low ? _low : value > _high ? _high : value;
        return _table[static_cast<unsigned int>(inside) - _low];
    }

  private:
    Tin _low = 0;
    Tin _high = 0;
    std::vector<Tout> _table; // one output for each value from _low to _high; never empty
};

// A table that is ready from the start for the whole range of Tin: a straight line from 0 at 0 to the largest
// output at the largest input.
template <typename Tin, typename Tout>
class VEXA_API VELM_LUT : public LUT<Tin, Tout> {
  public:
    VELM_LUT();
    ~VELM_LUT();
};

} // namespace vexa

#endif
