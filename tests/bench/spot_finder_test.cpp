#include "spot_finder.h"

#include <cmath>
#include <gtest/gtest.h>

namespace velm::bench::test {

namespace {

using Image = vexa::Image3d<unsigned short>;

Image Dark()
{
    Image stack;
    stack.MakeRoom(120, 90, 5);
    // Uneven ground, as haze around a spot makes it.
    for (std::size_t i = 0; i < stack.GetCount(); ++i) {
        stack.SetVoxel(i, static_cast<unsigned short>(100 + i % 120));
    }
    return stack;
}

// A Gaussian spot in the middle slice and half of it in those beside.
void AddSpot(Image & stack, double x, double y, double height = 800.0)
{
    for (unsigned int k = 1; k <= 3; ++k) {
        for (unsigned int j = 0; j < stack.GetSizeY(); ++j) {
            for (unsigned int i = 0; i < stack.GetSizeX(); ++i) {
                double const square = (i - x) * (i - x) + (j - y) * (j - y);
                double const light = (k == 2 ? height : 0.5 * height) * std::exp(-square / (2.0 * 2.0 * 2.0));
                stack.SetVoxel(i, j, k,
                               static_cast<unsigned short>(std::lround(stack.GetVoxel(i, j, k) + light)));
            }
        }
    }
}

} // namespace

TEST(SpotFinder, FindsTheCentreToATwentiethOfAPixel)
{
    Image stack = Dark();
    AddSpot(stack, 40.3, 30.8);
    AddSpot(stack, 80.55, 60.0);
    std::vector<FoundSpot> const spots = FindSpots(stack, 200.0);
    ASSERT_EQ(spots.size(), 2u);
    EXPECT_NEAR(spots[0].x, 40.3, 0.05);
    EXPECT_NEAR(spots[0].y, 30.8, 0.05);
    EXPECT_EQ(spots[0].z, 2u);
    EXPECT_NEAR(spots[1].x, 80.55, 0.05);
    EXPECT_NEAR(spots[1].y, 60.0, 0.05);
}

TEST(SpotFinder, LeavesOutWhatIsFaintCrowdedOrAtTheBorder)
{
    Image stack = Dark();
    AddSpot(stack, 20.2, 20.3, 150.0);
    AddSpot(stack, 60.1, 40.2);
    AddSpot(stack, 68.3, 40.4);
    AddSpot(stack, 117.4, 80.0);
    EXPECT_TRUE(FindSpots(stack, 200.0).empty());
}

TEST(SpotFinder, PairsAreNearestToEachOtherAndWithinReach)
{
    std::vector<FoundSpot> const one = {{10.0, 10.0, 1}, {12.0, 10.0, 1}, {50.0, 50.0, 1}};
    std::vector<FoundSpot> const other = {{12.5, 10.0, 1}, {50.0, 59.0, 1}};
    auto const pairs = PairSpots(one, other, 8.0);
    ASSERT_EQ(pairs.size(), 1u);
    EXPECT_EQ(pairs[0].first.x, 12.0);
    EXPECT_EQ(pairs[0].second.x, 12.5);
    EXPECT_TRUE(PairSpots(one, {}, 8.0).empty());
}

} // namespace velm::bench::test
