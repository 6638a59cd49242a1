#include "vexaalgo/projection.h"

#include "support/voxels.h"

namespace velm::test {

using vexa::Image3d;

TEST(AfImage, IsTheLargestValueOfEachColumn)
{
    for (unsigned int const depth : {1U, 2U, 7U}) {
        auto image = PatternImage<unsigned short>(93, 61, depth); // more than one block of the algorithm
        image.offset = {1.0F, 2.0F, 3.0F};
        image.resolution = vexa::Resolution(4.0F, 5.0F, 6.0F);
        Image3d<unsigned short> projection;
        vexa::Get_AF_XY(image, projection);
        ASSERT_EQ(projection.size, vexa::Vector3d<unsigned int>(93, 61, 1));
        EXPECT_EQ(projection.offset, image.offset);
        EXPECT_EQ(projection.resolution.GetRes(), image.resolution.GetRes());
        for (unsigned int y = 0; y < 61; ++y) {
            for (unsigned int x = 0; x < 93; ++x) {
                unsigned short highest = 0;
                for (unsigned int z = 0; z < depth; ++z) {
                    highest = std::max(highest, image.GetVoxel(x, y, z));
                }
                ASSERT_EQ(projection.GetVoxel(x, y, 0), highest);
            }
        }
    }
}

TEST(AfImage, OfAnEmptyStackIsEmpty)
{
    auto projection = ConstantImage<unsigned short>(2, 2, 1, 1);
    vexa::Get_AF_XY(Image3d<unsigned short>(), projection);
    EXPECT_EQ(projection.GetCount(), 0U);
}

TEST(AfImage, MayReplaceItsStack)
{
    auto image = PatternImage<unsigned short>(5, 4, 3);
    Image3d<unsigned short> expected;
    vexa::Get_AF_XY(image, expected);
    vexa::Get_AF_XY(image, image);
    EXPECT_EQ(Voxels(image), Voxels(expected));
}

} // namespace velm::test
