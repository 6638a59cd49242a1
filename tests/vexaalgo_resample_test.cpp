#include "vexaalgo/resample.h"

#include "support/every_machine.h"
#include "support/voxels.h"

#include <cmath>

namespace velm::test {

using vexa::Image3d;
using vexa::RGB_generic;
using vexa::SamplingMode;
using Sizes = vexa::Vector3d<unsigned int>;
using Floats = vexa::Vector3d<float>;

Image3d<unsigned short> Resized(Image3d<unsigned short> const & in, Sizes const & size)
{
    Image3d<unsigned short> out;
    vexa::Resize(in, out, size, SamplingMode::Default);
    return out;
}

// The weight of an old position in a new one along an axis, by the definition of the two rules.
double Weight(unsigned int old_position, unsigned int new_position, unsigned int from, unsigned int to)
{
    if (to < from) {
        double const length = static_cast<double>(from) / to;
        double const begin = std::max<double>(old_position, new_position * length);
        double const end = std::min<double>(old_position + 1.0, (new_position + 1.0) * length);
        return std::max(0.0, end - begin) / length;
    }
    double const centre = std::min(std::max((new_position + 0.5) * from / to - 0.5, 0.0), from - 1.0);
    return std::max(0.0, 1.0 - std::abs(centre - old_position));
}

double ExpectedAt(Image3d<unsigned short> const & in, Sizes const & size, Sizes const & at)
{
    double sum = 0.0;
    for (unsigned int z = 0; z < in.size.z; ++z) {
        for (unsigned int y = 0; y < in.size.y; ++y) {
            for (unsigned int x = 0; x < in.size.x; ++x) {
                sum += in.GetVoxel(x, y, z) * Weight(x, at.x, in.size.x, size.x) *
                       Weight(y, at.y, in.size.y, size.y) * Weight(z, at.z, in.size.z, size.z);
            }
        }
    }
    return sum;
}

TEST(Resize, FollowsTheDefinitionForAnySizes)
{
    std::uint32_t state = 3;
    auto const below = [&](unsigned int limit) {
        state = state * 1664525U + 1013904223U;
        return 1 + (state >> 8) % limit;
    };
    for (int round = 0; round < 60; ++round) {
        auto const in = PatternImage<unsigned short>(below(9), below(9), below(4));
        Sizes const size(below(12), below(12), below(5));
        auto const out = Resized(in, size);
        ASSERT_EQ(out.size, size);
        for (unsigned int z = 0; z < size.z; ++z) {
            for (unsigned int y = 0; y < size.y; ++y) {
                for (unsigned int x = 0; x < size.x; ++x) {
                    ASSERT_NEAR(out.GetVoxel(x, y, z), ExpectedAt(in, size, Sizes(x, y, z)), 0.5 + 1e-6)
                        << in.size << " to " << size;
                }
            }
        }
    }
}

// The mean over the area that a new pixel covers, in whole numbers: the parts of an old position that a new
// one covers, in units of 1/to, are its weight. Halves are rounded up.
std::vector<unsigned short> ShrunkExactly(Image3d<unsigned short> const & in, Sizes const & size)
{
    auto const parts = [](std::uint64_t old_position, std::uint64_t new_position, std::uint64_t from,
                          std::uint64_t to) {
        std::uint64_t const begin = std::max(old_position * to, new_position * from);
        std::uint64_t const end = std::min((old_position + 1) * to, (new_position + 1) * from);
        return end > begin ? end - begin : 0;
    };
    std::uint64_t const area = std::uint64_t{in.size.x} * in.size.y;
    std::vector<unsigned short> result;
    for (unsigned int j = 0; j < size.y; ++j) {
        for (unsigned int i = 0; i < size.x; ++i) {
            std::uint64_t sum = 0;
            for (unsigned int y = 0; y < in.size.y; ++y) {
                std::uint64_t const row = parts(y, j, in.size.y, size.y);
                for (unsigned int x = 0; row > 0 && x < in.size.x; ++x) {
                    sum += row * parts(x, i, in.size.x, size.x) * in.GetVoxel(x, y, 0);
                }
            }
            result.push_back(static_cast<unsigned short>((2 * sum + area) / (2 * area)));
        }
    }
    return result;
}

TEST(Resize, ShrinksExactlyOnAnyMachine)
{
    Sizes const sizes[][2] = {
        {{64, 64, 1}, {16, 16, 1}}, {{61, 47, 1}, {7, 5, 1}},  {{61, 47, 1}, {60, 46, 1}},
        {{61, 47, 1}, {61, 5, 1}},  {{61, 47, 1}, {5, 47, 1}}, {{61, 47, 1}, {61, 47, 1}},
        {{300, 2, 1}, {11, 1, 1}},  {{1, 300, 1}, {1, 11, 1}}, {{1, 1, 1}, {1, 1, 1}}};
    for (auto const & [from, to] : sizes) {
        auto in = PatternImage<unsigned short>(from.x, from.y, 1, from.x + to.x);
        for (std::size_t i = 0; i < in.GetCount(); i += 3) {
            in.SetVoxel(i, static_cast<unsigned short>(65535)); // sums as large as they get
        }
        std::vector<unsigned short> const expected = ShrunkExactly(in, to);
        OnEveryMachine([&] { EXPECT_EQ(Voxels(Resized(in, to)), expected) << from << " to " << to; });
    }
}

TEST(Resize, ShrinksAxesThatAreTooLongForWholeNumbers)
{
    auto const in = ConstantImage<unsigned short>(70000, 2, 1, 65535);
    EXPECT_EQ(Voxels(Resized(in, Sizes(3, 1, 1))), std::vector<unsigned short>(3, 65535));
    auto const tall = ConstantImage<unsigned short>(2, 70000, 1, 65535);
    EXPECT_EQ(Voxels(Resized(tall, Sizes(1, 3, 1))), std::vector<unsigned short>(3, 65535));
}

TEST(Resize, LeavesAConstantImageConstant)
{
    for (unsigned int const grey : {0U, 1U, 12345U, 65535U}) {
        auto const value = static_cast<unsigned short>(grey);
        auto const in = ConstantImage<unsigned short>(97, 41, 3, value);
        for (Sizes const & size : {Sizes(1, 1, 1), Sizes(64, 40, 2), Sizes(97, 41, 3), Sizes(211, 43, 7)}) {
            auto const out = Resized(in, size);
            EXPECT_EQ(Voxels(out), Voxels(ConstantImage<unsigned short>(size.x, size.y, size.z, value)));
        }
    }
}

TEST(Resize, KeepsTheMeanWhenItShrinks)
{
    auto const in = PatternImage<unsigned short>(120, 75, 4);
    double mean = 0.0;
    for (unsigned short const voxel : in) {
        mean += voxel / static_cast<double>(in.GetCount());
    }
    EXPECT_NEAR(Resized(in, Sizes(1, 1, 1)).GetVoxel(0), mean, 0.5 + 1e-6);
    auto const out = Resized(in, Sizes(37, 22, 3));
    double after = 0.0;
    for (unsigned short const voxel : out) {
        after += voxel / static_cast<double>(out.GetCount());
    }
    EXPECT_NEAR(after, mean, 0.1) << "each voxel is off by half a grey value at most, in either direction";
}

TEST(Resize, ToTheSameSizeChangesNothing)
{
    auto const in = PatternImage<unsigned short>(13, 12, 3);
    EXPECT_EQ(Voxels(Resized(in, in.size)), Voxels(in));
}

TEST(Resize, ScalesTheResolutionAndKeepsTheOffset)
{
    auto in = PatternImage<unsigned short>(10, 20, 4);
    in.offset = {1.0F, 2.0F, 3.0F};
    in.resolution = vexa::Resolution(2.0F, 4.0F, 8.0F);
    auto const out = Resized(in, Sizes(5, 40, 4));
    EXPECT_EQ(out.resolution.GetRes(), Floats(1.0F, 8.0F, 8.0F));
    EXPECT_EQ(out.offset, in.offset);
    in.resolution = vexa::Resolution();
    EXPECT_FALSE(Resized(in, Sizes(5, 40, 4)).resolution.IsDefined());
}

TEST(Resize, MayReplaceItsInput)
{
    auto image = PatternImage<unsigned short>(10, 20, 4);
    auto const expected = Resized(image, Sizes(3, 3, 3));
    vexa::Resize(image, image, Sizes(3, 3, 3), SamplingMode::Default);
    EXPECT_EQ(Voxels(image), Voxels(expected));
}

TEST(Resize, OfAnEmptyImageIsRefusedUnlessTheResultIsEmpty)
{
    Image3d<unsigned short> const empty;
    EXPECT_THROW(Resized(empty, Sizes(1, 1, 1)), vexa::InternalException);
    EXPECT_EQ(Resized(empty, Sizes(0, 0, 0)).GetCount(), 0U);
    EXPECT_EQ(Resized(PatternImage<unsigned short>(2, 2, 2), Sizes(0, 4, 1)).GetCount(), 0U);
}

TEST(Resample, TreatsEachColourAsAGreyImage)
{
    using Rgb = RGB_generic<unsigned short>;
    Image3d<unsigned short> planes[3];
    Image3d<Rgb> in;
    in.MakeRoom(9, 8, 2);
    for (unsigned int i = 0; i < 3; ++i) {
        planes[i] = PatternImage<unsigned short>(9, 8, 2, i);
    }
    for (std::size_t i = 0; i < in.GetCount(); ++i) {
        in.SetVoxel(i, Rgb(planes[0].GetVoxel(i), planes[1].GetVoxel(i), planes[2].GetVoxel(i)));
    }
    for (Sizes const & size : {Sizes(4, 3, 1), Sizes(13, 5, 2)}) {
        Image3d<Rgb> out;
        vexa::Resample(in, out, size, SamplingMode::Default);
        auto const red = Resized(planes[0], size);
        auto const green = Resized(planes[1], size);
        auto const blue = Resized(planes[2], size);
        ASSERT_EQ(out.size, size);
        for (std::size_t i = 0; i < out.GetCount(); ++i) {
            EXPECT_EQ(out.GetVoxel(i), Rgb(red.GetVoxel(i), green.GetVoxel(i), blue.GetVoxel(i)));
        }
    }
}

} // namespace velm::test
