#ifndef SPOT_FINDER_H
#define SPOT_FINDER_H

#include "vexacore/image3d.h"

#include <utility>
#include <vector>

namespace velm::bench {

// A spot's centre in voxels, the first one's centre being 0; z is the brightest slice.
struct FoundSpot {
    double x = 0.0;
    double y = 0.0;
    unsigned int z = 0;
};

// The spots of a stack: voxels that no neighbour exceeds and that exceed the ring around them by the
// contrast, with none other near them in the picture's plane. A centre is the centroid under a Gaussian
// window that is moved until it is centred on it, so that neither the ground nor the window's place draws it
// off.
std::vector<FoundSpot> FindSpots(vexa::Image3d<unsigned short> const & stack, double contrast);

// Pairs of spots of two pictures, each the other's nearest one and no farther than the reach, in voxels.
std::vector<std::pair<FoundSpot, FoundSpot>> PairSpots(std::vector<FoundSpot> const & one,
                                                       std::vector<FoundSpot> const & other, double reach);

} // namespace velm::bench

#endif
