#ifndef VEXAALGO_RESAMPLE_H
#define VEXAALGO_RESAMPLE_H

#include "vexacore/image3d.h"

namespace vexa {

// How new voxels come from old ones.
enum class SamplingMode {
    Default = 0 // area average along an axis that shrinks, linear between voxel centres where it grows
};

// Resamples a grey image to a new size; instantiated for unsigned short. The voxels cover the same part of
// the world as before: the resolution, where it is defined, follows the size, and the offset stays. Results
// are rounded to the nearest value. in and out may be one object. Throws InternalException when in is empty
// and the new size is not.
template <typename T>
VEXA_API void Resize(Image3d<T> const & in, Image3d<T> & out, Vector3d<unsigned int> const & new_size,
                     SamplingMode mode);

// The same for a colour image; instantiated for RGB_generic<unsigned short>.
template <typename RGB>
VEXA_API void Resample(Image3d<RGB> const & in, Image3d<RGB> & out, Vector3d<unsigned int> const & new_size,
                       SamplingMode mode);

} // namespace vexa

#endif
