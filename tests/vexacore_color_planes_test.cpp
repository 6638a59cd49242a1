#include "vexacore/color_planes.h"

#include "support/every_machine.h"
#include "support/voxels.h"

namespace velm::test {

using vexa::Image3d;
using vexa::RGB_generic;

template <typename T>
class ColorPlanes : public testing::Test {
};
using ComponentTypes = testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(ColorPlanes, ComponentTypes);

TYPED_TEST(ColorPlanes, JoinAndSplitAreInverse)
{
    using Rgb = RGB_generic<TypeParam>;
    auto red = PatternImage<TypeParam>(5, 4, 3, 1);
    auto const green = PatternImage<TypeParam>(5, 4, 3, 2);
    auto const blue = PatternImage<TypeParam>(5, 4, 3, 3);
    red.offset = {1.0F, 2.0F, 3.0F};
    red.resolution = vexa::Resolution(4.0F, 5.0F, 6.0F);

    Image3d<Rgb> joined;
    vexa::GrayToRGB<TypeParam, Rgb>(red, green, blue, joined);
    EXPECT_EQ(joined.size, red.size);
    EXPECT_EQ(joined.offset, red.offset);
    EXPECT_EQ(joined.resolution.GetRes(), red.resolution.GetRes());
    EXPECT_EQ(joined.GetVoxel(4, 3, 2),
              Rgb(red.GetVoxel(4, 3, 2), green.GetVoxel(4, 3, 2), blue.GetVoxel(4, 3, 2)));

    Image3d<TypeParam> planes[3];
    vexa::RGBtoGray<Rgb, TypeParam>(joined, planes[0], planes[1], planes[2]);
    EXPECT_EQ(Voxels(planes[0]), Voxels(red));
    EXPECT_EQ(Voxels(planes[1]), Voxels(green));
    EXPECT_EQ(Voxels(planes[2]), Voxels(blue));
    for (Image3d<TypeParam> const & plane : planes) {
        EXPECT_EQ(plane.offset, red.offset);
        EXPECT_TRUE(plane.resolution.IsDefined());
    }
}

TYPED_TEST(ColorPlanes, RowsOfAnyLengthAreJoinedTheSameOnEveryMachine)
{
    auto const red = PatternImage<TypeParam>(70, 1, 1, 1);
    auto const green = PatternImage<TypeParam>(70, 1, 1, 2);
    auto const blue = PatternImage<TypeParam>(70, 1, 1, 3);
    OnEveryMachine([&] {
        for (unsigned int count = 0; count <= 69; ++count) {
            std::vector<RGB_generic<TypeParam>> joined(70);
            vexa::JoinPlanes(red.begin() + 1, green.begin(), blue.begin() + 1, count, joined.data());
            for (unsigned int i = 0; i < 70; ++i) {
                auto const expected =
                    i < count
                        ? RGB_generic<TypeParam>(red.GetVoxel(i + 1), green.GetVoxel(i), blue.GetVoxel(i + 1))
                        : RGB_generic<TypeParam>();
                ASSERT_EQ(joined[i], expected) << i << " of " << count;
            }
        }
    });
}

TYPED_TEST(ColorPlanes, OfDifferentSizesAreRefused)
{
    using Rgb = RGB_generic<TypeParam>;
    auto const large = PatternImage<TypeParam>(4, 4, 1);
    auto const small = PatternImage<TypeParam>(4, 3, 1);
    auto out = ConstantImage<Rgb>(1, 1, 1, Rgb(1, 2, 3));
    EXPECT_THROW((vexa::GrayToRGB<TypeParam, Rgb>(large, small, large, out)), vexa::InternalException);
    EXPECT_THROW((vexa::GrayToRGB<TypeParam, Rgb>(large, large, small, out)), vexa::InternalException);
    EXPECT_EQ(Voxels(out), std::vector<Rgb>{Rgb(1, 2, 3)});
}

TEST(RgbVoxel, IsPackedInTheOrderRedGreenBlue)
{
    static_assert(sizeof(RGB_generic<unsigned char>) == 3);
    static_assert(sizeof(RGB_generic<unsigned short>) == 6);
    RGB_generic<unsigned char> const voxels[2] = {{1, 2, 3}, {4, 5, 6}};
    auto const * const bytes = reinterpret_cast<unsigned char const *>(voxels);
    EXPECT_EQ(std::vector<int>(bytes, bytes + 6), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(RGB_generic<unsigned short>(), RGB_generic<unsigned short>(0, 0, 0));
}

} // namespace velm::test
