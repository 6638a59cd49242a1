#ifndef VEXACORE_PIXEL_DEFLATE_H
#define VEXACORE_PIXEL_DEFLATE_H

// A deflate writer (RFC 1951) for the pixels of cameras. Internal to the image libraries.

#include "vexacore/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vexa {

// Compresses 16-bit pixels, several times as fast as a writer that takes them for any bytes.
//
// Of a camera's pixel one byte is mostly noise and the other nearly constant, so that long repetitions don't
// exist and are not looked for. Pixels are coded three at a time, either as a repetition of the same three
// where they were seen last, which pays in dark parts and is tried only there, or as six literals whose codes
// come from one table look-up per pixel. Runs of one value become long repetitions. The Huffman codes are
// made for each call from a sample of what was found.
//
// The result depends on the pixels alone, not on the machine. An object is to be used by one thread at a
// time.
class VEXA_API PixelDeflater {
  public:
    // The most pixels that one call takes.
    static constexpr std::size_t largest_count = std::size_t{1} << 17;

    PixelDeflater();
    ~PixelDeflater();
    PixelDeflater(PixelDeflater const &) = delete;
    PixelDeflater & operator=(PixelDeflater const &) = delete;

    // The room that Compress needs for that many pixels; it doesn't use all of it.
    static std::size_t GetRoom(std::size_t count);

    // Writes 1 to largest_count pixels, of two bytes each in the order in which they lie in memory, as
    // deflate blocks that are not final, end on a whole byte and refer to nothing before them. Returns their
    // length, which exceeds that of the pixels by 32 bytes at most. source needs no alignment.
    std::size_t Compress(unsigned char const * source, std::size_t count, unsigned char * target);

  private:
    struct Work;
    std::unique_ptr<Work> _work;
};

} // namespace vexa

#endif
