// The deflate reader for pixels, with our own writer, zlib and data put together by hand on the other side.

#include "support/deflate_builder.h"
#include "support/every_machine.h"
#include "support/packed_pixels.h"
#include "support/pixel_patterns.h"
#include "support/zlib_reader.h"
#include "support/zlib_writer.h"
#include "vexacore/pixel_inflate.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace velm::test {

using vexa::PixelInflater;

struct Packed {
    std::string data;
    std::string bytes; // that it is to become
};

Packed PackedPixels(Pattern const & pixel, std::size_t count)
{
    std::string const pixels = MakePixels(pixel, count);
    return {Compress(pixels), pixels};
}

// What a piece became.
struct Inflated {
    bool whole;
    std::string bytes;
};

constexpr std::size_t guard_bytes = 32;
constexpr char guard = '\x5a';

// The pieces inflated in one call. Their data lie one behind the other, and behind the last as many bytes of
// this value as have to be readable. Their targets lie so, too, with guards at both ends and so many bytes
// between.
std::vector<Inflated> InflateAll(PixelInflater & inflater, std::vector<Packed> const & packed,
                                 std::size_t between, char behind = '\xb7')
{
    std::string data;
    std::string targets(guard_bytes, guard);
    for (Packed const & piece : packed) {
        data += piece.data;
        targets += std::string(piece.bytes.size(), '\xa5') + std::string(between, guard);
    }
    targets += std::string(guard_bytes, guard);
    data += std::string(PixelInflater::padding, behind);
    std::vector<unsigned char> const source(data.begin(), data.end()); // nothing readable behind
    std::vector<PixelInflater::Piece> pieces;
    std::size_t from = 0;
    std::size_t to = guard_bytes;
    for (Packed const & piece : packed) {
        pieces.push_back({source.data() + from, piece.data.size(),
                          reinterpret_cast<unsigned char *>(targets.data()) + to, piece.bytes.size()});
        from += piece.data.size();
        to += piece.bytes.size() + between;
    }
    inflater.Inflate(pieces);

    std::vector<Inflated> inflated;
    for (PixelInflater::Piece const & piece : pieces) {
        auto * const target = reinterpret_cast<char *>(piece.target);
        inflated.push_back({piece.whole, std::string(target, piece.count)});
        std::fill_n(target, piece.count, guard);
    }
    EXPECT_TRUE(std::all_of(targets.begin(), targets.end(), [](char byte) { return byte == guard; }))
        << "written outside of the targets";
    return inflated;
}

// Expects every piece to come back, with targets side by side and apart.
void ExpectWhole(std::vector<Packed> const & packed)
{
    PixelInflater inflater;
    WithEveryInstructionSet([&] {
        for (std::size_t const between : {std::size_t{0}, guard_bytes}) {
            std::vector<Inflated> const inflated = InflateAll(inflater, packed, between);
            for (std::size_t i = 0; i < packed.size(); ++i) {
                EXPECT_TRUE(inflated[i].whole) << "piece " << i;
                EXPECT_TRUE(inflated[i].bytes == packed[i].bytes) << "piece " << i;
            }
        }
    });
}

// Expects every one of the pieces, none of which is alone then, to be refused without harm to those beside.
void ExpectRefused(Packed const & refused)
{
    PixelInflater inflater;
    Packed const good = PackedPixels(Camera, 3000);
    WithEveryInstructionSet([&] {
        for (std::size_t const between : {std::size_t{0}, guard_bytes}) {
            EXPECT_FALSE(InflateAll(inflater, {refused}, between).front().whole);
            for (std::size_t place = 0; place < 5; ++place) {
                std::vector<Packed> packed(5, good);
                packed[place] = refused;
                std::vector<Inflated> const inflated = InflateAll(inflater, packed, between);
                for (std::size_t i = 0; i < packed.size(); ++i) {
                    EXPECT_EQ(inflated[i].whole, i != place) << "piece " << i << ", bad one " << place;
                    EXPECT_TRUE(i == place || inflated[i].bytes == good.bytes) << "piece " << i;
                }
            }
        }
    });
}

// As above, of data that zlib takes.
void ExpectRefusedThoughValid(std::string const & data, std::string const & bytes)
{
    EXPECT_TRUE(BlocksInflatedByZlib(data, bytes.size()) == bytes);
    ExpectRefused({data, bytes});
}

TEST(PixelInflate, AnyNumberOfPixelsComesBack)
{
    for (NamedPattern const & pattern : Patterns()) {
        SCOPED_TRACE(pattern.name);
        std::vector<Packed> packed;
        for (std::size_t count = 1; count <= 80; ++count) {
            packed.push_back(PackedPixels(pattern.pixel, count));
        }
        ExpectWhole(packed);
    }
}

TEST(PixelInflate, AnyPixelsComeBackFromAnyNumberOfPieces)
{
    for (NamedPattern const & pattern : Patterns()) {
        SCOPED_TRACE(pattern.name);
        std::vector<Packed> packed;
        for (std::size_t const count : {1000, 20001, 777, 131071, 131072}) {
            packed.push_back(PackedPixels(pattern.pixel, count));
            ExpectWhole(packed);
        }
    }
}

TEST(PixelInflate, PiecesOfAllKindsComeBackSideBySide)
{
    std::vector<Packed> packed = {
        PackedPixels([](std::size_t i) { return Noisy(i, 110.0, 1.5); }, 9000),
        PackedPixels([](std::size_t i) { return Noisy(i, 900.0, 25.0); }, 9000),
        PackedPixels(Random, 9000),
        PackedPixels([](std::size_t) { return 0x1234U; }, 9000),
    };
    ASSERT_EQ(packed[2].data[0] & 7, 0) << "was to be stored";
    auto const by_data = [](Packed const & a, Packed const & b) { return a.data < b.data; };
    std::sort(packed.begin(), packed.end(), by_data);
    do {
        ExpectWhole(packed);
    } while (std::next_permutation(packed.begin(), packed.end(), by_data));
}

TEST(PixelInflate, NoPiecesAndEmptyOnesAreNothingToDo)
{
    ExpectWhole({});
    ExpectWhole({{"", ""}});
    Packed const pixels = PackedPixels(Camera, 500);
    ExpectWhole({{"", ""}, pixels, {"", ""}, {"", ""}, pixels});
    ExpectRefused({"", "a byte is missing"});
}

TEST(PixelInflate, InflaterMayBeMoved)
{
    PixelInflater first;
    PixelInflater second(std::move(first));
    Packed const pixels = PackedPixels(Camera, 5000);
    EXPECT_TRUE(InflateAll(second, {pixels, pixels}, 0).back().whole);
    first = std::move(second);
    EXPECT_TRUE(InflateAll(first, {pixels, pixels}, 0).back().whole);
}

TEST(PixelInflate, WhetherAPieceIsWholeIsToldAnew)
{
    Packed const pixels = PackedPixels(Camera, 500);
    std::string data = pixels.data + std::string(PixelInflater::padding, '\0');
    std::string target(pixels.bytes.size(), '\0');
    std::vector<PixelInflater::Piece> pieces = {
        {reinterpret_cast<unsigned char *>(data.data()), pixels.data.size(),
         reinterpret_cast<unsigned char *>(target.data()), target.size()}};
    PixelInflater inflater;
    for (bool const whole : {true, false, true}) {
        pieces[0].length = pixels.data.size() - (whole ? 0 : 1);
        inflater.Inflate(pieces);
        EXPECT_EQ(pieces[0].whole, whole);
    }
}

// Bytes of many kinds, as zlib may be given them.
std::vector<std::string> SomeBytes()
{
    std::string text;
    for (std::size_t i = 0; i < 8000; ++i) {
        text += std::to_string(Random(i) % 1000) + (Random(i) % 9 == 0 ? " micrometers\n" : " voxels; ");
    }
    std::string fibonacci; // how often each byte occurs, which gives the rarest the longest codes
    for (std::size_t byte = 0, count = 1, next = 1; byte < 24; ++byte) {
        fibonacci += std::string(count, static_cast<char>(byte * 11));
        count = std::exchange(next, next + count);
    }
    for (std::size_t i = fibonacci.size() - 1; i > 0; --i) {
        std::swap(fibonacci[i], fibonacci[Random(i) % (i + 1)]);
    }
    std::string runs;
    for (std::size_t i = 0; i < 700; ++i) {
        runs += std::string(Random(i) % 700, static_cast<char>(Random(i) >> 20));
    }
    std::string const noise = MakePixels(Random, 30000);
    std::string const period = noise.substr(0, 31000); // nearly as far as zlib looks back
    return {text, fibonacci, runs, noise, period + period + period, text + noise + runs};
}

TEST(PixelInflate, WhatZlibWritesComesBack)
{
    for (std::string const & bytes : SomeBytes()) {
        std::vector<Packed> packed;
        for (int const strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE}) {
            for (int const level : {0, 1, 6, 9}) {
                for (int const flush : {Z_SYNC_FLUSH, Z_FULL_FLUSH}) {
                    packed.push_back({DeflatedByZlib(bytes, level, strategy, flush), bytes});
                }
            }
        }
        ExpectWhole(packed);
    }
}

constexpr std::size_t literal_symbols = 286;
constexpr std::size_t distance_symbols = 30;

// Codes for data put together by hand.
struct Codes {
    CodeLengths literals;
    CodeLengths distances;
};

// Of nearly the same length, so that most literals come in pairs.
Codes EvenCodes()
{
    return {MakeLengths(literal_symbols, 0, 0), MakeLengths(distance_symbols, 0, 0)};
}

// Of 1 to 15 bits, the shortest for these symbols.
Codes UnevenCodes(std::size_t literal, std::size_t distance)
{
    return {MakeLengths(literal_symbols, 6, literal), MakeLengths(distance_symbols, 10, distance)};
}

// The symbol for a repetition of three pixels.
constexpr std::size_t three_pixels = 260;

std::vector<Codes> SomeCodes()
{
    return {EvenCodes(), UnevenCodes(0, 0), UnevenCodes(three_pixels, 0), UnevenCodes(three_pixels, 12),
            UnevenCodes(three_pixels, 22)};
}

// The data, ended on a whole byte, with what zlib makes of them.
Packed Finish(DeflateBuilder & builder, std::size_t most_bytes)
{
    builder.PutStored("");
    return {builder.GetData(), BlocksInflatedByZlib(builder.GetData(), most_bytes)};
}

constexpr std::size_t window = 32768;

// Behind a window of noise puts repetitions, in each of some codes, and expects all of it back. put returns
// how many bytes it made.
template <typename Put>
void ExpectWholeBehindNoise(Put const & put)
{
    std::string const noise = MakePixels(Random, window / 2);
    for (Codes const & codes : SomeCodes()) {
        DeflateBuilder builder;
        builder.Begin(codes.literals, codes.distances);
        builder.PutLiterals(noise);
        std::size_t const count = noise.size() + put(builder);
        builder.End();
        Packed const packed = Finish(builder, count);
        ASSERT_EQ(packed.bytes.size(), count);
        ExpectWhole({packed, packed});
    }
}

TEST(PixelInflate, EveryLengthComesBackFromNearAndFar)
{
    ExpectWholeBehindNoise([](DeflateBuilder & builder) {
        std::size_t count = 0;
        for (std::uint32_t const base : DeflateBuilder::DistanceBases()) {
            for (std::uint32_t length = 3; length <= 258; ++length) {
                builder.PutMatch(length, base);
                builder.PutLiteral(static_cast<unsigned char>(length));
                count += length + 1;
            }
        }
        return count;
    });
}

TEST(PixelInflate, PixelsAreRepeatedFromEveryDistance)
{
    ExpectWholeBehindNoise([](DeflateBuilder & builder) {
        for (std::uint32_t distance = window; distance > 0; --distance) {
            builder.PutMatch(6, distance);
        }
        return 6 * window;
    });
}

TEST(PixelInflate, LiteralsMayHaveTheLongestCodes)
{
    std::string const noise = MakePixels(Random, 3000);
    for (std::size_t const shortest : {0, 100, 250}) {
        Codes const codes = UnevenCodes(shortest, 0);
        EXPECT_EQ(*std::max_element(codes.literals.begin(), codes.literals.end()), 15);
        EXPECT_EQ(*std::max_element(codes.distances.begin(), codes.distances.end()), 15);
        DeflateBuilder builder;
        builder.Begin(codes.literals, codes.distances);
        builder.PutLiterals(noise);
        builder.End();
        Packed const packed = Finish(builder, noise.size());
        EXPECT_TRUE(packed.bytes == noise);
        ExpectWhole({packed, packed});
    }
}

TEST(PixelInflate, BlocksOfAPieceReferToThoseBefore)
{
    DeflateBuilder builder;
    builder.PutStored(MakePixels(Camera, 100));
    builder.Begin(EvenCodes().literals, EvenCodes().distances);
    builder.PutMatch(100, 200);
    builder.End();
    builder.Begin(EvenCodes().literals, EvenCodes().distances);
    builder.End();
    Codes const codes = UnevenCodes(three_pixels, 12);
    builder.Begin(codes.literals, codes.distances);
    for (std::size_t i = 0; i < 100; ++i) {
        builder.PutMatch(6, 96);
    }
    builder.End();
    builder.PutStored(MakePixels(Random, 30000));
    builder.PutStored("x");
    Packed const packed = Finish(builder, 61001);
    EXPECT_EQ(packed.bytes.size(), 60901U);
    ExpectWhole({packed, PackedPixels(Camera, 2000), packed});
}

TEST(PixelInflate, LastBlockMayEndOnAWholeByteOfItsOwn)
{
    std::size_t whole = 0;
    for (std::size_t count = 0; count < 32; ++count) {
        DeflateBuilder builder;
        builder.Begin(EvenCodes().literals, EvenCodes().distances);
        std::string const bytes(count, static_cast<char>(0xff)); // 9 bits
        builder.PutLiterals(bytes);
        builder.End();
        if (builder.CountBits() % 8 == 0) {
            ExpectWhole({{builder.GetData(), bytes}});
            ++whole;
        } else {
            ExpectRefused({builder.GetData(), bytes});
        }
    }
    EXPECT_GT(whole, 0U);
}

TEST(PixelInflate, RefusesFinalBlocks)
{
    std::string const text = SomeBytes().front();
    std::string const final = DeflatedByZlib(text, 6, Z_DEFAULT_STRATEGY, Z_FINISH);
    EXPECT_TRUE(InflatedByZlib(final, -15, text.size()) == text);
    ExpectRefused({final, text});
    Packed const pixels = PackedPixels(Camera, 5000);
    for (std::string const & end : {std::string("\3\0", 2), std::string("\1\0\0\xff\xff", 5)}) {
        EXPECT_TRUE(InflatedByZlib(pixels.data + end, -15, pixels.bytes.size()) == pixels.bytes);
        ExpectRefused({pixels.data + end, pixels.bytes});
    }
}

TEST(PixelInflate, RefusesFixedCodes)
{
    for (std::string const & bytes : {SomeBytes().front(), std::string("a")}) {
        ExpectRefusedThoughValid(DeflatedByZlib(bytes, 6, Z_FIXED, Z_SYNC_FLUSH), bytes);
    }
}

TEST(PixelInflate, RefusesCodesOfASingleSymbolOrNone)
{
    CodeLengths const none(distance_symbols, 0);
    CodeLengths single = none;
    single[1] = 1;
    for (CodeLengths const & distances : {none, single}) {
        DeflateBuilder builder;
        builder.Begin(EvenCodes().literals, distances);
        builder.PutLiterals("ab");
        if (distances == single) {
            builder.PutMatch(6, 2);
        }
        builder.End();
        builder.PutStored("");
        ExpectRefusedThoughValid(builder.GetData(), distances == single ? "abababab" : "ab");
    }
    CodeLengths only_end(literal_symbols, 0);
    only_end[256] = 1;
    DeflateBuilder builder;
    builder.Begin(only_end, EvenCodes().distances);
    builder.End();
    builder.PutStored("ab");
    ExpectRefusedThoughValid(builder.GetData(), "ab");
}

// A block of the codes with some bytes.
Packed BlockOf(CodeLengths const & literals, CodeLengths const & distances)
{
    std::string const bytes = "any bytes that are there";
    DeflateBuilder builder;
    builder.Begin(literals, distances);
    builder.PutLiterals(bytes);
    builder.End();
    builder.PutStored("");
    return {builder.GetData(), bytes};
}

TEST(PixelInflate, RefusesCodesThatAreIncompleteOrOverfull)
{
    Codes const codes = EvenCodes();
    ExpectWhole({BlockOf(codes.literals, codes.distances)});
    for (int const change : {1, -1}) {
        CodeLengths literals = codes.literals;
        CodeLengths distances = codes.distances;
        literals[200] = static_cast<std::uint8_t>(literals[200] + change);
        distances[20] = static_cast<std::uint8_t>(distances[20] + change);
        ExpectRefused(BlockOf(literals, codes.distances));
        ExpectRefused(BlockOf(codes.literals, distances));
    }
}

TEST(PixelInflate, RefusesMoreSymbolsThanThereAre)
{
    for (std::size_t const symbols : {literal_symbols, literal_symbols + 1, literal_symbols + 2}) {
        Packed const packed = BlockOf(MakeLengths(symbols, 0, 0), EvenCodes().distances);
        symbols == literal_symbols ? ExpectWhole({packed}) : ExpectRefused(packed);
    }
    for (std::size_t const symbols : {distance_symbols, distance_symbols + 1, distance_symbols + 2}) {
        Packed const packed = BlockOf(EvenCodes().literals, MakeLengths(symbols, 0, 0));
        symbols == distance_symbols ? ExpectWhole({packed}) : ExpectRefused(packed);
    }
}

// What a header tells lengths with: a symbol, and how often it is repeated.
struct Token {
    std::size_t symbol;
    std::uint32_t times;
};

// A block with these tokens for its even codes of 286 and 30 symbols, and some bytes.
Packed BlockOfTokens(std::vector<Token> const & tokens, CodeLengths const & of_lengths)
{
    std::string const bytes = "any bytes that are there";
    DeflateBuilder builder;
    builder.BeginHeader(literal_symbols, distance_symbols, of_lengths);
    CanonicalCode const code(of_lengths);
    for (Token const & token : tokens) {
        builder.PutSymbol(code, token.symbol);
        if (token.symbol == 16) {
            builder.PutBits(token.times - 3, 2);
        } else if (token.symbol == 17) {
            builder.PutBits(token.times - 3, 3);
        } else if (token.symbol == 18) {
            builder.PutBits(token.times - 11, 7);
        }
    }
    CanonicalCode const literals(EvenCodes().literals);
    for (char const byte : bytes) {
        builder.PutSymbol(literals, static_cast<unsigned char>(byte));
    }
    builder.PutSymbol(literals, 256);
    builder.PutStored("");
    return {builder.GetData(), bytes};
}

// The tokens of the lengths one by one, those of the literals first.
std::vector<Token> OneByOne(CodeLengths const & distances)
{
    std::vector<Token> tokens;
    for (CodeLengths const & lengths : {EvenCodes().literals, distances}) {
        for (std::uint8_t const length : lengths) {
            tokens.push_back({length, 1});
        }
    }
    return tokens;
}

TEST(PixelInflate, RefusesLengthsRepeatedTooOftenOrFromNothing)
{
    CodeLengths const of_lengths = MakeLengths(19, 0, 0);
    std::vector<Token> const all = OneByOne(EvenCodes().distances);
    ExpectWhole({BlockOfTokens(all, of_lengths)});
    for (std::uint32_t const times : {3, 4}) {
        std::vector<Token> tokens(all.begin(), all.end() - 3);
        tokens.push_back({16, times});
        Packed const packed = BlockOfTokens(tokens, of_lengths);
        times == 3 ? ExpectWhole({packed}) : ExpectRefused(packed);
    }
    for (Token const & zeros : {Token{17, 3}, Token{17, 4}, Token{18, 11}}) {
        std::vector<Token> tokens = OneByOne(MakeLengths(distance_symbols - 3, 0, 0));
        tokens.push_back(zeros);
        Packed const packed = BlockOfTokens(tokens, of_lengths);
        zeros.times == 3 ? ExpectWhole({packed}) : ExpectRefused(packed);
    }
    std::vector<Token> from_nothing(all.begin() + 3, all.end());
    from_nothing.insert(from_nothing.begin(), {16, 3});
    ExpectRefused(BlockOfTokens(from_nothing, of_lengths));
}

TEST(PixelInflate, RefusesIncompleteAndOverfullCodesOfLengths)
{
    std::vector<Token> const tokens = OneByOne(EvenCodes().distances);
    CodeLengths const plain = DeflateBuilder::PlainLengths();
    ExpectWhole({BlockOfTokens(tokens, plain)});
    for (std::uint8_t const length : {std::uint8_t{0}, std::uint8_t{3}}) {
        CodeLengths of_lengths = plain;
        of_lengths[15] = length;
        ExpectRefused(BlockOfTokens(tokens, of_lengths));
    }
}

TEST(PixelInflate, RefusesTheReservedType)
{
    Packed const pixels = PackedPixels(Camera, 500);
    ExpectRefused({'\6' + pixels.data, pixels.bytes});
    ExpectRefused({pixels.data + '\6', pixels.bytes});
}

TEST(PixelInflate, RefusesStoredBlocksThatDontFit)
{
    Packed const pixels = PackedPixels(Camera, 500);
    std::string const bytes = "stored";
    std::string const block = std::string("\0\6\0\xf9\xff", 5) + bytes;
    for (std::string const & before : {std::string(), pixels.data}) {
        std::string const made = before.empty() ? "" : pixels.bytes;
        ExpectWhole({{before + block, made + bytes}});
        for (std::size_t i = 1; i < 5; ++i) { // the length and its complement
            std::string damaged = block;
            damaged[i] = static_cast<char>(damaged[i] ^ 1 << i);
            ExpectRefused({before + damaged, made + bytes});
        }
        for (std::size_t length = 1; length < block.size(); ++length) {
            ExpectRefused({before + block.substr(0, length), made + bytes});
        }
        ExpectRefused({before + block, made + bytes.substr(1)});
        ExpectRefused({before + block, made + bytes + '.'});
    }
}

// Some of the noise, a repetition of it if that is asked for, one that goes so far beyond the beginning, and
// all of the noise.
Packed PackedRepetition(std::string const & noise, Codes const & codes, bool repeated, std::uint32_t length,
                        std::uint32_t beyond)
{
    DeflateBuilder builder;
    builder.Begin(codes.literals, codes.distances);
    builder.PutLiterals(noise.substr(0, 100));
    std::uint32_t made = 100;
    if (repeated) {
        builder.PutMatch(6, 100);
        made += 6;
    }
    builder.PutMatch(length, made + beyond);
    builder.PutLiterals(noise);
    builder.End();
    builder.PutStored("");
    return {builder.GetData(), std::string(made + length + noise.size(), '\0')};
}

TEST(PixelInflate, RefusesDistancesBeyondTheBeginning)
{
    std::string const noise = MakePixels(Random, 200);
    for (Codes const & codes :
         {EvenCodes(), UnevenCodes(three_pixels, 12),
          Codes{MakeLengths(literal_symbols, 1, three_pixels), EvenCodes().distances}}) {
        for (bool const repeated : {false, true}) {
            for (std::uint32_t const length : {3U, 6U, 258U}) {
                Packed inside = PackedRepetition(noise, codes, repeated, length, 0);
                inside.bytes = BlocksInflatedByZlib(inside.data, inside.bytes.size());
                ExpectWhole({inside, inside});
                ExpectRefused(PackedRepetition(noise, codes, repeated, length, 1));
                ExpectRefused(PackedRepetition(noise, codes, repeated, length, 9000));
            }
        }
    }
}

TEST(PixelInflate, RefusesRepetitionsOfNothing)
{
    DeflateBuilder builder;
    builder.Begin(EvenCodes().literals, EvenCodes().distances);
    builder.PutMatch(6, 1);
    builder.PutLiterals(MakePixels(Random, 200));
    builder.End();
    builder.PutStored("");
    ExpectRefused({builder.GetData(), std::string(406, '\0')});
}

// Data of all kinds, whose damage can be tried at every place.
std::vector<Packed> SmallPieces()
{
    std::string const text = SomeBytes().front().substr(0, 700);
    DeflateBuilder builder;
    Codes const codes = UnevenCodes(three_pixels, 3);
    builder.Begin(codes.literals, codes.distances);
    builder.PutLiterals(text.substr(0, 60));
    for (std::uint32_t distance = 1; distance <= 60; ++distance) {
        builder.PutMatch(6, distance);
    }
    builder.PutLiterals(text.substr(60, 20));
    builder.End();
    std::vector<Packed> pieces = {
        PackedPixels([](std::size_t i) { return Noisy(i, 110.0, 1.5); }, 400),
        PackedPixels([](std::size_t i) { return i < 300 ? 100U : Noisy(i, 900.0, 25.0); }, 400),
        PackedPixels(Random, 60),
        {DeflatedByZlib(text, 9, Z_DEFAULT_STRATEGY, Z_SYNC_FLUSH), text},
        Finish(builder, 440),
    };
    for (std::size_t const i : {0, 1, 3, 4}) {
        EXPECT_EQ(pieces[i].data[0] & 7, 2 << 1) << "was to have codes of its own";
    }
    return pieces;
}

TEST(PixelInflate, RefusesOtherNumbersOfBytes)
{
    std::vector<Packed> pieces = SmallPieces();
    ExpectWhole(pieces);
    pieces.push_back(PackedPixels(Camera, 3001));
    pieces.push_back(PackedPixels([](std::size_t) { return 7U; }, 3001));
    for (Packed const & piece : pieces) {
        for (std::size_t const difference : {1, 2, 3, 6, 13, 16, 40, 100}) {
            ExpectRefused({piece.data, piece.bytes.substr(difference)});
            ExpectRefused({piece.data, piece.bytes + std::string(difference, '.')});
        }
        ExpectRefused({piece.data, ""});
    }
}

TEST(PixelInflate, RefusesDataThatEndAnywhere)
{
    PixelInflater inflater;
    Packed const good = PackedPixels(Camera, 700);
    WithEveryInstructionSet([&] {
        for (Packed const & piece : SmallPieces()) {
            for (std::size_t length = 0; length < piece.data.size(); ++length) {
                Packed const cut = {piece.data.substr(0, length), piece.bytes};
                Packed const rest = {piece.data.substr(length), ""}; // lies just behind
                std::vector<Inflated> const inflated = InflateAll(inflater, {cut, rest, good}, guard_bytes);
                EXPECT_FALSE(inflated[0].whole) << "cut at " << length;
                EXPECT_TRUE(inflated[2].whole && inflated[2].bytes == good.bytes) << "cut at " << length;
                for (char const behind : {'\0', '\x6d', '\xff'}) {
                    EXPECT_FALSE(InflateAll(inflater, {cut}, 0, behind).front().whole) << "cut at " << length;
                }
            }
        }
    });
}

TEST(PixelInflate, DamagedBitNeverGivesOtherBytesThanZlibGets)
{
    PixelInflater inflater;
    Packed const good = PackedPixels(Camera, 700);
    std::size_t whole = 0;
    WithEveryInstructionSet([&] {
        for (Packed const & piece : SmallPieces()) {
            for (std::size_t bit = 0; bit < 8 * piece.data.size(); ++bit) {
                Packed damaged = piece;
                damaged.data[bit / 8] = static_cast<char>(damaged.data[bit / 8] ^ 1 << bit % 8);
                std::vector<Inflated> const inflated =
                    InflateAll(inflater, {good, damaged, good}, guard_bytes);
                EXPECT_TRUE(inflated[0].whole && inflated[0].bytes == good.bytes) << "bit " << bit;
                EXPECT_TRUE(inflated[2].whole && inflated[2].bytes == good.bytes) << "bit " << bit;
                if (inflated[1].whole) {
                    ++whole;
                    EXPECT_TRUE(BlocksInflatedByZlib(damaged.data, piece.bytes.size()) == inflated[1].bytes)
                        << "bit " << bit;
                }
            }
        }
    });
    EXPECT_GT(whole, 0U); // such as those with another literal
}

} // namespace velm::test
