#include "support/random_field.h"

#include "support/voxels.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace velm::test {

int Pick(std::mt19937 & random, int low, int high)
{
    return std::uniform_int_distribution<int>(low, high)(random);
}

namespace {

unsigned int PickSize(std::mt19937 & random, int high)
{
    return static_cast<unsigned int>(Pick(random, 1, high));
}

} // namespace

RandomField::RandomField(std::mt19937 & random)
{
    int const count = Pick(random, 1, 4);
    for (int i = 0; i < count; ++i) {
        channels.push_back(
            {i + 1, Pick(random, 1, 6), Pick(random, 1, 6), Pick(random, -1, 9), Pick(random, -1, 9)});
        unsigned int const width = PickSize(random, 14);
        unsigned int const height = PickSize(random, 14);
        images.push_back(
            PatternImage<unsigned short>(width, height, PickSize(random, 4), static_cast<std::uint32_t>(i)));
        images.back().resolution = vexa::Resolution(10.0F, 8.0F, 4.0F);
        shifts.push_back({Pick(random, -7, 7), Pick(random, -7, 7), Pick(random, -1, 1)});
    }
}

ChipReference RandomField::OnChip(std::vector<vexa::Vector3d<int>> const & moved_by) const
{
    ChipReference chip;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        ChannelGeometry const & channel = channels[i];
        vexa::Vector3d<int> first(std::max(channel.s1, 0) / channel.sbin * channel.sbin,
                                  std::max(channel.p1, 0) / channel.pbin * channel.pbin, 0);
        first += moved_by[i];
        chip.Add(images[i], first, {channel.sbin, channel.pbin, 1});
    }
    return chip;
}

long RandomField::PickId(std::mt19937 & random) const
{
    return Pick(random, 1, static_cast<int>(channels.size()));
}

RandomRequest::RandomRequest(std::mt19937 & random, RandomField const & field)
    : slice(Pick(random, -1, 2)), ids()
{
    if (Pick(random, 0, 1) == 1) {
        int const x = Pick(random, -5, 15);
        int const y = Pick(random, -5, 15);
        int const width = Pick(random, 0, 30);
        rect.emplace(x, y, width, Pick(random, 0, 30));
    }
    for (long & id : ids) {
        id = Pick(random, 0, 3) == 0 ? -1 : field.PickId(random);
    }
}

void ExpectMixedAs(ChipReference const & chip, ChipReference::Picture const & picture,
                   std::array<long, 3> const & ids, VELM_Mixer::ColorImage const & mixed)
{
    ASSERT_EQ(mixed.size, picture.Size());
    for (unsigned int z = 0; z < mixed.size.z; ++z) {
        for (unsigned int y = 0; y < mixed.size.y; ++y) {
            for (unsigned int x = 0; x < mixed.size.x; ++x) {
                auto const expected = [&](long id) {
                    return id == -1 ? static_cast<unsigned short>(0)
                                    : chip.Voxel(static_cast<std::size_t>(id - 1), picture, x, y, z);
                };
                vexa::RGB_generic<unsigned short> const voxel(expected(ids[0]), expected(ids[1]),
                                                              expected(ids[2]));
                ASSERT_EQ(mixed.GetVoxel(x, y, z), voxel) << x << ' ' << y << ' ' << z;
            }
        }
    }
}

} // namespace velm::test
