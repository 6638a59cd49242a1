#include "vexaalgo/slice_statistics.h"

#include "support/every_machine.h"
#include "support/voxels.h"

#include <algorithm>

namespace velm::test {

namespace {

using Frame = vexa::Image3d<unsigned short>;
using Values = std::vector<unsigned short>;
using Operation = void (*)(Frame const &, Frame &);

// The values of one column along z.
Values ColumnOf(Frame const & stack, std::size_t i)
{
    std::size_t const plane = std::size_t{stack.size.x} * stack.size.y;
    Values column;
    for (unsigned int z = 0; z < stack.size.z; ++z) {
        column.push_back(stack.GetVoxel(i + z * plane));
    }
    return column;
}

unsigned short PlainMean(Values const & values)
{
    double sum = 0.0;
    for (unsigned short const value : values) {
        sum += value;
    }
    return static_cast<unsigned short>(sum / static_cast<double>(values.size()));
}

unsigned short PlainMedian(Values const & column)
{
    Values values = column;
    std::sort(values.begin(), values.end());
    std::size_t const middle = values.size() / 2;
    return values.size() % 2 == 1
               ? values[middle]
               : static_cast<unsigned short>((double{1} * values[middle - 1] + values[middle]) * 0.5);
}

// What is to come out, column by column.
Values Expected(Frame const & stack, unsigned short (*plain)(Values const &))
{
    Values expected;
    for (std::size_t i = 0; i < std::size_t{stack.size.x} * stack.size.y; ++i) {
        expected.push_back(plain(ColumnOf(stack, i)));
    }
    return expected;
}

void ExpectBoth(Frame const & stack)
{
    Values const means = Expected(stack, PlainMean);
    Values const medians = Expected(stack, PlainMedian);
    OnEveryMachine([&] {
        Frame result;
        vexa::MeanOfSlices(stack, result);
        ASSERT_TRUE(Voxels(result) == means) << stack.size;
        vexa::MedianOfSlices(stack, result);
        ASSERT_TRUE(Voxels(result) == medians) << stack.size;
    });
}

// A stack of one column.
Frame Column(Values const & values)
{
    Frame stack;
    stack.MakeRoom(1, 1, static_cast<unsigned int>(values.size()));
    std::copy(values.begin(), values.end(), stack.begin());
    return stack;
}

unsigned short Only(Operation operation, Values const & values)
{
    Frame result;
    operation(Column(values), result);
    return result.GetVoxel(0);
}

} // namespace

TEST(SliceStatistics, GiveOneFrameInThePlaceOfTheStack)
{
    Frame stack = PatternImage<unsigned short>(5, 4, 3);
    stack.offset = {1.0F, 2.0F, 3.0F};
    stack.resolution = vexa::Resolution(4.0F, 5.0F, 6.0F);
    for (Operation const operation : {vexa::MeanOfSlices, vexa::MedianOfSlices}) {
        Frame result;
        operation(stack, result);
        EXPECT_EQ(result.size, vexa::Vector3d<unsigned int>(5, 4, 1));
        EXPECT_EQ(result.offset, stack.offset);
        EXPECT_EQ(result.resolution.GetRes(), stack.resolution.GetRes());
    }
}

TEST(SliceStatistics, MeanAndMedianOfTwoAreTheTruncatedMean)
{
    EXPECT_EQ(Only(vexa::MeanOfSlices, {3, 6}), 4);
    EXPECT_EQ(Only(vexa::MedianOfSlices, {6, 3}), 4);
    EXPECT_EQ(Only(vexa::MedianOfSlices, {65535, 65534}), 65534);
}

TEST(SliceStatistics, AnOutlierMovesTheMeanAndNotTheMedian)
{
    EXPECT_EQ(Only(vexa::MeanOfSlices, {1, 9, 2}), 4);
    EXPECT_EQ(Only(vexa::MedianOfSlices, {1, 9, 2}), 2);
}

TEST(SliceStatistics, AreTheSameOnAnyMachineForAnyNumberOfSlices)
{
    for (unsigned int const slices :
         {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 14U, 15U, 16U, 17U, 25U, 64U}) {
        ExpectBoth(PatternImage<unsigned short>(67, 23, slices, slices));
    }
}

TEST(SliceStatistics, AreTheSameOnAnyMachineForFramesOfAnySize)
{
    // Around the blocks in which columns are worked on, and more than one thread's share.
    for (unsigned int const width : {1U, 15U, 255U, 256U, 257U, 513U}) {
        for (unsigned int const height : {1U, 3U, 140U}) {
            ExpectBoth(PatternImage<unsigned short>(width, height, 5, width + height));
        }
    }
}

TEST(SliceStatistics, EveryOrderOfValuesHasTheSameMedian)
{
    // A choice of minima and maxima finds the median of any values when it finds that of zeros and ones.
    for (unsigned int slices = 1; slices <= 16; ++slices) {
        Frame stack;
        stack.MakeRoom(1U << slices, 1, slices);
        for (unsigned int z = 0; z < slices; ++z) {
            for (unsigned int x = 0; x < stack.size.x; ++x) {
                stack.SetVoxel(x, 0, z, static_cast<unsigned short>(2 * (x >> z & 1U)));
            }
        }
        Values const expected = Expected(stack, PlainMedian);
        OnEveryMachine([&] {
            Frame result;
            vexa::MedianOfSlices(stack, result);
            ASSERT_TRUE(Voxels(result) == expected) << slices << " slices";
        });
    }
}

TEST(SliceStatistics, TiesAndExtremesAreCounted)
{
    for (unsigned int const slices : {4U, 9U, 20U, 33U}) {
        ExpectBoth(ConstantImage<unsigned short>(40, 2, slices, 65535));
        Frame stack = PatternImage<unsigned short>(300, 3, slices);
        std::transform(stack.begin(), stack.end(), stack.begin(),
                       [](unsigned short value) { return static_cast<unsigned short>(value % 3 * 32767); });
        ExpectBoth(stack);
    }
}

TEST(SliceStatistics, ManyThousandSlicesDontOverflow)
{
    for (unsigned int const slices : {32768U, 32769U, 65536U}) {
        ExpectBoth(ConstantImage<unsigned short>(1, 1, slices, 65535));
    }
    ExpectBoth(PatternImage<unsigned short>(2, 1, 65536));
}

TEST(SliceStatistics, MayReplaceTheirStack)
{
    for (Operation const operation : {vexa::MeanOfSlices, vexa::MedianOfSlices}) {
        Frame stack = PatternImage<unsigned short>(30, 20, 4);
        Frame expected;
        operation(stack, expected);
        operation(stack, stack);
        EXPECT_EQ(stack.size.z, 1U);
        EXPECT_EQ(Voxels(stack), Voxels(expected));
    }
}

TEST(SliceStatistics, OfAnEmptyStackAreEmpty)
{
    for (Operation const operation : {vexa::MeanOfSlices, vexa::MedianOfSlices}) {
        auto result = ConstantImage<unsigned short>(2, 2, 1, 1);
        operation(Frame(), result);
        EXPECT_EQ(result.GetCount(), 0U);
    }
}

} // namespace velm::test
