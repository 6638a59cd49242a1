// The inflater of pixels: one to three pieces in one call. What it takes for whole, libdeflate must take,
// too, and make the same bytes of it; neither the instructions that are used nor the pieces beside may
// matter. The first byte tells how many pieces, the second what lies behind their data; then come, for each,
// how many bytes it is to make and how long its data are, and the data, of which the last piece gets the
// rest.

#include "fuzz_bytes.h"
#include "vexacore/cpu.h"
#include "vexacore/pixel_inflate.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <libdeflate.h>
#include <memory>
#include <vector>

namespace {

using vexa::PixelInflater;

// A piece in memory of its own, so that a byte outside of what it may read or write is noticed.
struct Piece {
    std::size_t length; // of the data
    std::size_t count;  // of the bytes that they are to make
    std::unique_ptr<unsigned char[]> packed;
    std::unique_ptr<unsigned char[]> target;

    PixelInflater::Piece Get() const { return {packed.get(), length, target.get(), count}; }
};

class Bytes : public velm::fuzz::Bytes {
  public:
    using velm::fuzz::Bytes::Bytes;

    std::vector<Piece> TakePieces()
    {
        std::vector<Piece> pieces(1 + Take<std::uint8_t>() % 3);
        auto const behind = Take<std::uint8_t>();
        for (Piece & piece : pieces) {
            piece.count = Take<std::uint16_t>();
            piece.length = Take<std::uint16_t>();
        }
        for (Piece & piece : pieces) {
            piece.length = &piece == &pieces.back() ? _size : std::min(piece.length, _size);
            piece.packed.reset(new unsigned char[piece.length + PixelInflater::padding]);
            std::fill_n(std::copy_n(_data, piece.length, piece.packed.get()), PixelInflater::padding, behind);
            piece.target.reset(new unsigned char[piece.count]);
            _data += piece.length;
            _size -= piece.length;
        }
        return pieces;
    }
};

// Whether the data, with an end, are what libdeflate makes the piece's bytes of.
bool LibdeflateAgrees(Piece const & piece)
{
    static libdeflate_decompressor * const inflater = libdeflate_alloc_decompressor();
    std::vector<unsigned char> packed(piece.packed.get(), piece.packed.get() + piece.length);
    packed.insert(packed.end(), {3, 0}); // the final block, which holds nothing
    std::vector<unsigned char> bytes(piece.count + 1);
    std::size_t used = 0;
    std::size_t made = 0;
    return libdeflate_deflate_decompress_ex(inflater, packed.data(), packed.size(), bytes.data(),
                                            bytes.size(), &used, &made) == LIBDEFLATE_SUCCESS &&
           used == packed.size() && made == piece.count &&
           std::equal(piece.target.get(), piece.target.get() + piece.count, bytes.data());
}

// Inflates some of the pieces together and checks those that are whole; tells which are.
std::vector<bool> Inflate(PixelInflater & inflater, std::vector<Piece> const & pieces, std::size_t first,
                          std::size_t count)
{
    std::vector<PixelInflater::Piece> together;
    for (std::size_t i = first; i < first + count; ++i) {
        std::fill_n(pieces[i].target.get(), pieces[i].count, std::uint8_t{0xa5});
        together.push_back(pieces[i].Get());
    }
    inflater.Inflate(together);
    std::vector<bool> whole;
    for (std::size_t i = 0; i < count; ++i) {
        whole.push_back(together[i].whole);
        if (together[i].whole && !LibdeflateAgrees(pieces[first + i])) {
            std::abort();
        }
    }
    return whole;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::vector<Piece> const pieces = Bytes(data, size).TakePieces();
    PixelInflater inflater;
    vexa::SetInstructionSet(vexa::InstructionSet::Avx2);
    std::vector<bool> const whole = Inflate(inflater, pieces, 0, pieces.size());
    vexa::SetInstructionSet(vexa::InstructionSet::Plain);
    bool same = Inflate(inflater, pieces, 0, pieces.size()) == whole;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        same = same && Inflate(inflater, pieces, i, 1).front() == whole[i];
    }
    if (!same) {
        std::abort();
    }
    return 0;
}
