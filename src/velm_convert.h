#ifndef VELM_CONVERT_H
#define VELM_CONVERT_H

#include "velm_export.h"

#include "vexacore/image3d.h"

namespace velm {

// Conversions between the voxel types of images. Each gives the destination the source's offset, resolution
// and size, then fills it. Exceptions of the image library pass through.
class VELM_API VELM_Convert {
  public:
    // Voxel by voxel. Integers keep their value; the flag has no effect on them. Floats are truncated toward
    // zero; with clamp, what lies outside the destination's range becomes the nearer end of it (a NaN 0), and
    // without, the truncated number's low bits remain.
    // Instantiated for (unsigned char, unsigned short), (unsigned short, unsigned short),
    // (float, unsigned char), (float, unsigned short) and the colour pair
    // (RGB_generic<unsigned char>, RGB_generic<unsigned short>).
    template <typename Tin, typename Tout>
    static void DirectMapping(vexa::Image3d<Tin> const & in, vexa::Image3d<Tout> & out, bool clamp);

    // The smallest voxel becomes 0, the largest 255, the others lie on the straight line between. An image of
    // one value becomes 0 everywhere. Instantiated for (unsigned short, unsigned char).
    template <typename Tin, typename Tout>
    static void LinearStretch(vexa::Image3d<Tin> const & in, vexa::Image3d<Tout> & out);

    // The eight bits that end at last_bit, where bit 1 is the lowest; voxels with a set bit above become 255.
    // -1 chooses it from the image: one more than the number of significant bits of its largest voxel.
    // Instantiated for (unsigned short, unsigned char).
    template <typename Tin, typename Tout>
    static void Top8Bits(vexa::Image3d<Tin> const & in, vexa::Image3d<Tout> & out, int last_bit);

    // The same for each colour with a last bit of its own.
    template <typename Tin, typename Tout>
    static void Top8Bits(vexa::Image3d<vexa::RGB_generic<Tin>> const & in,
                         vexa::Image3d<vexa::RGB_generic<Tout>> & out, int last_bit_red, int last_bit_green,
                         int last_bit_blue);
};

} // namespace velm

#endif
