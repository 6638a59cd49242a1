#ifndef VEXACORE_DEFLATE_ALPHABETS_H
#define VEXACORE_DEFLATE_ALPHABETS_H

// The numbers that deflate data consist of (RFC 1951, 3.2). Internal to the image libraries.

#include <cstdint>

namespace vexa::deflate {

// A block begins with one bit that tells whether it is the last, and two with its type.
enum BlockType : unsigned int { STORED = 0, FIXED_CODES = 1, DYNAMIC_CODES = 2 };

constexpr unsigned int end_of_block = 256; // behind the literals
constexpr unsigned int first_length = 257;
constexpr unsigned int literal_symbols = 286;
constexpr unsigned int distance_symbols = 30;
constexpr unsigned int shortest_match = 3; // bytes
constexpr unsigned int longest_match = 258;

// The alphabet in which a block's header tells the lengths of its codes: the lengths themselves and
// repetitions of the one before and of none.
constexpr unsigned int length_symbols = 19;
constexpr unsigned int longest_length_code = 7;
constexpr unsigned int repeat_before = 16;    // 3 to 6 times
constexpr unsigned int repeat_none = 17;      // 3 to 10 times
constexpr unsigned int repeat_none_long = 18; // 11 to 138 times

// How many bits behind a symbol of that alphabet tell how often something is repeated.
constexpr unsigned int RepeatBits(unsigned int symbol)
{
    return symbol == repeat_before ? 2 : symbol == repeat_none ? 3 : symbol == repeat_none_long ? 7 : 0;
}

// The order in which the header tells the lengths of that alphabet's own codes.
constexpr std::uint8_t length_order[length_symbols] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                       11, 4,  12, 3, 13, 2, 14, 1, 15};

} // namespace vexa::deflate

#endif
