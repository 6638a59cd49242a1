#ifndef VEXAALGO_CHROMATIC_H
#define VEXAALGO_CHROMATIC_H

#include "vexaalgo/correction_params.h"
#include "vexacore/image3d.h"

namespace vexa {

// Undoes the chromatic shift of a channel: each voxel of out takes the value that in has at the place where
// the polynomial of the params leads. Instantiated for unsigned short.
//
// Places are in microns, on the axes of the image's own offset: the voxel i of an axis lies at offset + i /
// resolution. A part of an image is therefore corrected as it is within the whole. An axis whose resolution
// isn't a positive number counts one voxel per micron. A stack of one slice has no depth to move in, and its
// z' is z: a single slice, or a projection, is corrected in x and y alone.
//
// Values are interpolated linearly between the voxel centres of all three axes and rounded to the nearest. A
// voxel whose place lies outside the outermost centres of in by more than 2^-16 of a voxel becomes 0; so does
// every voxel when a coefficient isn't a finite number, or moves by more than 1e30 voxels. The identity
// leaves the image as it is, bit for bit.
//
// out gets the size, offset and resolution of in; when cut is true, it is reduced to the box that
// GetCuttingPosition gives, and has no voxels when nothing stays valid. in and out may be one object. Needs
// memory for the result, once more when it is cut, and for some rows. Throws InternalException when an axis
// is longer than 2^31 - 1 voxels.
template <typename T>
VEXA_API void CorrectChromaticAberration(Image3d<T> const & in, Image3d<T> & out,
                                         ChromAberParams const & params, bool cut);

// Gives the box of voxels, from first to last on each axis, that stay valid when an image of that offset
// (microns), resolution and size goes through CorrectChromaticAberration: each of them has its source inside
// the image.
//
// In x and y it is the rectangle of most voxels whose sources lie inside in x and y; of several as large the
// one with the lowest first x, then first y, then last x. In z it is all slices that lie inside for every
// voxel of that rectangle. So no side can be moved outwards.
//
// Where nothing stays valid, first is the size and last is 0 on all axes: who cuts off first voxels at the
// lower end and size - last - 1 at the upper, as numbers without sign, cuts off everything. No axis of the
// size must be 0 for that. Takes a time of the size of the longer side, of x and y; at worst, for shifts that
// turn the image by tens of degrees, of the square of the shorter side.
VEXA_API void GetCuttingPosition(Vector3d<float> const & offset, Resolution const & resolution,
                                 Vector3d<unsigned int> const & size, ChromAberParams const & params,
                                 Vector3d<unsigned int> & first, Vector3d<unsigned int> & last);

} // namespace vexa

#endif
