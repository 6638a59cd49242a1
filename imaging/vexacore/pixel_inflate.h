#ifndef VEXACORE_PIXEL_INFLATE_H
#define VEXACORE_PIXEL_INFLATE_H

// A deflate reader (RFC 1951) for what PixelDeflater writes. Internal to the image libraries.

#include "vexacore/export.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace vexa {

// Inflates pieces of deflate data, half again as fast as a general reader.
//
// One look-up gives two literals, or the repetition of three pixels together with its distance. As each
// look-up has to wait for the one before, which tells where in the data it is, two pieces are inflated in
// turn: the processor works on both at a time.
//
// Refuses what PixelDeflater doesn't write though it is valid: blocks that are marked as the last or have the
// fixed codes, and codes with unused bits. An object is to be used by one thread at a time.
class VEXA_API PixelInflater {
  public:
    struct Piece {
        unsigned char const * packed; // whole blocks; padding more bytes behind them can be read
        std::size_t length;           // of the packed bytes
        unsigned char * target;
        std::size_t count;  // of the bytes that they are to make
        bool whole = false; // set by Inflate: they made exactly these
    };

    static constexpr std::size_t padding = 16;

    PixelInflater();
    ~PixelInflater();
    PixelInflater(PixelInflater && other) noexcept;
    PixelInflater & operator=(PixelInflater && other) noexcept;

    // Writes to no byte but those of the pieces, and to all of them only where a piece is whole.
    void Inflate(std::vector<Piece> & pieces);

  private:
    class Lane;

    std::unique_ptr<Lane[]> _lanes; // two
};

} // namespace vexa

#endif
