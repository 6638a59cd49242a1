#ifndef VEXAALGO_PROJECTION_H
#define VEXAALGO_PROJECTION_H

#include "vexacore/image3d.h"

namespace vexa {

// The single-plane form of a stack: the largest value along z of each column. Offset and resolution are those
// of the stack. in and out may be one object; an empty stack gives an empty image. Instantiated for
// unsigned short.
template <typename T>
VEXA_API void Get_AF_XY(Image3d<T> const & in, Image3d<T> & out);

} // namespace vexa

#endif
