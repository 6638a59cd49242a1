#ifndef CAMERA_STACK_H
#define CAMERA_STACK_H

#include "vexacore/image3d.h"

#include <cstddef>

namespace velm::bench {

// A stack of nuclei as the simulated camera takes it through the 63x objective: 12 bits, with noise, half a
// micron from slice to slice, in focus in the middle, 6.45 micron pixels. The same on every call.
vexa::Image3d<unsigned short> CameraStack(unsigned int width, unsigned int height, unsigned int slices);

// Reads the voxels from memory as fast as a loop can that does hardly anything with them: at four places at
// once, which memory delivers faster than one after the other.
void ReadAll(unsigned short const * voxels, std::size_t count);

} // namespace velm::bench

#endif
