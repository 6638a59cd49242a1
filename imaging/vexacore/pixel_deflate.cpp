#include "vexacore/pixel_deflate.h"

#include "vexacore/deflate_alphabets.h"
#include "vexacore/little_endian.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <limits>

namespace vexa {

namespace {

using namespace deflate;

// Short enough that the codes of four literals, and that of a repetition, fit a register beside the bits that
// wait for a whole byte.
constexpr unsigned int longest_code = 13;

// A pixel's entry in the table of literals: the codes of its two bytes, and above them how many bits they
// have.
constexpr unsigned int entry_code_bits = 26;
constexpr std::uint32_t entry_code_mask = (std::uint32_t{1} << entry_code_bits) - 1;

constexpr unsigned int hash_bits = 14;
constexpr std::uint32_t window = 1 << 14; // pixels to look back, all that deflate can

std::uint16_t LoadPixel(unsigned char const * source)
{
    std::uint16_t value;
    std::memcpy(&value, source, sizeof(value));
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? __builtin_bswap16(value) : value;
}

// Of three pixels that follow one another. In the dark, where they differ in little but their lower bits, no
// two threes are likely to share one.
std::uint16_t Hash(std::uint16_t first, std::uint16_t second, std::uint16_t third)
{
    constexpr unsigned int mask = 31;
    return static_cast<std::uint16_t>((first & mask) ^ (second & mask) << 5 ^ (third & mask) << 9);
}

unsigned int BitWidth(std::uint32_t value)
{
    return value == 0 ? 0 : 32U - static_cast<unsigned int>(__builtin_clz(value));
}

// Collects bits, the lowest first, and stores whole bytes.
class BitWriter {
  public:
    explicit BitWriter(unsigned char * target) : _next(target) {}

    static constexpr unsigned int most = 56;

    // At most that many bits; stores 8 bytes, of which those behind GetEnd mean nothing.
    void Put(std::uint64_t bits, unsigned int count)
    {
        _bits |= bits << _count;
        _count += count;
        StoreLittle64(_next, _bits);
        _next += _count / 8;
        _bits >>= _count & ~7U;
        _count &= 7;
    }

    void FillByte() { Put(0, (8 - _count) % 8); }

    unsigned char * GetEnd() const { return _next; }

  private:
    unsigned char * _next;
    std::uint64_t _bits = 0;
    unsigned int _count = 0; // below 8 between calls
};

// The Huffman code of an alphabet.
template <std::size_t N>
struct Code {
    std::array<std::uint8_t, N> length{}; // 0: the symbol has none
    std::array<std::uint16_t, N> bits{};  // the first bit lowest
};

// Lengths of the optimal code for the counts by the two queues of Moffat and Katajainen ("In-place
// calculation of minimum-redundancy codes", 1995), then shortened to the limit at some loss. Symbols without
// a count get no code; at least two have one.
template <std::size_t N>
void FindLengths(std::array<std::uint32_t, N> const & counts, unsigned int limit, Code<N> & code)
{
    std::array<std::uint64_t, N> sorted; // count and symbol
    std::size_t used = 0;
    for (std::size_t i = 0; i < N; ++i) {
        if (counts[i] > 0) {
            sorted[used++] = std::uint64_t{counts[i]} << 16 | i;
        }
    }
    std::sort(sorted.begin(), sorted.begin() + used);

    // Leaves are 0 to used - 1, inner nodes follow in the order in which they are made, the root last.
    std::array<std::uint64_t, 2 * N> weight;
    std::array<std::uint16_t, 2 * N> parent;
    for (std::size_t i = 0; i < used; ++i) {
        weight[i] = sorted[i] >> 16;
    }
    std::size_t leaf = 0;
    std::size_t inner = used;
    for (std::size_t made = used; made < 2 * used - 1; ++made) {
        weight[made] = 0;
        for (int child = 0; child < 2; ++child) {
            bool const take_leaf = leaf < used && (inner == made || weight[leaf] <= weight[inner]);
            std::size_t const taken = take_leaf ? leaf++ : inner++;
            weight[made] += weight[taken];
            parent[taken] = static_cast<std::uint16_t>(made);
        }
    }

    // Depths, downwards from the root; how many leaves are how deep, too deep ones counted at the limit.
    std::array<std::uint16_t, 2 * N> depth;
    std::array<std::uint32_t, 16> leaves{};
    depth[2 * used - 2] = 0;
    for (std::size_t i = 2 * used - 2; i-- > 0;) {
        depth[i] = static_cast<std::uint16_t>(depth[parent[i]] + 1);
        leaves[std::min<unsigned int>(depth[i], limit)] += i < used ? 1 : 0;
    }

    // Leaves move down until the code fits, each time the one that is deepest above the limit.
    std::uint64_t room = 0;
    for (unsigned int length = 1; length <= limit; ++length) {
        room += std::uint64_t{leaves[length]} << (limit - length);
    }
    for (; room > std::uint64_t{1} << limit; --room) {
        unsigned int length = limit - 1;
        while (leaves[length] == 0) {
            --length;
        }
        --leaves[length];
        leaves[length + 1] += 2;
        --leaves[limit];
    }
    code.length.fill(0);
    std::size_t next = 0; // the rarest get the longest
    for (unsigned int length = limit; length > 0; --length) {
        for (std::uint32_t i = 0; i < leaves[length]; ++i) {
            code.length[sorted[next++] & 0xffff] = static_cast<std::uint8_t>(length);
        }
    }
}

// The canonical code for the lengths (RFC 1951, 3.2.2).
template <std::size_t N>
void FindBits(Code<N> & code)
{
    std::array<std::uint32_t, 17> next{};
    for (std::uint8_t const length : code.length) {
        ++next[length + 1U];
    }
    next[1] = 0; // symbols without a code
    for (unsigned int length = 1; length < 16; ++length) {
        next[length + 1] = (next[length + 1] + next[length]) << 1;
    }
    for (std::size_t i = 0; i < N; ++i) {
        std::uint32_t reversed = 0;
        if (code.length[i] != 0) {
            std::uint32_t const bits = next[code.length[i]]++;
            for (unsigned int bit = 0; bit < code.length[i]; ++bit) {
                reversed = reversed << 1 | (bits >> bit & 1);
            }
        }
        code.bits[i] = static_cast<std::uint16_t>(reversed);
    }
}

template <std::size_t N>
void MakeCode(std::array<std::uint32_t, N> const & counts, unsigned int limit, Code<N> & code)
{
    FindLengths(counts, limit, code);
    FindBits(code);
}

// A symbol with the bits that follow it: those of a length or of a distance (RFC 1951, 3.2.5).
struct Extended {
    unsigned int symbol;
    unsigned int extra_bits;
    std::uint32_t extra;
};

// Of a distance from 1 on, in bytes.
Extended DistanceSymbol(std::uint32_t distance)
{
    std::uint32_t const value = distance - 1;
    if (value < 4) {
        return {value, 0, 0};
    }
    unsigned int const extra_bits = BitWidth(value) - 2;
    return {2 * extra_bits + (value >> extra_bits), extra_bits, value & ((1U << extra_bits) - 1)};
}

// Of the length of a repetition, 3 to 258 bytes.
Extended LengthSymbol(std::uint32_t length)
{
    std::uint32_t const value = length - shortest_match;
    if (length == longest_match) {
        return {285, 0, 0};
    }
    if (value < 8) {
        return {first_length + value, 0, 0};
    }
    unsigned int const extra_bits = BitWidth(value) - 3;
    return {first_length + 4 * extra_bits + (value >> extra_bits), extra_bits,
            value & ((1U << extra_bits) - 1)};
}

// The header of a block, which tells its two codes (RFC 1951, 3.2.7).
void PutHeader(Code<literal_symbols> const & literals, Code<distance_symbols> const & distances,
               BitWriter & out)
{
    std::array<std::uint8_t, literal_symbols + distance_symbols> lengths;
    std::copy(literals.length.begin(), literals.length.end(), lengths.begin());
    std::copy(distances.length.begin(), distances.length.end(), lengths.begin() + literal_symbols);

    struct Token {
        std::uint8_t symbol;
        std::uint8_t extra;
    };
    std::array<Token, literal_symbols + distance_symbols> tokens;
    std::array<std::uint32_t, length_symbols> counts{};
    std::size_t used = 0;
    for (std::size_t i = 0; i < lengths.size();) {
        std::size_t run = 1;
        while (i + run < lengths.size() && lengths[i + run] == lengths[i]) {
            ++run;
        }
        auto const add = [&](unsigned int symbol, std::size_t covered, std::size_t least) {
            tokens[used++] = {static_cast<std::uint8_t>(symbol), static_cast<std::uint8_t>(covered - least)};
            ++counts[symbol];
            i += covered;
        };
        if (lengths[i] == 0 && run >= 11) {
            add(repeat_none_long, std::min<std::size_t>(run, 138), 11);
        } else if (lengths[i] == 0 && run >= 3) {
            add(repeat_none, run, 3);
        } else if (run >= 4) {
            add(lengths[i], 1, 1);
            add(repeat_before, std::min<std::size_t>(run - 1, 6), 3);
        } else {
            add(lengths[i], 1, 1);
        }
    }
    counts[0] += counts[0] == 0 ? 1 : 0; // so that at least two symbols have a code
    counts[repeat_none_long] += counts[repeat_none_long] == 0 ? 1 : 0;
    Code<length_symbols> code;
    MakeCode(counts, longest_length_code, code);

    out.Put(DYNAMIC_CODES << 1, 3); // not the final block
    out.Put(literal_symbols - 257, 5);
    out.Put(distance_symbols - 1, 5);
    out.Put(length_symbols - 4, 4);
    for (std::uint8_t const symbol : length_order) {
        out.Put(code.length[symbol], 3);
    }
    for (std::size_t i = 0; i < used; ++i) {
        unsigned int const symbol = tokens[i].symbol;
        out.Put(code.bits[symbol], code.length[symbol]);
        out.Put(tokens[i].extra, RepeatBits(symbol));
    }
}

// The code of a repetition of two pixels: all of it but the distance's extra bits.
struct MatchEntry {
    std::uint32_t code = 0;
    std::uint16_t extra_mask = 0;  // which bits of the distance less one, in bytes, follow the code
    std::uint8_t code_length = 0;  // in bits
    std::uint8_t whole_length = 0; // with the extra bits
};

// Distances are held as how many pixels lie between, so that 0 is the pixel before. Of the far ones those
// that share a symbol in any case share an entry.
constexpr std::uint32_t near_distances = 128;
constexpr std::uint32_t sharing_distances = 64;
constexpr std::uint32_t match_entries = near_distances + window / sharing_distances;

std::uint32_t MatchIndex(std::uint32_t back)
{
    return back < near_distances ? back : near_distances + back / sharing_distances;
}

// The nearest of an entry's distances.
std::uint32_t MatchDistance(std::uint32_t index)
{
    return index < near_distances ? index : (index - near_distances) * sharing_distances;
}

std::uint32_t DistanceBytes(std::uint32_t back)
{
    return 2 * (back + 1);
}

// The lowest and the highest pixel.
struct Range {
    std::uint16_t lowest = 0xffff;
    std::uint16_t highest = 0;

    void Add(Range const & other)
    {
        lowest = std::min(lowest, other.lowest);
        highest = std::max(highest, other.highest);
    }
};

Range FindRange(unsigned char const * source, std::size_t count)
{
    // As signed numbers, of which any machine has the lower and the higher in one vector instruction.
    constexpr unsigned int sign = 0x8000;
    std::int16_t lowest = std::numeric_limits<std::int16_t>::max();
    std::int16_t highest = std::numeric_limits<std::int16_t>::min();
    for (std::size_t i = 0; i < count; ++i) {
        auto const pixel = static_cast<std::int16_t>(LoadPixel(source + 2 * i) ^ sign);
        lowest = std::min(lowest, pixel);
        highest = std::max(highest, pixel);
    }
    return {static_cast<std::uint16_t>(lowest ^ static_cast<int>(sign)),
            static_cast<std::uint16_t>(highest ^ static_cast<int>(sign))};
}

// Where three pixels were last seen, by their hash, modulo 2^16; 0 at first.
using Positions = std::array<std::uint16_t, 1 << hash_bits>;

// The pixels from begin to end that all have the value of the one before begin.
std::size_t CountRun(unsigned char const * source, std::size_t begin, std::size_t end)
{
    std::uint32_t const value = LoadPixel(source + 2 * (begin - 1));
    std::size_t i = begin;
    while (i < end && LoadPixel(source + 2 * i) == value) {
        ++i;
    }
    return i - begin;
}

// Calls put(length) for the repetitions that make up a run, each 3 to 258 bytes.
template <typename Put>
void SplitRun(std::size_t pixels, Put const & put)
{
    for (std::size_t bytes = 2 * pixels; bytes > 0;) {
        // Never leaves 2 bytes, for which there is no symbol.
        std::size_t const rest = bytes > longest_match ? bytes - longest_match : 0;
        std::size_t const piece = rest == 0 ? bytes : rest == 2 ? longest_match - 2 : longest_match;
        put(static_cast<std::uint32_t>(piece));
        bytes -= piece;
    }
}

// How often each symbol is needed.
struct Counts {
    std::array<std::uint32_t, literal_symbols> literals{};
    std::array<std::uint32_t, distance_symbols> distances{};
};

// How the next pixels are written: three that are repeated, given by their distance; the same with
// literal_token, three as literals; with plain_token, a stretch of literals; or, with run_token, that number
// of pixels that repeat the one before.
using Token = std::uint16_t;
constexpr Token literal_token = window;
constexpr Token plain_token = 0x8000;
constexpr Token run_token = 0xc000;
constexpr std::size_t longest_run = 0x3fff;

constexpr std::uint32_t stretch = 48; // pixels

// Of a stretch whose pixels differ by more, hardly three in a row were seen within a window: noise over so
// many values has more than its number of threes. Elsewhere, in the dark between the cells, most were.
constexpr int widest_searched = 32;

// The search of a block's pixels for repetitions.
class Search {
  public:
    // The first pixel is none of the tokens', nor are those from GetEnd on.
    void Run(unsigned char const * source, std::size_t count)
    {
        _used = 0;
        _counted_bytes = {};
        _counted_matches = {};
        _runs = Counts();
        _positions.fill(0);
        _range = FindRange(source, 1);
        std::size_t i = 1;
        while (i + stretch + read_more <= count) {
            unsigned char const * const here = source + 2 * i;
            if (LoadLittle64(here) == LoadLittle64(here - 2) &&
                LoadLittle64(here + 8) == LoadLittle64(here + 6)) {
                i += AddRun(CountRun(source, i, std::min(count, i + longest_run)));
                continue;
            }
            Range const range = FindRange(here, stretch);
            _range.Add(range);
            if (range.highest - range.lowest > widest_searched) {
                AddPlain(here);
            } else {
                LookUp(source, i);
            }
            i += stretch;
        }
        _range.Add(FindRange(source + 2 * i, count - i));
        _end = i;
    }

    Token const * begin() const { return _tokens.data(); }
    Token const * end() const { return _tokens.data() + _used; }
    std::size_t GetEnd() const { return _end; }

    // Of all pixels that may be written as literals.
    Range const & GetRange() const { return _range; }

    // Of all symbols, as far as the sample tells.
    Counts GetCounts() const
    {
        Counts counts = _runs;
        for (std::size_t i = 0; i < 256; ++i) {
            counts.literals[i] += group * (_counted_bytes[0][0][i] + _counted_bytes[0][1][i]);
        }
        for (std::uint32_t i = 0; i < match_entries; ++i) {
            counts.literals[LengthSymbol(6).symbol] += triples * _counted_matches[1][i];
            counts.distances[DistanceSymbol(DistanceBytes(MatchDistance(i))).symbol] +=
                triples * _counted_matches[1][i];
        }
        return counts;
    }

  private:
    static constexpr std::uint32_t triples = 4; // looked up before the next look for a run
    static constexpr std::uint32_t group = 3 * triples;
    static constexpr std::size_t read_more = 2; // pixels behind a stretch that looking up reads

    // Looks the threes of a stretch up, group by group, then notes where they and those that begin between
    // them are. What is found follows no rule, so a branch on it would be mispredicted.
    void LookUp(unsigned char const * source, std::size_t i)
    {
        std::array<std::uint16_t, stretch> hashes;
        unsigned char const * const here = source + 2 * i;
        for (std::uint32_t k = 0; k < stretch; ++k) {
            hashes[k] =
                Hash(LoadPixel(here + 2 * k), LoadPixel(here + 2 * k + 2), LoadPixel(here + 2 * k + 4));
        }
        for (std::uint32_t k = 0; k < stretch; k += group) {
            LookUpGroup(source, i + k, hashes.data() + k);
        }
    }

    void LookUpGroup(unsigned char const * source, std::size_t i, std::uint16_t const * hashes)
    {
        unsigned char const * const here = source + 2 * i;
        Token * const tokens = _tokens.data() + _used;
        std::array<std::uint32_t, triples> back;
        for (std::uint32_t k = 0; k < triples; ++k) {
            // The mask makes a distance of any old position, and a valid one: until a whole window lies
            // behind, positions are exact.
            back[k] = (static_cast<std::uint32_t>(i) + 3 * k - _positions[hashes[3 * k]] - 1) & (window - 1);
        }
        for (std::uint32_t k = 0; k < triples; ++k) {
            unsigned char const * const at = here + 6 * k;
            bool const differs = (LoadLittle64(at) ^ LoadLittle64(at - DistanceBytes(back[k]))) << 16 != 0;
            tokens[k] = static_cast<Token>(back[k] | (differs ? literal_token : 0U));
        }
        for (std::uint32_t k = 0; k < group; ++k) {
            _positions[hashes[k]] = static_cast<std::uint16_t>(i + k);
        }
        _used += triples;
        std::uint32_t const found = 1U - tokens[0] / literal_token;
        ++_counted_matches[found][MatchIndex(back[0])];
        ++_counted_bytes[found][0][here[0]];
        ++_counted_bytes[found][1][here[1]];
    }

    void AddPlain(unsigned char const * here)
    {
        _tokens[_used++] = plain_token;
        for (std::uint32_t k = 0; k < stretch; k += group) {
            ++_counted_bytes[0][0][here[2 * k]];
            ++_counted_bytes[0][1][here[2 * k + 1]];
        }
    }

    std::size_t AddRun(std::size_t pixels)
    {
        _tokens[_used++] = static_cast<Token>(run_token | pixels);
        SplitRun(pixels, [&](std::uint32_t length) {
            ++_runs.literals[LengthSymbol(length).symbol];
            ++_runs.distances[DistanceSymbol(2).symbol];
        });
        return pixels;
    }

    std::array<Token, PixelDeflater::largest_count / 3> _tokens;
    std::size_t _used = 0;
    std::size_t _end = 0;
    Range _range;
    // Samples, one of each group, by whether the pixels are repeated; the bytes of the first pixel apart.
    std::array<std::array<std::array<std::uint32_t, 256>, 2>, 2> _counted_bytes;
    std::array<std::array<std::uint32_t, match_entries>, 2> _counted_matches;
    Counts _runs; // the symbols of all of them
    Positions _positions;
};

// Writes the bytes as they are, in blocks that are not final. Returns the length.
std::size_t Store(unsigned char const * source, std::size_t bytes, unsigned char * target)
{
    constexpr std::size_t largest = 0xffff;
    unsigned char * out = target;
    for (std::size_t done = 0; done < bytes;) {
        std::size_t const piece = std::min(bytes - done, largest);
        auto const low = static_cast<unsigned char>(piece & 0xff);
        auto const high = static_cast<unsigned char>(piece >> 8);
        for (int const byte : {0, int{low}, int{high}, 0xff - low, 0xff - high}) {
            *out++ = static_cast<unsigned char>(byte);
        }
        std::memcpy(out, source + done, piece);
        out += piece;
        done += piece;
    }
    return static_cast<std::size_t>(out - target);
}

} // namespace

struct PixelDeflater::Work {
    // Writes a block that is not final, then an empty stored one, which ends on a whole byte.
    unsigned char * PutBlock(unsigned char const * source, std::size_t count, unsigned char * target);

  private:
    void MakeCodes();
    void MakeEntries(Range const & range);
    void MakeMatches();
    void PutTokens(unsigned char const * source, BitWriter & writer) const;
    void PutTriple(unsigned char const * source, BitWriter & out) const;
    void PutRun(std::size_t pixels, BitWriter & out) const;

    Search _search;
    Code<literal_symbols> _literals;
    Code<distance_symbols> _distances;
    std::array<std::uint32_t, 1 << 16> _entries; // by pixel; of all pixels that occur
    std::array<MatchEntry, match_entries> _matches;
};

// Every symbol that may be needed gets a code, be it in the sample or not.
void PixelDeflater::Work::MakeCodes()
{
    Counts counts = _search.GetCounts();
    Range const & range = _search.GetRange();
    std::uint32_t const low = range.lowest >> 8U;
    std::uint32_t const high = range.highest >> 8U;
    std::uint32_t const lowest_byte = low == high ? range.lowest & 0xffU : 0;
    std::uint32_t const highest_byte = low == high ? range.highest & 0xffU : 0xff;
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        bool const needed = (byte >= low && byte <= high) || (byte >= lowest_byte && byte <= highest_byte);
        counts.literals[byte] += needed ? 1 : 0;
    }
    ++counts.literals[end_of_block];
    ++counts.literals[LengthSymbol(6).symbol];
    for (std::uint32_t & distance : counts.distances) {
        ++distance;
    }
    MakeCode(counts.literals, longest_code, _literals);
    MakeCode(counts.distances, longest_code, _distances);
    MakeEntries(range);
    MakeMatches();
}

void PixelDeflater::Work::MakeEntries(Range const & range)
{
    for (std::uint32_t high = range.lowest >> 8U; high <= range.highest >> 8U; ++high) {
        std::uint32_t const bits = _literals.bits[high];
        std::uint32_t const length = _literals.length[high];
        for (std::uint32_t low = 0; low < 256; ++low) {
            std::uint32_t const low_length = _literals.length[low];
            _entries[high << 8 | low] =
                _literals.bits[low] | bits << low_length | (low_length + length) << entry_code_bits;
        }
    }
}

void PixelDeflater::Work::MakeMatches()
{
    unsigned int const symbol = LengthSymbol(6).symbol;
    unsigned int const length = _literals.length[symbol];
    for (std::uint32_t i = 0; i < match_entries; ++i) {
        Extended const distance = DistanceSymbol(DistanceBytes(MatchDistance(i)));
        MatchEntry & entry = _matches[i];
        entry.code = _literals.bits[symbol] | std::uint32_t{_distances.bits[distance.symbol]} << length;
        entry.code_length = static_cast<std::uint8_t>(length + _distances.length[distance.symbol]);
        entry.whole_length = static_cast<std::uint8_t>(entry.code_length + distance.extra_bits);
        entry.extra_mask = static_cast<std::uint16_t>((1U << distance.extra_bits) - 1);
    }
}

void PixelDeflater::Work::PutTriple(unsigned char const * source, BitWriter & out) const
{
    std::uint32_t const first = _entries[LoadPixel(source)];
    std::uint32_t const second = _entries[LoadPixel(source + 2)];
    std::uint32_t const third = _entries[LoadPixel(source + 4)];
    unsigned int const one_length = first >> entry_code_bits;
    unsigned int const two_length = one_length + (second >> entry_code_bits);
    unsigned int const length = two_length + (third >> entry_code_bits);
    std::uint64_t const two = (first & entry_code_mask) | std::uint64_t{second & entry_code_mask}
                                                              << one_length;
    if (length <= BitWriter::most) {
        out.Put(two | std::uint64_t{third & entry_code_mask} << two_length, length);
    } else {
        out.Put(two, two_length);
        out.Put(third & entry_code_mask, third >> entry_code_bits);
    }
}

void PixelDeflater::Work::PutRun(std::size_t pixels, BitWriter & out) const
{
    unsigned int const distance = DistanceSymbol(2).symbol;
    SplitRun(pixels, [&](std::uint32_t length) {
        Extended const symbol = LengthSymbol(length);
        out.Put(_literals.bits[symbol.symbol], _literals.length[symbol.symbol]);
        out.Put(symbol.extra, symbol.extra_bits);
        out.Put(_distances.bits[distance], _distances.length[distance]);
    });
}

void PixelDeflater::Work::PutTokens(unsigned char const * source, BitWriter & writer) const
{
    BitWriter out = writer; // in registers
    unsigned char const * here = source + 2;
    for (Token const token : _search) {
        if (token < literal_token) {
            MatchEntry const & entry = _matches[MatchIndex(token)];
            std::uint64_t const extra = (DistanceBytes(token) - 1) & entry.extra_mask;
            out.Put(entry.code | extra << entry.code_length, entry.whole_length);
            here += 6;
        } else if (token < plain_token) {
            PutTriple(here, out);
            here += 6;
        } else if (token < run_token) {
            for (std::uint32_t i = 0; i < stretch; i += 3) {
                PutTriple(here, out);
                here += 6;
            }
        } else {
            std::size_t const pixels = token - run_token;
            writer = out;
            PutRun(pixels, writer);
            out = writer;
            here += 2 * pixels;
        }
    }
    writer = out;
}

unsigned char * PixelDeflater::Work::PutBlock(unsigned char const * source, std::size_t count,
                                              unsigned char * target)
{
    _search.Run(source, count);
    MakeCodes();
    BitWriter out(target);
    PutHeader(_literals, _distances, out);
    auto const put_single = [&](std::size_t i) {
        std::uint32_t const entry = _entries[LoadPixel(source + 2 * i)];
        out.Put(entry & entry_code_mask, entry >> entry_code_bits);
    };
    put_single(0);
    PutTokens(source, out);
    for (std::size_t i = _search.GetEnd(); i < count; ++i) {
        put_single(i);
    }
    out.Put(_literals.bits[end_of_block], _literals.length[end_of_block]);
    out.Put(0, 3);
    out.FillByte();
    out.Put(0xffff0000, 32);
    return out.GetEnd();
}

PixelDeflater::PixelDeflater() : _work(new Work) {}

PixelDeflater::~PixelDeflater() = default;

std::size_t PixelDeflater::GetRoom(std::size_t count)
{
    constexpr std::size_t header = 1024; // a block's header, and what Put stores behind the end
    return count * 2 * longest_code / 8 + header;
}

std::size_t PixelDeflater::Compress(unsigned char const * source, std::size_t count, unsigned char * target)
{
    auto const length = static_cast<std::size_t>(_work->PutBlock(source, count, target) - target);
    return length <= 2 * count ? length : Store(source, 2 * count, target);
}

} // namespace vexa
