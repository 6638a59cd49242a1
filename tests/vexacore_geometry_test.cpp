#include "vexacore/geometry.h"

#include "support/voxels.h"

#include <sstream>

namespace velm::test {

using vexa::Box;
using vexa::Resolution;
using Floats = vexa::Vector3d<float>;
using Ints = vexa::Vector3d<int>;

TEST(Vector3d, StartsAtZeroAndIndexesItsComponentsInOrder)
{
    Ints vector;
    EXPECT_EQ(vector, Ints(0, 0, 0));
    vector[0] = 1;
    vector[1] = 2;
    vector[2] = 3;
    EXPECT_EQ(vector.x, 1);
    EXPECT_EQ(vector.y, 2);
    EXPECT_EQ(vector.z, 3);
    EXPECT_EQ(static_cast<Ints const &>(vector)[2], 3);
}

TEST(Vector3d, AddsAndSubtractsComponentByComponent)
{
    Ints vector(1, 2, 3);
    vector += Ints(10, 20, 30);
    EXPECT_EQ(vector, Ints(11, 22, 33));
    vector -= Ints(1, 1, 40);
    EXPECT_EQ(vector, Ints(10, 21, -7));
    EXPECT_TRUE(vector != Ints(10, 21, 7));
}

TEST(Vector3d, IsReadFromText)
{
    for (char const * const text :
         {"1.5 -2 3e2", "1.5,-2,3e2", " 1.5 , -2 ,3e2 ", "(1.5 -2 3e2)", "[1.5, -2, 3e2]", "{ 1.5 -2 3e2 }",
          "\t1.5\n-2\n3e2", "1.5 -2 3e2 tail"}) {
        std::istringstream in(text);
        Floats vector;
        EXPECT_TRUE(in >> vector) << text;
        EXPECT_EQ(vector, Floats(1.5F, -2.0F, 300.0F)) << text;
    }
}

TEST(Vector3d, LeavesTheRestOfTheTextToTheNextReader)
{
    std::istringstream in("(1 2 3) word");
    Floats vector;
    std::string word;
    EXPECT_TRUE(in >> vector >> word);
    EXPECT_EQ(word, "word");
}

TEST(Vector3d, FailsOnOtherTextAndStaysAsItWas)
{
    for (char const * const text :
         {"", "1", "1 2", "1 2 x", "(1 2 3", "(1 2 3]", "1,,2,3", "a b c", ",1,2,3", "[1 2]", "()"}) {
        std::istringstream in(text);
        Floats vector(7.0F, 8.0F, 9.0F);
        EXPECT_FALSE(in >> vector) << text;
        EXPECT_EQ(vector, Floats(7.0F, 8.0F, 9.0F)) << text;
    }
}

TEST(Box, HoldsOffsetThenSize)
{
    Box const box(1, -2, 3, 4, 5, 6);
    EXPECT_EQ(box.offset, Ints(1, -2, 3));
    EXPECT_EQ(box.size, vexa::Vector3d<unsigned int>(4, 5, 6));
}

TEST(Resolution, IsUndefinedUntilGiven)
{
    EXPECT_FALSE(Resolution().IsDefined());
    EXPECT_EQ(Resolution().GetRes(), Floats());
    Resolution const given(1.0F, 2.0F, 3.0F);
    Resolution const copy = given;
    EXPECT_TRUE(copy.IsDefined());
    EXPECT_EQ(copy.GetRes(), Floats(1.0F, 2.0F, 3.0F));
    EXPECT_EQ(Resolution(Floats(4.0F, 5.0F, 6.0F)).GetRes(), Floats(4.0F, 5.0F, 6.0F));
}

} // namespace velm::test
