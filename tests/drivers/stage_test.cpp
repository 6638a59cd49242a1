#include "drivers/base/stage.h"

#include "support/stub_rig.h"

namespace velm::test {

namespace {

std::string Refusal(VELM_StageControl const & stage, long x, long y)
{
    try {
        stage.CheckPos(x, y);
    } catch (VELM_StageControlError const & error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(Stage, StartsAtZeroWithoutOffsetAndLimits)
{
    std::vector<long> members;
    StubStage().GetMembers(members);
    EXPECT_EQ(members, (std::vector<long>{0, 0, 0, 0, NO_LIMIT, NO_LIMIT, NO_LIMIT, NO_LIMIT}));
}

TEST(Stage, WithoutLimitsEveryPositionPasses)
{
    StubStage const stage;
    EXPECT_EQ(Refusal(stage, -4000000000L, 4000000000L), "");
}

TEST(Stage, APositionOnALimitPasses)
{
    StubStage stage;
    stage.SetLimits(-10, 20, -30, 40);
    EXPECT_EQ(Refusal(stage, -10, -30), "");
    EXPECT_EQ(Refusal(stage, 20, 40), "");
}

TEST(Stage, APositionBeyondALimitNamesItsAxisAndBounds)
{
    StubStage stage;
    stage.SetLimits(-10, 20, -30, 40);
    EXPECT_EQ(Refusal(stage, -11, 0), "Attempt to move stage out of range [-10,20] in x axis! (Value = -11)");
    EXPECT_EQ(Refusal(stage, 21, 0), "Attempt to move stage out of range [-10,20] in x axis! (Value = 21)");
    EXPECT_EQ(Refusal(stage, 0, -31), "Attempt to move stage out of range [-30,40] in y axis! (Value = -31)");
    EXPECT_EQ(Refusal(stage, 0, 41), "Attempt to move stage out of range [-30,40] in y axis! (Value = 41)");
}

TEST(Stage, WithBothAxesOutOfRangeXIsNamed)
{
    StubStage stage;
    stage.SetLimits(-10, 20, -30, 40);
    EXPECT_EQ(Refusal(stage, 99, 99), "Attempt to move stage out of range [-10,20] in x axis! (Value = 99)");
}

TEST(Stage, ABoundThatIsSwitchedOffIsShownAsStored)
{
    StubStage stage;
    stage.SetLimits(NO_LIMIT, 20, -30, NO_LIMIT);
    EXPECT_EQ(Refusal(stage, 21, 0),
              "Attempt to move stage out of range [-2147483648,20] in x axis! (Value = 21)");
    EXPECT_EQ(Refusal(stage, 0, -31),
              "Attempt to move stage out of range [-30,-2147483648] in y axis! (Value = -31)");
}

} // namespace velm::test
