#include "vexacore/image3d.h"

#include "support/sanitizers.h"
#include "support/voxels.h"

#include <cstdint>
#include <type_traits>

namespace velm::test {

using vexa::Box;
using vexa::Image3d;
using vexa::Resolution;
using vexa::RGB_generic;
using Floats = vexa::Vector3d<float>;
using Sizes = vexa::Vector3d<unsigned int>;
using Words = std::vector<unsigned short>;

// Each claim holds for each voxel type.
template <typename T>
class ImageOf : public testing::Test {
};
using VoxelTypes = testing::Types<unsigned char, unsigned short, float, RGB_generic<unsigned char>,
                                  RGB_generic<unsigned short>>;
TYPED_TEST_SUITE(ImageOf, VoxelTypes);

template <typename T>
T Value(int number)
{
    if constexpr (std::is_arithmetic_v<T>) {
        return static_cast<T>(number);
    } else {
        using Part = decltype(T::red);
        return T(static_cast<Part>(number), static_cast<Part>(number + 1), static_cast<Part>(number + 2));
    }
}

template <typename T>
Image3d<T> Counting(unsigned int x, unsigned int y, unsigned int z)
{
    Image3d<T> image;
    image.MakeRoom(x, y, z);
    for (std::size_t i = 0; i < image.GetCount(); ++i) {
        image.SetVoxel(i, Value<T>(static_cast<int>(i)));
    }
    return image;
}

TYPED_TEST(ImageOf, IsEmptyAtFirst)
{
    Image3d<TypeParam> const image;
    EXPECT_EQ(image.GetCount(), 0U);
    EXPECT_EQ(image.GetFirstVoxelAddr(), nullptr);
    EXPECT_EQ(image.begin(), image.end());
    EXPECT_EQ(image.offset, Floats());
    EXPECT_FALSE(image.resolution.IsDefined());
}

TYPED_TEST(ImageOf, TakesOffsetAndResolutionWhenGiven)
{
    Floats const offset(1.0F, 2.0F, 3.0F);
    Resolution const resolution(4.0F, 5.0F, 6.0F);
    Image3d<TypeParam> const image(&offset, &resolution);
    EXPECT_EQ(image.offset, offset);
    EXPECT_EQ(image.resolution.GetRes(), resolution.GetRes());
    EXPECT_TRUE(image.resolution.IsDefined());
}

TYPED_TEST(ImageOf, LaysItsVoxelsOutXFirstThenYThenZ)
{
    Image3d<TypeParam> image = Counting<TypeParam>(4, 3, 2);
    EXPECT_EQ(image.GetSizeX(), 4U);
    EXPECT_EQ(image.GetSizeY(), 3U);
    EXPECT_EQ(image.GetSizeZ(), 2U);
    EXPECT_EQ(image.GetIndex(1, 2, 1), 1U + 4U * (2U + 3U * 1U));
    EXPECT_EQ(image.GetVoxel(1, 2, 1), Value<TypeParam>(21));
    EXPECT_EQ(image.GetVoxel(21), Value<TypeParam>(21));
    EXPECT_EQ(image.GetVoxelAddr(1, 2, 1), image.GetFirstVoxelAddr() + 21);
    EXPECT_EQ(image.end() - image.begin(), 24);
    image.SetVoxel(1, 2, 1, Value<TypeParam>(99));
    EXPECT_EQ(image.GetVoxel(21), Value<TypeParam>(99));
}

TYPED_TEST(ImageOf, MakeRoomKeepsOffsetAndResolution)
{
    Image3d<TypeParam> image;
    image.offset = {1.0F, 2.0F, 3.0F};
    image.resolution = Resolution(1.0F, 1.0F, 1.0F);
    image.MakeRoom(3, 2, 1);
    EXPECT_EQ(image.size, Sizes(3, 2, 1));
    EXPECT_EQ(image.offset, Floats(1.0F, 2.0F, 3.0F));
    EXPECT_TRUE(image.resolution.IsDefined());
    image.MakeRoom(0, 2, 1);
    EXPECT_EQ(image.GetFirstVoxelAddr(), nullptr);
}

TYPED_TEST(ImageOf, MakeRoomThatFindsNoRoomChangesNothing)
{
    Image3d<TypeParam> image = Counting<TypeParam>(2, 2, 1);
    EXPECT_THROW(image.MakeRoom(0xffffffffU, 0xffffffffU, 0xffffffffU), std::bad_alloc);
    if (!velm::test::allocator_ends_the_program) {
        EXPECT_THROW(image.MakeRoom(0xffffffffU, 0xffffU, 0xffU), std::bad_alloc);
    }
    EXPECT_EQ(image.size, Sizes(2, 2, 1));
    EXPECT_EQ(Voxels(image), Voxels(Counting<TypeParam>(2, 2, 1)));
}

TYPED_TEST(ImageOf, CopiesAreDeep)
{
    Image3d<TypeParam> image = Counting<TypeParam>(3, 2, 2);
    image.offset = {1.0F, 0.0F, 0.0F};
    image.resolution = Resolution(2.0F, 2.0F, 2.0F);
    Image3d<TypeParam> const copy(image);
    Image3d<TypeParam> assigned = Counting<TypeParam>(7, 1, 1);
    assigned = image;
    Image3d<TypeParam> const whole(image, nullptr);
    Image3d<TypeParam> const & self = image;
    image = self;
    std::vector<TypeParam> const before = Voxels(image);
    image.Clear();
    for (Image3d<TypeParam> const * const other :
         {&copy, const_cast<Image3d<TypeParam> const *>(&assigned), &whole}) {
        EXPECT_EQ(Voxels(*other), before);
        EXPECT_EQ(other->size, image.size);
        EXPECT_EQ(other->offset, image.offset);
        EXPECT_EQ(other->resolution.GetRes(), image.resolution.GetRes());
    }
}

TYPED_TEST(ImageOf, MovesLeaveAnEmptyImage)
{
    Image3d<TypeParam> image = Counting<TypeParam>(3, 2, 2);
    TypeParam const * const block = image.GetFirstVoxelAddr();
    Image3d<TypeParam> moved(std::move(image));
    EXPECT_EQ(moved.GetFirstVoxelAddr(), block);
    EXPECT_EQ(moved.size, Sizes(3, 2, 2));
    Image3d<TypeParam> assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.GetFirstVoxelAddr(), block);
    EXPECT_EQ(moved.GetCount(), 0U); // NOLINT(bugprone-use-after-move): that is the claim
    EXPECT_EQ(moved.GetFirstVoxelAddr(), nullptr);
}

TYPED_TEST(ImageOf, ClearSetsAllToZeroAndKeepsTheSize)
{
    Image3d<TypeParam> image = Counting<TypeParam>(3, 2, 2);
    image.Clear();
    EXPECT_EQ(Voxels(image), std::vector<TypeParam>(12));
    EXPECT_EQ(image.size, Sizes(3, 2, 2));
}

TYPED_TEST(ImageOf, CopyFromVoiFillsWhatLiesOutside)
{
    Image3d<TypeParam> const source = Counting<TypeParam>(5, 4, 3);
    TypeParam const fill = Value<TypeParam>(77);
    for (Box const & box : {Box(0, 0, 0, 5, 4, 3), Box(1, 1, 1, 2, 2, 1), Box(-2, -1, -1, 9, 7, 6),
                            Box(3, 2, 1, 4, 4, 4), Box(-9, 0, 0, 3, 2, 1), Box(5, 0, 0, 3, 2, 1),
                            Box(0, 0, 9, 2, 2, 2), Box(2147483647, 0, 0, 2, 1, 1), Box(-3, 0, 0, 3, 1, 1)}) {
        Image3d<TypeParam> copy;
        copy.CopyFromVOI(source, box, false, fill);
        ASSERT_EQ(copy.size, box.size);
        for (unsigned int z = 0; z < box.size.z; ++z) {
            for (unsigned int y = 0; y < box.size.y; ++y) {
                for (unsigned int x = 0; x < box.size.x; ++x) {
                    std::int64_t const u = std::int64_t{box.offset.x} + x;
                    std::int64_t const v = std::int64_t{box.offset.y} + y;
                    std::int64_t const w = std::int64_t{box.offset.z} + z;
                    bool const inside = u >= 0 && u < 5 && v >= 0 && v < 4 && w >= 0 && w < 3;
                    TypeParam const expected =
                        inside ? source.GetVoxel(static_cast<std::size_t>(u + 5 * (v + 4 * w))) : fill;
                    EXPECT_EQ(copy.GetVoxel(x, y, z), expected);
                }
            }
        }
    }
}

TEST(Image3d, BoxConstructorMovesTheOffsetWithTheBox)
{
    auto source = PatternImage<unsigned short>(6, 5, 4);
    source.offset = {10.0F, 20.0F, 30.0F};
    source.resolution = Resolution(2.0F, 4.0F, 0.5F);
    Box const box(3, 2, 1, 2, 2, 3);
    Image3d<unsigned short> const part(source, &box);
    EXPECT_EQ(Voxels(part), VoxelsOf(source, box));
    EXPECT_EQ(part.offset, Floats(11.5F, 20.5F, 32.0F));
    EXPECT_EQ(part.resolution.GetRes(), source.resolution.GetRes());
}

TEST(Image3d, BoxOfAnImageWithoutResolutionKeepsTheOffset)
{
    auto source = PatternImage<unsigned short>(6, 5, 4);
    source.offset = {10.0F, 20.0F, 30.0F};
    Box const box(3, 2, 1, 2, 2, 3);
    EXPECT_EQ(Image3d<unsigned short>(source, &box).offset, source.offset);
}

TEST(Image3d, BoxConstructorRefusesABoxThatReachesOutside)
{
    auto const source = PatternImage<unsigned short>(6, 5, 4);
    for (Box const & box : {Box(-1, 0, 0, 1, 1, 1), Box(0, 0, 0, 7, 5, 4), Box(5, 4, 3, 1, 1, 2)}) {
        EXPECT_THROW(Image3d<unsigned short>(source, &box), vexa::InternalException);
        EXPECT_THROW(source.SaveImage("/nowhere/x.ics", vexa::FileFormat::FromName, false, &box),
                     vexa::InternalException);
    }
}

TEST(Image3d, CopyFromVoiCanKeepItsOwnGeometryAndCopyFromItself)
{
    auto image = PatternImage<unsigned short>(4, 4, 1);
    Words const expected = VoxelsOf(image, Box(1, 1, 0, 2, 2, 1));
    image.offset = {1.0F, 2.0F, 3.0F};
    image.resolution = Resolution(1.0F, 1.0F, 1.0F);
    image.CopyFromVOI(image, Box(1, 1, 0, 2, 2, 1), true, 0);
    EXPECT_EQ(Voxels(image), expected);
    EXPECT_EQ(image.offset, Floats(1.0F, 2.0F, 3.0F));
    image.CopyFromVOI(image, Box(1, 0, 0, 1, 1, 1), false, 0);
    EXPECT_EQ(image.offset, Floats(2.0F, 2.0F, 3.0F));
}

TEST(Image3d, GetRangeFindsSmallestAndLargest)
{
    auto image = ConstantImage<unsigned short>(5, 5, 2, 300);
    unsigned short min = 1;
    unsigned short max = 1;
    image.GetRange(min, max);
    EXPECT_EQ(min, 300);
    EXPECT_EQ(max, 300);
    image.SetVoxel(49, 65535);
    image.SetVoxel(0, 2);
    image.GetRange(min, max);
    EXPECT_EQ(min, 2);
    EXPECT_EQ(max, 65535);
    Image3d<unsigned short>().GetRange(min, max);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 0);
}

} // namespace velm::test
