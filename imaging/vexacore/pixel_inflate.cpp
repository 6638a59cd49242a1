#include "vexacore/pixel_inflate.h"

#include "vexacore/cpu.h"
#include "vexacore/deflate_alphabets.h"
#include "vexacore/little_endian.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace vexa {

namespace {

using namespace deflate;

constexpr unsigned int longest_code = 15;

// So that the tables of two lanes lie in the fastest cache.
constexpr unsigned int look_up_bits = 11;
constexpr std::size_t table_size = std::size_t{1} << look_up_bits;

// What the data go on with, found by their next bits: one literal or two; the repetition of three pixels
// together with its distance, which is marked as both not_literals and pixels_repeated; or, marked as
// not_literals alone, anything that takes more than one look-up.
using Entry = std::uint32_t;
constexpr Entry taken_mask = 63; // how many bits all of it has, the distance's extra bits included
constexpr Entry not_literals = 1 << 6;
constexpr Entry pixels_repeated = 1 << 7;

// Of literals: their values, the first one lowest, and how many they are.
constexpr unsigned int value_shift = 8;
constexpr Entry value_mask = 0xffff;
constexpr unsigned int literals_shift = 30;
constexpr Entry one_literal = Entry{1} << literals_shift;

// Of a repetition: how many bits its two codes have, how many extra bits of its distance follow them, and, at
// value_shift, the least distance, to which these are added.
constexpr unsigned int codes_shift = 24;
constexpr Entry codes_mask = 15;
constexpr unsigned int extra_shift = 28;

constexpr std::size_t repeated_bytes = 6;
constexpr Entry too_long = taken_mask; // in the table of distances, of codes that exceed any look-up

// No step of a lane writes more, those bytes included that the next one overwrites.
constexpr std::size_t step_bytes = 16;

// What a symbol of a length or of a distance stands for: a number, to which extra bits are added.
struct Extended {
    std::uint32_t least;
    unsigned int extra_bits;
};

// Of a length, symbols counted from first_length on.
Extended LengthOf(unsigned int symbol)
{
    if (symbol + first_length == literal_symbols - 1) {
        return {longest_match, 0};
    }
    if (symbol < 8) {
        return {shortest_match + symbol, 0};
    }
    unsigned int const extra_bits = symbol / 4 - 1;
    return {shortest_match + ((4 + symbol % 4) << extra_bits), extra_bits};
}

Extended DistanceOf(unsigned int symbol)
{
    if (symbol < 4) {
        return {1 + symbol, 0};
    }
    unsigned int const extra_bits = symbol / 2 - 1;
    return {1 + ((2 + symbol % 2) << extra_bits), extra_bits};
}

// A literal together with what follows it where that is another one within the look-up, else alone.
Entry JoinLiterals(Entry first, Entry second)
{
    Entry const taken = (first & taken_mask) + (second & taken_mask);
    if ((second & not_literals) != 0 || taken > look_up_bits) {
        return first;
    }
    Entry const values = (first >> value_shift & value_mask) + ((second >> value_shift & value_mask) << 8);
    return taken | 2 * one_literal | values << value_shift;
}

// A repetition with its distance, where both codes are within the look-up. As a step copies all six bytes at
// once, those that are nearer would not be there yet.
Entry JoinDistance(Entry repetition, Entry distance)
{
    Entry const codes = (repetition & taken_mask) + (distance & taken_mask);
    Entry const least = distance >> value_shift & value_mask;
    if (codes > look_up_bits || least < repeated_bytes) {
        return not_literals;
    }
    Entry const extra = distance >> extra_shift;
    return (codes + extra) | codes << codes_shift | not_literals | pixels_repeated | extra << extra_shift |
           least << value_shift;
}

std::uint32_t LowBits(std::uint64_t bits, unsigned int count)
{
    return static_cast<std::uint32_t>(bits & ~(~std::uint64_t{0} << count));
}

// A canonical Huffman code (RFC 1951, 3.2.2).
class Code {
  public:
    // From the lengths of the symbols' codes, 0 for a symbol that has none, others at most longest_code.
    // False unless any bits begin with a code.
    bool Assign(std::uint8_t const * lengths, std::size_t count)
    {
        _counts.fill(0);
        std::for_each(lengths, lengths + count, [&](std::uint8_t length) { ++_counts[length]; });
        _counts[0] = 0;
        std::array<std::uint16_t, longest_code + 1> next;
        std::uint32_t used = 0;
        std::uint16_t symbols = 0;
        for (unsigned int length = 1; length <= longest_code; ++length) {
            next[length] = symbols;
            symbols = static_cast<std::uint16_t>(symbols + _counts[length]);
            used += std::uint32_t{_counts[length]} << (longest_code - length);
        }
        for (std::size_t symbol = 0; symbol < count; ++symbol) {
            if (lengths[symbol] != 0) {
                _symbols[next[lengths[symbol]]++] = static_cast<std::uint16_t>(symbol);
            }
        }
        return used == std::uint32_t{1} << longest_code;
    }

    struct Decoded {
        unsigned int symbol;
        unsigned int length; // of its code
    };

    // The symbol whose code the bits begin with.
    Decoded Decode(std::uint64_t bits) const
    {
        std::uint32_t code = 0;
        std::uint32_t first = 0; // the lowest code of that length
        std::uint32_t index = 0; // of its symbol
        for (unsigned int length = 1; length <= longest_code; ++length) {
            code = code << 1 | (bits & 1);
            bits >>= 1;
            if (code - first < _counts[length]) {
                return {_symbols[index + code - first], length};
            }
            index += _counts[length];
            first = (first + _counts[length]) << 1;
        }
        return {0, 0}; // only of a code that isn't complete
    }

    // Calls put(entry, symbol, length) for every entry of a table that is looked up by the next bits, as far
    // as these begin with a code that is not too long for it.
    template <typename Put>
    void ForEachEntry(Put const & put) const
    {
        std::uint32_t code = 0;
        std::uint32_t index = 0;
        for (unsigned int length = 1; length <= look_up_bits; ++length) {
            code <<= 1;
            for (std::uint32_t i = 0; i < _counts[length]; ++i, ++code, ++index) {
                for (std::size_t entry = Reverse(code, length); entry < table_size;
                     entry += std::size_t{1} << length) {
                    put(entry, _symbols[index], length);
                }
            }
        }
    }

  private:
    // The first bit of a code is its highest, but lies lowest in the data.
    static std::uint32_t Reverse(std::uint32_t code, unsigned int length)
    {
        std::uint32_t reversed = 0;
        for (unsigned int bit = 0; bit < length; ++bit) {
            reversed = reversed << 1 | (code >> bit & 1);
        }
        return reversed;
    }

    std::array<std::uint16_t, longest_code + 1> _counts{}; // of codes, by length
    std::array<std::uint16_t, literal_symbols> _symbols{}; // by length, then by code
};

} // namespace

// Inflates one piece after another.
class PixelInflater::Lane {
  public:
    void Begin(Piece & piece);

    // Goes on, with all care, to where Run can. False when the piece is done with, which is then whole or
    // isn't.
    bool Advance();

    // Inflate, without care for the ends of a piece, until a lane has to advance. Of two RunBoth tells which:
    // the first when true.
    static bool RunBoth(Lane & first, Lane & second);
    static void RunAlone(Lane & lane);

  private:
    // A place in the data and in what is made of them. A copy of it stays in registers while a lane runs.
    struct Cursor {
        std::uint64_t bits;       // the next ones, the first lowest
        std::uint64_t count;      // how many of them are there; only its lowest six bits count
        unsigned char const * in; // behind them
        unsigned char * out;

        // At least 56 bits are there then. Reads 8 bytes. Bits that don't count yet may be there already and
        // are the same ones (F. Giesen, "Reading bits in far too many ways", 2018, variant 4).
        VEXA_LOOP_BODY void Refill()
        {
            bits |= LoadLittle64(in) << (count & 63);
            in += 7 - (count >> 3 & 7);
            count |= 56;
        }

        // As many bits as the lowest six bits of the number say.
        VEXA_LOOP_BODY void Take(std::uint64_t taken)
        {
            bits >>= taken & 63;
            count -= taken;
        }

        unsigned int CountBits() const { return static_cast<unsigned int>(count & 63); }
    };

    bool Step(Cursor & cursor) const;
    bool Repeat(Cursor & cursor, Entry entry) const;
    static bool RunInTurn(Lane & first, Lane & second);
    static bool RunInTurnPlain(Lane & first, Lane & second);
    VEXA_AVX2 static bool RunInTurnAvx2(Lane & first, Lane & second);

    bool EnterBlock();
    bool CopyStored();
    bool ReadCodes();
    bool ReadLengths(Code const & code, std::uint8_t * lengths, std::size_t count);
    void FillTable();
    void StepWithCare();
    void StepBySymbol();
    void CopyBack(std::uint32_t distance, std::uint32_t length);
    std::uint32_t TakeBits(unsigned int count);
    void Refill();
    std::size_t GetRoom() const { return static_cast<std::size_t>(_end - _at.out); }

    std::array<Entry, table_size> _entries;
    std::array<Entry, table_size> _distance_entries; // the codes of distances alone, in the same form
    Code _literals;
    Code _distances;

    Piece * _piece = nullptr;
    Cursor _at{};
    unsigned char const * _in_end = nullptr;
    unsigned char * _target = nullptr;
    unsigned char * _end = nullptr;      // of the target
    unsigned char * _fast_end = nullptr; // before it, there is room for a step
    bool _in_codes = false;              // of a block
    bool _failed = false;
};

void PixelInflater::Lane::Begin(Piece & piece)
{
    _piece = &piece;
    _at = {0, 0, piece.packed, piece.target};
    _in_end = piece.packed + piece.length;
    _target = piece.target;
    _end = piece.target + piece.count;
    _fast_end = _end - std::min(piece.count, step_bytes);
    _in_codes = false;
    _failed = false;
}

// Up to four look-ups of literals, or up to two of repetitions. False when what comes next takes more care
// than this.
VEXA_LOOP_BODY bool PixelInflater::Lane::Step(Cursor & cursor) const
{
    constexpr std::uint64_t mask = table_size - 1;
    constexpr int literal_look_ups = 4; // for which one refill is enough, as for two repetitions
    if (cursor.out >= _fast_end || cursor.in > _in_end) {
        return false;
    }
    cursor.Refill();
    Entry entry = _entries[cursor.bits & mask];
    if ((entry & not_literals) != 0) {
        if ((entry & pixels_repeated) == 0 || !Repeat(cursor, entry)) {
            return false;
        }
        entry = _entries[cursor.bits & mask];
        return (entry & pixels_repeated) == 0 || Repeat(cursor, entry);
    }
    for (int i = 0; i < literal_look_ups && (entry & not_literals) == 0; ++i) {
        StoreLittle16(cursor.out, entry >> value_shift & value_mask);
        cursor.out += entry >> literals_shift;
        cursor.Take(entry);
        entry = _entries[cursor.bits & mask];
    }
    return true;
}

// False when the distance leads to before the beginning.
VEXA_LOOP_BODY bool PixelInflater::Lane::Repeat(Cursor & cursor, Entry entry) const
{
    std::uint64_t const behind_codes = cursor.bits >> (entry >> codes_shift & codes_mask);
    std::uint64_t const distance =
        (entry >> value_shift & value_mask) + LowBits(behind_codes, entry >> extra_shift);
    if (distance > static_cast<std::uint64_t>(cursor.out - _target)) {
        return false;
    }
    // Of the 8 bytes the first 6 count; JoinDistance has seen to it that these are there.
    StoreLittle64(cursor.out, LoadLittle64(cursor.out - distance));
    cursor.out += repeated_bytes;
    cursor.Take(entry);
    return true;
}

VEXA_LOOP_BODY bool PixelInflater::Lane::RunInTurn(Lane & first, Lane & second)
{
    Cursor at_first = first._at;
    Cursor at_second = second._at;
    bool first_goes_on = first.Step(at_first);
    while (first_goes_on && second.Step(at_second)) {
        first_goes_on = first.Step(at_first);
    }
    first._at = at_first;
    second._at = at_second;
    return !first_goes_on;
}

bool PixelInflater::Lane::RunInTurnPlain(Lane & first, Lane & second)
{
    return RunInTurn(first, second);
}

VEXA_AVX2 bool PixelInflater::Lane::RunInTurnAvx2(Lane & first, Lane & second)
{
    return RunInTurn(first, second);
}

bool PixelInflater::Lane::RunBoth(Lane & first, Lane & second)
{
    return GetInstructionSet() == InstructionSet::Avx2 ? RunInTurnAvx2(first, second)
                                                       : RunInTurnPlain(first, second);
}

void PixelInflater::Lane::RunAlone(Lane & lane)
{
    Cursor at = lane._at;
    while (lane.Step(at)) {
    }
    lane._at = at;
}

bool PixelInflater::Lane::Advance()
{
    while (_in_codes || EnterBlock()) {
        StepWithCare();
        if (_failed) {
            break;
        }
        if (_in_codes && _at.out < _fast_end) {
            return true;
        }
    }
    _piece->whole = !_failed;
    return false;
}

// Goes on to the next block with codes. False at the end of the piece, or with failure.
bool PixelInflater::Lane::EnterBlock()
{
    while (!_in_codes && !_failed) {
        std::ptrdiff_t const bits_left =
            8 * (_in_end - _at.in) + static_cast<std::ptrdiff_t>(_at.CountBits());
        if (bits_left <= 0) {
            _failed = bits_left < 0 || GetRoom() != 0;
            return false;
        }
        Refill();
        std::uint32_t const last = TakeBits(1);
        std::uint32_t const type = TakeBits(2);
        bool const known =
            last == 0 && (type == STORED ? CopyStored() : type == DYNAMIC_CODES && ReadCodes());
        _failed = _failed || !known;
    }
    return _in_codes;
}

bool PixelInflater::Lane::CopyStored()
{
    constexpr std::ptrdiff_t header = 4; // the number of bytes, and its complement
    _at.in -= _at.CountBits() / 8;       // behind the byte that was begun, whose rest is unused
    _at.bits = 0;
    _at.count = 0;
    if (_in_end - _at.in < header) {
        return false;
    }
    std::size_t const count = LoadLittle16(_at.in);
    bool const valid = (count ^ LoadLittle16(_at.in + 2)) == 0xffff;
    _at.in += header;
    if (!valid || count > static_cast<std::size_t>(_in_end - _at.in) || count > GetRoom()) {
        return false;
    }
    std::memcpy(_at.out, _at.in, count);
    _at.in += count;
    _at.out += count;
    return true;
}

// The header of a block with codes of its own (RFC 1951, 3.2.7).
bool PixelInflater::Lane::ReadCodes()
{
    std::size_t const literals = TakeBits(5) + 257;
    std::size_t const distances = TakeBits(5) + 1;
    std::size_t const told = TakeBits(4) + 4;
    if (literals > literal_symbols || distances > distance_symbols) {
        return false;
    }
    std::array<std::uint8_t, length_symbols> code_lengths{};
    for (std::size_t i = 0; i < told; ++i) {
        Refill();
        code_lengths[length_order[i]] = static_cast<std::uint8_t>(TakeBits(3));
    }
    Code code;
    std::array<std::uint8_t, literal_symbols + distance_symbols> lengths;
    if (!code.Assign(code_lengths.data(), code_lengths.size()) ||
        !ReadLengths(code, lengths.data(), literals + distances) ||
        !_literals.Assign(lengths.data(), literals) ||
        !_distances.Assign(lengths.data() + literals, distances)) {
        return false;
    }
    FillTable();
    _in_codes = true;
    return true;
}

bool PixelInflater::Lane::ReadLengths(Code const & code, std::uint8_t * lengths, std::size_t count)
{
    for (std::size_t i = 0; i < count && !_failed;) {
        Refill();
        Code::Decoded const next = code.Decode(_at.bits);
        _at.Take(next.length);
        unsigned int const symbol = next.symbol;
        if (symbol < repeat_before) {
            lengths[i++] = static_cast<std::uint8_t>(symbol);
            continue;
        }
        std::size_t const times = TakeBits(RepeatBits(symbol)) + (symbol == repeat_none_long ? 11 : 3);
        if (times > count - i || (symbol == repeat_before && i == 0)) {
            return false;
        }
        std::fill_n(lengths + i, times, symbol == repeat_before ? lengths[i - 1] : std::uint8_t{0});
        i += times;
    }
    return !_failed;
}

// First the single symbols; then, from the end, so that what stands before is single still, those that follow
// another within the look-up are joined to it.
void PixelInflater::Lane::FillTable()
{
    constexpr unsigned int repeated_symbol = first_length + repeated_bytes - shortest_match;
    _entries.fill(not_literals);
    _literals.ForEachEntry([&](std::size_t i, unsigned int symbol, unsigned int length) {
        if (symbol < end_of_block) {
            _entries[i] = length | one_literal | symbol << value_shift;
        } else if (symbol == repeated_symbol) {
            _entries[i] = length | not_literals | pixels_repeated;
        }
    });
    _distance_entries.fill(too_long);
    _distances.ForEachEntry([&](std::size_t i, unsigned int symbol, unsigned int length) {
        Extended const distance = DistanceOf(symbol);
        _distance_entries[i] = length | distance.extra_bits << extra_shift | distance.least << value_shift;
    });
    for (std::size_t i = table_size; i-- > 0;) {
        Entry const entry = _entries[i];
        std::size_t const behind = i >> (entry & taken_mask);
        if ((entry & not_literals) == 0) {
            _entries[i] = JoinLiterals(entry, _entries[behind]);
        } else if ((entry & pixels_repeated) != 0) {
            _entries[i] = JoinDistance(entry, _distance_entries[behind]);
        }
    }
}

// One look-up's worth, or one symbol that doesn't fit into a look-up.
void PixelInflater::Lane::StepWithCare()
{
    Refill();
    Entry const entry = _entries[_at.bits & (table_size - 1)];
    std::uint32_t const literals = entry >> literals_shift;
    if ((entry & not_literals) != 0) {
        StepBySymbol();
    } else if (literals > GetRoom()) {
        _failed = true;
    } else {
        for (std::uint32_t i = 0; i < literals; ++i) {
            *_at.out++ = static_cast<unsigned char>(entry >> (value_shift + 8 * i));
        }
        _at.Take(entry);
    }
}

void PixelInflater::Lane::StepBySymbol()
{
    Code::Decoded const next = _literals.Decode(_at.bits);
    _at.Take(next.length);
    if (next.symbol == end_of_block) {
        _in_codes = false;
    } else if (next.symbol > end_of_block) {
        Extended const length = LengthOf(next.symbol - first_length);
        std::uint32_t const bytes = length.least + TakeBits(length.extra_bits);
        Code::Decoded const code = _distances.Decode(_at.bits);
        _at.Take(code.length);
        Extended const distance = DistanceOf(code.symbol);
        CopyBack(distance.least + TakeBits(distance.extra_bits), bytes);
    } else if (GetRoom() > 0) {
        *_at.out++ = static_cast<unsigned char>(next.symbol);
    } else {
        _failed = true;
    }
}

void PixelInflater::Lane::CopyBack(std::uint32_t distance, std::uint32_t length)
{
    if (distance > static_cast<std::size_t>(_at.out - _target) || length > GetRoom()) {
        _failed = true;
        return;
    }
    unsigned char const * const source = _at.out - distance;
    while (length > 0) { // what has been copied is repeated with the rest
        std::uint32_t const piece = std::min(length, static_cast<std::uint32_t>(_at.out - source));
        std::memcpy(_at.out, source, piece);
        _at.out += piece;
        length -= piece;
    }
}

std::uint32_t PixelInflater::Lane::TakeBits(unsigned int count)
{
    std::uint32_t const taken = LowBits(_at.bits, count);
    _at.Take(count);
    return taken;
}

// Near the end of the piece some of the bits belong to what lies behind it. Whoever uses them up is found out
// at the end of the block, or here, before anything is read that lies further behind than the padding.
void PixelInflater::Lane::Refill()
{
    if (_at.in > _in_end + padding - sizeof(std::uint64_t)) {
        _failed = true;
    } else {
        _at.Refill();
    }
}

PixelInflater::PixelInflater() : _lanes(new Lane[2]) {}

PixelInflater::~PixelInflater() = default;

PixelInflater::PixelInflater(PixelInflater && other) noexcept = default;

PixelInflater & PixelInflater::operator=(PixelInflater && other) noexcept = default;

void PixelInflater::Inflate(std::vector<Piece> & pieces)
{
    auto next = pieces.begin();
    auto const go_on = [&](Lane & lane, bool begun) {
        bool runs = begun && lane.Advance();
        while (!runs && next != pieces.end()) {
            lane.Begin(*next++);
            runs = lane.Advance();
        }
        return runs;
    };
    Lane & first = _lanes[0];
    Lane & second = _lanes[1];
    bool first_runs = go_on(first, false);
    bool second_runs = go_on(second, false);
    while (first_runs && second_runs) {
        if (Lane::RunBoth(first, second)) {
            first_runs = go_on(first, true);
        } else {
            second_runs = go_on(second, true);
        }
    }
    Lane & last = first_runs ? first : second;
    for (bool runs = first_runs || second_runs; runs; runs = go_on(last, true)) {
        Lane::RunAlone(last);
    }
}

} // namespace vexa
