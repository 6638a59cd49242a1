#ifndef VEXAALGO_SLICE_STATISTICS_H
#define VEXAALGO_SLICE_STATISTICS_H

#include "vexacore/image3d.h"

namespace vexa {

// What several frames of one place, the slices of a stack, have in common: one frame of their size. Offset
// and resolution are those of the stack. in and out may be one object; an empty stack gives an empty image.

// The mean of each column along z, in double precision, truncated.
VEXA_API void MeanOfSlices(Image3d<unsigned short> const & in, Image3d<unsigned short> & out);

// The median of each column along z: the middle value, or of the two middle ones the mean, truncated.
VEXA_API void MedianOfSlices(Image3d<unsigned short> const & in, Image3d<unsigned short> & out);

} // namespace vexa

#endif
