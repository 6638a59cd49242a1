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
// fixed codes, codes that leave some bits without a meaning, as that of a single symbol does, and pieces that
// don't end with a whole byte. An object is to be used by one thread at a time; one that was moved from is
// only to be assigned to or destroyed.
class VEXA_API PixelInflater {
  public:
    struct Piece {
        unsigned char const * packed; // whole blocks; behind them so many bytes as padding can be read
        std::size_t length;           // of the packed bytes
        unsigned char * target;
        std::size_t count;  // of the bytes that they are to make
        bool whole = false; // set by Inflate: they made exactly these
    };

    static constexpr std::size_t padding = 16; // bytes, of any value

    PixelInflater();
    ~PixelInflater();
    PixelInflater(PixelInflater && other) noexcept;
    PixelInflater & operator=(PixelInflater && other) noexcept;

    // Writes to no byte outside of the targets. What these hold means nothing where a piece isn't whole.
    void Inflate(std::vector<Piece> & pieces);

  private:
    class Lane;

    std::unique_ptr<Lane[]> _lanes; // two
};

} // namespace vexa

#endif
