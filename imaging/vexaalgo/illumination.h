#ifndef VEXAALGO_ILLUMINATION_H
#define VEXAALGO_ILLUMINATION_H

#include "vexaalgo/correction_params.h"
#include "vexacore/image3d.h"

namespace vexa {

// Corrects uneven illumination by the image's own background; instantiated for unsigned short. Every voxel is
// divided by the background at its x and y and multiplied by the mean of the background, rounded to the
// nearest and saturated at 65535. One background serves all slices, since it is one light that falls on them:
// it comes from the mean of the slices, so that a blank one counts as little as it shows, and grey values of
// different slices, and of a projection, stay comparable.
//
// The background is a tensor-product B-spline of that degree (0 to 15) over patches_x times patches_y
// patches, with knots spaced evenly and repeated at the ends. It is fitted by least squares to samples in the
// centres of even blocks, 2 * patches + degree + 1 along each axis. A sample is that percentile (0 to 100) of
// what lies around the centre, two and a quarter blocks each way but inside the image: low enough to pass
// under the specimen. It is taken among means over cells of up to 8 x 8 pixels, where blocks are large, since
// single pixels would lie below the background by their noise. The fit is repeated on the image as corrected
// so far: in a window that is brighter on one side a percentile isn't that of the centre.
//
// Returns true on success, also for an image that is black all over, which stays so. Returns false, with out
// untouched, when an argument is out of range, the image has fewer pixels than blocks on an axis, the fit is
// singular (degrees above 12, or above 6 over very many patches, are hardly determined by the samples), or
// the background is not above 0 everywhere.
//
// out gets the size, offset and resolution of in; both may be one object. Needs memory for the cells' means
// and some rows beside the result: at worst, where blocks are few pixels wide, some ten values for each pixel
// of one slice.
template <typename T>
VEXA_API bool correctIlluminationBsplineAprox(Image3d<T> const & in, Image3d<T> & out, int percentile,
                                              int patches_x, int patches_y, int degree);

// Weighs down slow changes of brightness and up quick ones, as the emphasis of the params says, each slice
// for itself; instantiated for unsigned short. With the logarithm log(1 + v) light times specimen becomes a
// sum, whose parts differ in frequency; so the filter multiplies the real two-dimensional discrete Fourier
// transform of the logarithms by H(d) = (gamma_high - gamma_low) (1 - exp(-c d² / d0²)) + gamma_low (Gonzalez
// and Woods, Digital Image Processing), d² = u² + v² with u and v in cycles per image width and height, and
// goes back. Results are rounded to the nearest and limited to 0 to 65535. With H = 1 everywhere, such as
// with all params 1, the image stays as it is to within one grey value.
//
// Throws InternalException when a param isn't a finite number, c is below 0 or d0 is 0; out is then
// untouched. out gets the size, offset and resolution of in; both may be one object. Needs memory for the
// spectrum of one slice, about four bytes a pixel, beside the result. Sizes without large prime factors are
// quickest.
template <typename T>
VEXA_API void homFilter(Image3d<T> const & in, Image3d<T> & out, HomomorphicFilterParams const & params);

} // namespace vexa

#endif
