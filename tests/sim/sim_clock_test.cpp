#include "sim_clock.h"

namespace velm::sim::test {

TEST(SimClock, AtScaleZeroTimeStandsStillUntilItJumps)
{
    Clock clock(0.0);
    EXPECT_TRUE(clock.IsAtOnce());
    EXPECT_EQ(clock.Now(), 0.0);
    clock.JumpTo(500.0);
    EXPECT_EQ(clock.Now(), 500.0);
}

TEST(SimClock, TimeNeverJumpsBack)
{
    Clock clock(0.0);
    clock.JumpTo(500.0);
    clock.JumpTo(200.0);
    EXPECT_EQ(clock.Now(), 500.0);
}

TEST(SimClock, ARealClockGoesOnAndCannotBeMadeToJump)
{
    Clock clock(0.001);
    EXPECT_FALSE(clock.IsAtOnce());
    clock.JumpTo(1e15);
    EXPECT_LT(clock.Now(), 1e14);
    double const now = clock.Now();
    while (clock.Now() == now) {
    }
    EXPECT_GT(clock.Now(), now);
}

TEST(SimClock, TheScaleTurnsSimulatedIntoRealTime)
{
    EXPECT_EQ(Clock(0.5).RealSpan(1000.0).count(), 500);
    EXPECT_EQ(Clock(1.0).RealSpan(-3.0).count(), 0);
}

TEST(SimClock, TheTimeCanComeFromElsewhere)
{
    double time = 3.0;
    Clock const clock([&] { return time; });
    EXPECT_EQ(clock.Now(), 3.0);
    time = 4.0;
    EXPECT_EQ(clock.Now(), 4.0);
}

} // namespace velm::sim::test
