#ifndef VEXACORE_COLOR_PLANES_H
#define VEXACORE_COLOR_PLANES_H

#include "vexacore/image3d.h"

#include <cstddef>

namespace vexa {

// Joins count voxels of three planes: out[i] = (red[i], green[i], blue[i]). out overlaps none of them.
VEXA_API void JoinPlanes(unsigned char const * red, unsigned char const * green, unsigned char const * blue,
                         std::size_t count, RGB_generic<unsigned char> * out);
VEXA_API void JoinPlanes(unsigned short const * red, unsigned short const * green,
                         unsigned short const * blue, std::size_t count, RGB_generic<unsigned short> * out);

// Joins three planes of the same size into one colour image; size, offset and resolution are those of red.
// Instantiated for T = unsigned char and unsigned short, RGB = RGB_generic<T>. Throws InternalException when
// the sizes differ, leaving out as it was.
template <typename T, typename RGB>
VEXA_API void GrayToRGB(Image3d<T> const & red, Image3d<T> const & green, Image3d<T> const & blue,
                        Image3d<RGB> & out);

// Splits a colour image into its three planes, each with the size, offset and resolution of in.
template <typename RGB, typename T>
VEXA_API void RGBtoGray(Image3d<RGB> const & in, Image3d<T> & red, Image3d<T> & green, Image3d<T> & blue);

} // namespace vexa

#endif
