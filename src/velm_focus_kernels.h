#ifndef VELM_FOCUS_KERNELS_H
#define VELM_FOCUS_KERNELS_H

// The inner loops of the search for focus. Internal.

#include <cstddef>

namespace velm {

// The sum of (I(x + k, y) - I(x - k, y))² over y = k, 2k, ... below height - k and x = k, 2k, ... below
// width - k, as it comes out in double precision when it is taken in this order. k: at least 1.
double SumOfSquaredSteps(unsigned short const * pixels, std::size_t width, std::size_t height, std::size_t k);

// Writes the mean of each f by f block, truncated, into its top left corner, for corners at x and y = 0, f,
// ...; the other pixels stay. A block at the right edge reads on along the memory; one that would read behind
// the last pixel of all is left as it is.
void BinInPlace(unsigned short * pixels, std::size_t width, std::size_t height, std::size_t f);

} // namespace velm

#endif
