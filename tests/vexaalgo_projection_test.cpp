#include "vexaalgo/projection.h"

#include "support/every_machine.h"
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

TEST(AfImage, IsTheSameOnAnyMachine)
{
    // Planes from a voxel to several parts that threads share, and depths around the four slices at a time.
    for (unsigned int const width : {1U, 15U, 16U, 17U, 4095U, 4097U}) {
        for (unsigned int const height : {1U, 3U, 150U}) {
            for (unsigned int const depth : {1U, 2U, 4U, 5U, 6U, 9U}) {
                auto const image = PatternImage<unsigned short>(width, height, depth, width + depth);
                std::vector<unsigned short> expected(image.begin(), image.begin() + width * height);
                for (std::size_t i = expected.size(); i < image.GetCount(); ++i) {
                    unsigned short & highest = expected[i % expected.size()];
                    highest = std::max(highest, image.GetVoxel(i));
                }
                OnEveryMachine([&] {
                    Image3d<unsigned short> projection;
                    vexa::Get_AF_XY(image, projection);
                    ASSERT_TRUE(Voxels(projection) == expected) << image.size;
                });
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
