#ifndef TESTS_SUPPORT_CHIP_REFERENCE_H
#define TESTS_SUPPORT_CHIP_REFERENCE_H

#include "vexacore/image3d.h"

#include <array>
#include <vector>
#include <wx/gdicmn.h>

namespace velm::test {

// What mixing means, worked out the slow and obvious way: each channel's voxels are painted on the chip,
// pixel by pixel along each axis, and everything is then looked up there.
class ChipReference {
  public:
    using Image = vexa::Image3d<unsigned short>;

    // A channel whose first voxel begins at that chip coordinate; sampling: chip pixels per voxel. The image
    // is kept by its address.
    void Add(Image const & image, vexa::Vector3d<int> const & first, vexa::Vector3d<int> const & sampling);

    // The picture that was asked for: along each axis, the chip coordinate at which each output pixel begins.
    // Empty when there is nothing to show.
    struct Picture {
        std::array<std::vector<int>, 3> begins;
        vexa::Vector3d<int> step;

        bool IsEmpty() const { return begins[0].empty() || begins[1].empty() || begins[2].empty(); }
        vexa::Vector3d<unsigned int> Size() const;
    };
    Picture Show(int slice, wxRect const * rect) const;

    // The channel's voxel that covers the output pixel.
    unsigned short Voxel(std::size_t channel, Picture const & picture, unsigned int x, unsigned int y,
                         unsigned int z) const;

    // The part of the channel's image that the picture shows.
    vexa::Box Part(std::size_t channel, Picture const & picture) const;

  private:
    static constexpr int margin = 128;  // chip coordinates are from -margin to margin - 1
    static constexpr int coarsest = 32; // step
    static constexpr int nothing = -1;

    // Of each chip coordinate along an axis, the voxel there.
    using Line = std::array<int, 2 * margin>;

    static std::size_t PlaceOf(int chip)
    {
        int const place = chip + margin;
        return static_cast<std::size_t>(place);
    }

    struct Channel {
        Image const * image;
        std::array<Line, 3> voxels;

        int At(unsigned int axis, int chip) const { return voxels[axis][PlaceOf(chip)]; }
    };

    // Where all channels have voxels.
    std::vector<int> Common(unsigned int axis) const;

    // The coarsest step from there at which every voxel of every channel begins.
    int StepFrom(int first, unsigned int axis) const;

    std::vector<Channel> _channels;
};

} // namespace velm::test

#endif
