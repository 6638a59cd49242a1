#ifndef TESTS_SUPPORT_RANDOM_FIELD_H
#define TESTS_SUPPORT_RANDOM_FIELD_H

#include "support/chip_reference.h"
#include "support/memory_mixer.h"

#include <array>
#include <optional>
#include <random>
#include <vector>

namespace velm::test {

// Evenly from low to high, both included.
int Pick(std::mt19937 & random, int low, int high);

// Channels of random binnings, regions and sizes, which have something in common now and then.
struct RandomField {
    explicit RandomField(std::mt19937 & random);

    // By position; the id of the first is 1.
    std::vector<ChannelGeometry> channels;
    std::vector<VELM_Mixer::Image> images;
    std::vector<vexa::Vector3d<int>> shifts; // in chip pixels

    template <typename Base>
    void AddTo(MemoryMixer<Base> & mixer) const
    {
        for (std::size_t i = 0; i < channels.size(); ++i) {
            mixer.Add(channels[i], images[i]);
        }
    }

    // The field's images on a chip, each moved by its shift. Uses the field's images.
    ChipReference OnChip(std::vector<vexa::Vector3d<int>> const & moved_by) const;

    long PickId(std::mt19937 & random) const;
};

// A picture that a mixer could be asked for.
struct RandomRequest {
    RandomRequest(std::mt19937 & random, RandomField const & field);

    wxRect const * Rect() const { return rect ? &*rect : nullptr; }

    std::optional<wxRect> rect;
    int slice;
    std::array<long, 3> ids; // -1 for no channel
};

// Expects the picture's voxels to be those that the chip has for the channels.
void ExpectMixedAs(ChipReference const & chip, ChipReference::Picture const & picture,
                   std::array<long, 3> const & ids, VELM_Mixer::ColorImage const & mixed);

} // namespace velm::test

#endif
