#ifndef TESTS_SUPPORT_DEFLATE_BUILDER_H
#define TESTS_SUPPORT_DEFLATE_BUILDER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velm::test {

// The lengths of a code's symbols, in bits; 0 for a symbol without one.
using CodeLengths = std::vector<std::uint8_t>;

// A complete code of so many symbols: for shorter ones, of 1, 2, 3 and more bits, one symbol each; the rest
// are even. The shortest is that of the symbol first, that of the next symbol follows.
inline CodeLengths MakeLengths(std::size_t symbols, unsigned int shorter, std::size_t first)
{
    std::size_t const rest = symbols - shorter;
    unsigned int bits = 0;
    while (std::size_t{1} << bits < rest) {
        ++bits;
    }
    std::size_t const less = (std::size_t{1} << bits) - rest; // of the rest, so many have a bit less
    CodeLengths lengths(symbols);
    for (std::size_t i = 0; i < symbols; ++i) {
        std::size_t const length = i < shorter ? i + 1 : shorter + bits - (i - shorter < less ? 1 : 0);
        lengths[(first + i) % symbols] = static_cast<std::uint8_t>(length);
    }
    return lengths;
}

// The code that has these lengths (RFC 1951, 3.2.2), or what the same rule makes of lengths that no code has.
struct CanonicalCode {
    explicit CanonicalCode(CodeLengths of_symbols) : lengths(std::move(of_symbols)), codes(lengths.size())
    {
        std::uint32_t next = 0;
        for (unsigned int length = 1; length < 16; ++length, next <<= 1) {
            for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
                if (lengths[symbol] == length) {
                    codes[symbol] = next++;
                }
            }
        }
    }

    CodeLengths lengths;
    std::vector<std::uint32_t> codes;
};

// Puts deflate data (RFC 1951) together by hand, valid or not.
class DeflateBuilder {
  public:
    // The lowest bit comes first.
    void PutBits(std::uint32_t value, unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i, ++_bits) {
            if (_bits % 8 == 0) {
                _data.push_back('\0');
            }
            _data.back() = static_cast<char>(_data.back() | (value >> i & 1) << _bits % 8);
        }
    }

    void PutSymbol(CanonicalCode const & code, std::size_t symbol)
    {
        for (unsigned int i = code.lengths[symbol]; i-- > 0;) { // the highest bit comes first
            PutBits(code.codes[symbol] >> i, 1);
        }
    }

    // The beginning of a header, which is that of a block that isn't final, up to the code of the codes'
    // lengths.
    void BeginHeader(std::uint32_t literals, std::uint32_t distances, CodeLengths const & of_lengths)
    {
        constexpr std::array<std::size_t, 19> order = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                       11, 4,  12, 3, 13, 2, 14, 1, 15};
        PutBits(2 << 1, 3);
        PutBits(literals - 257, 5);
        PutBits(distances - 1, 5);
        PutBits(order.size() - 4, 4);
        for (std::size_t const symbol : order) {
            PutBits(of_lengths[symbol], 3);
        }
    }

    // The code of the codes' lengths that has 4 bits for each and no repetitions.
    static CodeLengths PlainLengths()
    {
        CodeLengths lengths(16, 4);
        lengths.resize(19);
        return lengths;
    }

    // Begins a block that isn't final.
    void Begin(CodeLengths const & literals, CodeLengths const & distances)
    {
        _literals = CanonicalCode(literals);
        _distances = CanonicalCode(distances);
        BeginHeader(static_cast<std::uint32_t>(literals.size()), static_cast<std::uint32_t>(distances.size()),
                    PlainLengths());
        CanonicalCode const plain(PlainLengths());
        for (CodeLengths const & lengths : {literals, distances}) {
            for (std::uint8_t const length : lengths) {
                PutSymbol(plain, length);
            }
        }
    }

    void PutLiteral(unsigned char byte) { PutSymbol(_literals, byte); }

    void PutLiterals(std::string const & bytes)
    {
        for (char const byte : bytes) {
            PutLiteral(static_cast<unsigned char>(byte));
        }
    }

    void PutMatch(std::uint32_t length, std::uint32_t distance)
    {
        PutExtended(_literals, 257, LengthBases(), length, [](std::size_t symbol) {
            return symbol < 8 || symbol == 28 ? 0 : static_cast<unsigned int>(symbol / 4 - 1);
        });
        PutExtended(_distances, 0, DistanceBases(), distance, [](std::size_t symbol) {
            return symbol < 4 ? 0 : static_cast<unsigned int>(symbol / 2 - 1);
        });
    }

    void End() { PutSymbol(_literals, 256); }

    // A block that isn't final, of at most 65535 bytes.
    void PutStored(std::string const & bytes)
    {
        auto const count = static_cast<std::uint32_t>(bytes.size());
        PutBits(0, 3);
        _bits = 8 * _data.size();
        PutBits(count, 16);
        PutBits(~count, 16);
        _data += bytes;
        _bits = 8 * _data.size();
    }

    std::string const & GetData() const { return _data; }
    std::size_t CountBits() const { return _bits; }

    // The least length or distance of each symbol.
    static std::vector<std::uint32_t> const & LengthBases()
    {
        static std::vector<std::uint32_t> const bases = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                                         15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                                         67, 83, 99, 115, 131, 163, 195, 227, 258};
        return bases;
    }
    static std::vector<std::uint32_t> const & DistanceBases()
    {
        static std::vector<std::uint32_t> const bases = {
            1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
            193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
        return bases;
    }

  private:
    template <typename ExtraBits>
    void PutExtended(CanonicalCode const & code, std::size_t first, std::vector<std::uint32_t> const & bases,
                     std::uint32_t value, ExtraBits const & extra_bits)
    {
        auto const base = std::upper_bound(bases.begin(), bases.end(), value) - 1;
        auto const symbol = static_cast<std::size_t>(base - bases.begin());
        PutSymbol(code, first + symbol);
        PutBits(value - *base, extra_bits(symbol));
    }

    std::string _data;
    std::size_t _bits = 0;
    CanonicalCode _literals{CodeLengths()};
    CanonicalCode _distances{CodeLengths()};
};

} // namespace velm::test

#endif
