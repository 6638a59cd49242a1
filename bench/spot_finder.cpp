#include "spot_finder.h"

#include <algorithm>
#include <cmath>

namespace velm::bench {

namespace {

using Image = vexa::Image3d<unsigned short>;

constexpr int ring = 6;              // radius in pixels, beyond what a spot covers
constexpr int window = 5;            // half side of what a centroid sees
constexpr double window_sigma = 2.0; // about a spot's own
constexpr double alone = 10.0;       // from here on two spots don't disturb each other

// The mean along the ring around a voxel that lies far enough from the borders.
double Ground(Image const & stack, int x, int y, unsigned int z)
{
    double sum = 0.0;
    int count = 0;
    for (int dy = -ring; dy <= ring; ++dy) {
        for (int dx = -ring; dx <= ring; ++dx) {
            if (std::lround(std::hypot(dx, dy)) == ring) {
                sum +=
                    stack.GetVoxel(static_cast<unsigned int>(x + dx), static_cast<unsigned int>(y + dy), z);
                ++count;
            }
        }
    }
    return sum / count;
}

bool IsPeak(Image const & stack, unsigned int x, unsigned int y, unsigned int z)
{
    unsigned short const value = stack.GetVoxel(x, y, z);
    for (unsigned int k = z - 1; k <= z + 1; ++k) {
        for (unsigned int j = y - 1; j <= y + 1; ++j) {
            for (unsigned int i = x - 1; i <= x + 1; ++i) {
                if (stack.GetVoxel(i, j, k) > value) {
                    return false;
                }
            }
        }
    }
    return true;
}

// Moves the spot to the centroid. A Gaussian window halves the way for a spot of the window's own width, so
// each step is doubled.
FoundSpot Centred(Image const & stack, FoundSpot spot)
{
    int const x = static_cast<int>(spot.x);
    int const y = static_cast<int>(spot.y);
    double const ground = Ground(stack, x, y, spot.z);
    for (int round = 0; round < 20; ++round) {
        double weights = 0.0;
        double sum_x = 0.0;
        double sum_y = 0.0;
        for (int j = y - window; j <= y + window; ++j) {
            for (int i = x - window; i <= x + window; ++i) {
                double const dx = i - spot.x;
                double const dy = j - spot.y;
                double const light =
                    stack.GetVoxel(static_cast<unsigned int>(i), static_cast<unsigned int>(j), spot.z) -
                    ground;
                double const weight =
                    light * std::exp(-(dx * dx + dy * dy) / (2.0 * window_sigma * window_sigma));
                weights += weight;
                sum_x += weight * dx;
                sum_y += weight * dy;
            }
        }
        spot.x = std::clamp(spot.x + 2.0 * sum_x / weights, x - 1.5, x + 1.5);
        spot.y = std::clamp(spot.y + 2.0 * sum_y / weights, y - 1.5, y + 1.5);
    }
    return spot;
}

double Distance(FoundSpot const & one, FoundSpot const & other)
{
    return std::hypot(one.x - other.x, one.y - other.y);
}

std::size_t Nearest(std::vector<FoundSpot> const & spots, FoundSpot const & to)
{
    return static_cast<std::size_t>(std::min_element(spots.begin(), spots.end(),
                                                     [&](FoundSpot const & a, FoundSpot const & b) {
                                                         return Distance(a, to) < Distance(b, to);
                                                     }) -
                                    spots.begin());
}

} // namespace

std::vector<FoundSpot> FindSpots(Image const & stack, double contrast)
{
    std::vector<FoundSpot> peaks;
    unsigned int const margin = ring + 1;
    for (unsigned int z = 1; z + 1 < stack.GetSizeZ(); ++z) {
        for (unsigned int y = margin; y + margin < stack.GetSizeY(); ++y) {
            for (unsigned int x = margin; x + margin < stack.GetSizeX(); ++x) {
                if (stack.GetVoxel(x, y, z) > contrast && IsPeak(stack, x, y, z) &&
                    stack.GetVoxel(x, y, z) - Ground(stack, static_cast<int>(x), static_cast<int>(y), z) >
                        contrast) {
                    peaks.push_back({double{1} * x, double{1} * y, z});
                }
            }
        }
    }
    std::vector<FoundSpot> spots;
    for (FoundSpot const & peak : peaks) {
        auto const neighbours = std::count_if(peaks.begin(), peaks.end(), [&](FoundSpot const & other) {
            return Distance(peak, other) < alone;
        });
        if (neighbours == 1) { // itself
            spots.push_back(Centred(stack, peak));
        }
    }
    return spots;
}

std::vector<std::pair<FoundSpot, FoundSpot>> PairSpots(std::vector<FoundSpot> const & one,
                                                       std::vector<FoundSpot> const & other, double reach)
{
    std::vector<std::pair<FoundSpot, FoundSpot>> pairs;
    for (std::size_t i = 0; i < one.size() && !other.empty(); ++i) {
        std::size_t const nearest = Nearest(other, one[i]);
        if (Distance(one[i], other[nearest]) <= reach && Nearest(one, other[nearest]) == i) {
            pairs.emplace_back(one[i], other[nearest]);
        }
    }
    return pairs;
}

} // namespace velm::bench
