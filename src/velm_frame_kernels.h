#ifndef VELM_FRAME_KERNELS_H
#define VELM_FRAME_KERNELS_H

// The inner loops of VELM_FrameBuffer and VELM_ImageMapper. Internal.

#include "velm_vis_type.h"
#include "vexaalgo/lut.h"

#include <array>
#include <cstddef>
#include <vector>

namespace velm {

// As memcpy. Where a row lies just behind its source within a page, some processors' own copying of strings,
// which memcpy uses for rows of a few thousand bytes, takes five times as long; this doesn't.
//
// soon: as much memory that is needed next and that the processor doesn't foresee, since it is walked through
// backwards; null for none.
void CopyBytes(void const * source, std::size_t bytes, void * target, void const * soon = nullptr);

// target[i] = source[count - 1 - i]. The two must not overlap. soon: as above.
void CopyReversed(unsigned short const * source, std::size_t count, unsigned short * target,
                  void const * soon = nullptr);

// Turns raw pixels into the coloured bytes that a picture shows for them.
class FramePainter {
  public:
    FramePainter(vexa::VELM_LUT<unsigned short, unsigned char> const & lut, VELM_Channel_VisType vis);

    // Writes three bytes for each pixel.
    void Paint(unsigned short const * pixels, std::size_t count, unsigned char * target) const;

  private:
    // The bytes of a pixel of the picture, and one that is written for speed and then written over.
    using PixelBytes = std::array<unsigned char, 4>;

    void PaintByTable(unsigned short const * pixels, std::size_t count, unsigned char * target) const;
    void PaintByShift(unsigned short const * pixels, std::size_t count, unsigned char * target) const;

    std::array<PixelBytes, 256> _palette; // by output of the look-up table
    std::vector<PixelBytes> _colours;     // by raw pixel; empty when _shift is used

    // When not negative, the look-up table gives min(255, pixel >> _shift) and there are instructions that
    // do the same for many pixels at once.
    int _shift = -1;
};

} // namespace velm

#endif
