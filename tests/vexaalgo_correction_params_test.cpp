#include "vexaalgo/correction_params.h"

#include <gtest/gtest.h>
#include <vector>

namespace velm::test {

std::vector<double> Coefficients(vexa::ChromAberParams const & p)
{
    std::vector<double> all(p.x_plane, p.x_plane + 3);
    all.insert(all.end(), p.y_plane, p.y_plane + 3);
    all.insert(all.end(), p.z_surface, p.z_surface + 6);
    return all;
}

TEST(ChromAberParams, StartWithAllZero)
{
    EXPECT_EQ(Coefficients(vexa::ChromAberParams()), std::vector<double>(12, 0.0));
}

TEST(ChromAberParams, IdentityKeepsXAndYAndAddsNothingToZ)
{
    vexa::ChromAberParams params;
    params.x_plane[0] = 5.0;
    params.z_surface[5] = 5.0;
    params.SetIdentity();
    EXPECT_EQ(Coefficients(params), (std::vector<double>{0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}));
}

TEST(ChromAberParams, AreTwelveDoublesInOrder)
{
    static_assert(sizeof(vexa::ChromAberParams) == 12 * sizeof(double));
    static_assert(sizeof(vexa::HomomorphicFilterParams) == 4 * sizeof(double));
    vexa::ChromAberParams const params{{1, 2, 3}, {4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    EXPECT_EQ(Coefficients(params), (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    vexa::HomomorphicFilterParams const filter{1, 2, 3, 4};
    EXPECT_EQ((std::vector<double>{filter.gamma_low, filter.gamma_high, filter.c, filter.d0}),
              (std::vector<double>{1, 2, 3, 4}));
}

} // namespace velm::test
