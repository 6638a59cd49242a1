#include "sim_fading.h"

#include <algorithm>

namespace velm::sim::test {

TEST(SimFading, AddsUpWhereTheLightFalls)
{
    Fading fading;
    fading.Light("Blue", {0.0, 0.0, 30.0, 10.0}, 0.5);
    fading.Light("Blue", {25.0, -5.0, 40.0, 10.0}, 0.25);
    EXPECT_EQ(fading.LitSeconds("Blue", 0, 0), 0.5);
    EXPECT_EQ(fading.LitSeconds("Blue", 2, 0), 0.75);
    EXPECT_EQ(fading.LitSeconds("Blue", 3, -1), 0.25);
    EXPECT_EQ(fading.LitSeconds("Blue", 4, 0), 0.0);
    EXPECT_EQ(fading.LitSeconds("Green", 0, 0), 0.0);
}

TEST(SimFading, KnowsCellsOnAllSidesOfTheOrigin)
{
    Fading fading;
    fading.Light("Blue", {-13.0, -1.0, -11.5, 1.0}, 1.0);
    auto cells = fading.LitCells();
    std::sort(cells.begin(), cells.end());
    EXPECT_EQ(cells, (std::vector<std::pair<long, long>>{{-2, -1}, {-2, 0}, {-1, -1}, {-1, 0}}));
}

TEST(SimFading, NoLightLeavesNoTrace)
{
    Fading fading;
    fading.Light("Blue", {0.0, 0.0, 1.0, 1.0}, 0.0);
    EXPECT_TRUE(fading.LitCells().empty());
}

TEST(SimFading, GivesWhatTheMarkerHasLeft)
{
    Fading fading;
    Marker marker;
    marker.name = "Blue";
    fading.Light("Blue", {0.0, 0.0, 1.0, 1.0}, 30.0);
    EXPECT_EQ(fading.Remaining(marker, 0, 0), marker.Remaining(30.0));
    EXPECT_EQ(fading.Remaining(marker, 9, 9), 1.0);
}

} // namespace velm::sim::test
