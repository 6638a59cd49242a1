#include "sim_motion.h"

namespace velm::sim::test {

AxisParams Smooth()
{
    return {1000.0, 10000.0, 5000.0, 0.0}; // 1000 units a second after a tenth of a second
}

TEST(SimAxis, ALongMoveTakesTheTimeOfATrapezoid)
{
    Axis axis(Smooth(), 0.0);
    // A tenth of a second and 50 units to speed up, the same to slow down, 900 units at full speed, 5 ms.
    EXPECT_NEAR(axis.Move(0.0, 1000.0), 1.105e6, 1e-6);
    EXPECT_DOUBLE_EQ(axis.Position(0.1e6), 50.0);
    EXPECT_NEAR(axis.Position(0.6e6), 550.0, 1e-9);
    EXPECT_NEAR(axis.Position(1.0e6), 950.0, 1e-9);
    EXPECT_EQ(axis.Position(1.1e6), 1000.0);
}

TEST(SimAxis, AShortMoveNeverReachesFullSpeed)
{
    Axis axis(Smooth(), 100.0);
    // 12.5 units up and down again, each in 50 ms.
    EXPECT_NEAR(axis.Move(0.0, 75.0), 0.1e6 + 5000.0, 1e-6);
    EXPECT_NEAR(axis.Position(0.05e6), 87.5, 1e-9);
}

TEST(SimAxis, ThePositionRunsStraightToTheTargetAndStaysThere)
{
    for (double const target : {730.0, -730.0, 3.0, -1.0}) {
        Axis axis(Smooth(), 0.0);
        Microseconds const arrival = axis.Move(1000.0, target);
        double const sign = target > 0.0 ? 1.0 : -1.0;
        double last = 0.0;
        for (Microseconds t = 0.0; t < arrival; t += 500.0) {
            double const way = sign * axis.Position(t);
            EXPECT_GE(way, last);
            EXPECT_LE(way, sign * target);
            last = way;
        }
        EXPECT_EQ(axis.Position(arrival), target);
        EXPECT_EQ(axis.Position(arrival + 1e9), target);
    }
}

TEST(SimAxis, AMoveToWhereItIsTakesNoTime)
{
    Axis axis(Smooth(), 40.0);
    EXPECT_EQ(axis.Move(777.0, 40.0), 777.0);
}

TEST(SimAxis, ANewMoveStartsFromWhereTheOldOneWasBrokenOff)
{
    Axis axis(Smooth(), 0.0);
    axis.Move(0.0, 1000.0);
    double const there = axis.Position(0.5e6);
    axis.Move(0.5e6, 0.0);
    EXPECT_EQ(axis.Position(0.5e6), there);
    EXPECT_EQ(axis.Position(axis.Arrival()), 0.0);
}

TEST(SimAxis, BacklashLeavesTheLoadBehindAfterATurn)
{
    AxisParams params = Smooth();
    params.backlash = 4.0;
    Axis axis(params, 0.0);
    Microseconds now = axis.Move(0.0, 100.0);
    EXPECT_DOUBLE_EQ(axis.Load(now), 98.0);
    now = axis.Move(now, 97.0);
    EXPECT_DOUBLE_EQ(axis.Load(now), 98.0); // the play is not used up yet
    now = axis.Move(now, 50.0);
    EXPECT_DOUBLE_EQ(axis.Load(now), 52.0);
    now = axis.Move(now, 100.0);
    EXPECT_DOUBLE_EQ(axis.Load(now), 98.0);
}

TEST(SimBlades, OpenEvenlyAndLetThePartialLightThrough)
{
    Blades blades(10000.0);
    EXPECT_EQ(blades.Opening(0.0), 0.0);
    EXPECT_EQ(blades.Move(5000.0, true), 15000.0);
    EXPECT_EQ(blades.Opening(5000.0), 0.0);
    EXPECT_DOUBLE_EQ(blades.Opening(10000.0), 0.5);
    EXPECT_EQ(blades.Opening(15000.0), 1.0);
    EXPECT_DOUBLE_EQ(blades.OpenTime(0.0, 20000.0), 10000.0);
    EXPECT_DOUBLE_EQ(blades.OpenTime(5000.0, 10000.0), 1250.0);
    EXPECT_EQ(blades.OpenTime(0.0, 4000.0), 0.0);
    EXPECT_EQ(blades.OpenTime(9000.0, 9000.0), 0.0);
}

TEST(SimBlades, CloseFromWhereverTheyAre)
{
    Blades blades(10000.0);
    blades.Move(0.0, true);
    EXPECT_EQ(blades.Move(4000.0, false), 8000.0);
    EXPECT_DOUBLE_EQ(blades.Opening(6000.0), 0.2);
    EXPECT_EQ(blades.Opening(8000.0), 0.0);
    EXPECT_DOUBLE_EQ(blades.OpenTime(0.0, 1e6), 0.5 * 0.4 * 8000.0);
}

TEST(SimBlades, ADelayedOpeningStartsLater)
{
    Blades blades(10000.0);
    EXPECT_EQ(blades.Move(0.0, true, 50000.0), 60000.0);
    EXPECT_EQ(blades.Opening(50000.0), 0.0);
    EXPECT_DOUBLE_EQ(blades.OpenTime(0.0, 100000.0), 45000.0);
}

TEST(SimBlades, ForgettingThePastChangesNothingAfterIt)
{
    Blades blades(10.0);
    for (int i = 0; i < 100; ++i) {
        blades.Move(100.0 * i, i % 2 == 0);
    }
    double const expected = blades.OpenTime(5000.0, 20000.0);
    blades.Forget(5000.0);
    EXPECT_DOUBLE_EQ(blades.OpenTime(5000.0, 20000.0), expected);
    EXPECT_GT(expected, 1000.0);
}

TEST(SimRevolver, TurnsStepByStep)
{
    Revolver revolver(1000.0, 2);
    EXPECT_EQ(revolver.Move(500.0, 5), 3500.0);
    EXPECT_EQ(revolver.Position(), 5);
    EXPECT_EQ(revolver.Move(3500.0, 4, 100.0), 4600.0);
    EXPECT_EQ(revolver.Move(5000.0, 4), 5000.0);
}

} // namespace velm::sim::test
