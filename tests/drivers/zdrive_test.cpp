#include "drivers/base/zdrive.h"

#include "support/stub_rig.h"

namespace velm::test {

namespace {

class ZDrive : public testing::Test {
  protected:
    ZDrive() { Rig() = StubRig(); }

    static std::string Refusal(StubZDrive & drive, long pos)
    {
        try {
            drive.CheckPos(pos);
        } catch (VELM_ZDriveControlError const & error) {
            return error.what();
        }
        return "";
    }

    // Where MoveToInitPos sends a drive of the range lower to upper, which stands at 5.
    static long InitTarget(long lower, long upper, long init_pos)
    {
        StubZDrive drive(nullptr, lower, upper, init_pos);
        drive.pos = 5;
        drive.MoveToInitPos();
        return drive.pos;
    }
};

} // namespace

TEST_F(ZDrive, APositionOnAHardwareBoundPasses)
{
    StubZDrive drive(nullptr, -100, 200);
    EXPECT_EQ(Refusal(drive, -100), "");
    EXPECT_EQ(Refusal(drive, 200), "");
}

TEST_F(ZDrive, OneStepBeyondAHardwareBoundThrows)
{
    StubZDrive drive(nullptr, -100, 200);
    EXPECT_EQ(Refusal(drive, -101),
              "Attempt to move the ZDrive out of the HW range [-100,200]! (Pos = -101, Offset = 0)");
    EXPECT_EQ(Refusal(drive, 201),
              "Attempt to move the ZDrive out of the HW range [-100,200]! (Pos = 201, Offset = 0)");
}

TEST_F(ZDrive, TheHardwareRangeIsNamedEvenWhenASoftwareLimitFailsToo)
{
    StubZDrive drive(nullptr, -100, 200);
    drive.SetSWUpperLimit(50);
    EXPECT_EQ(Refusal(drive, 201),
              "Attempt to move the ZDrive out of the HW range [-100,200]! (Pos = 201, Offset = 0)");
}

TEST_F(ZDrive, TheMessageShowsTheLogicalPositionAndTheTestUsesTheHardwarePosition)
{
    StubZDrive drive(nullptr, -100, 200);
    drive.SetOffset(30);
    EXPECT_EQ(Refusal(drive, 200), "");
    EXPECT_EQ(Refusal(drive, 201),
              "Attempt to move the ZDrive out of the HW range [-100,200]! (Pos = 171, Offset = 30)");
}

TEST_F(ZDrive, WithOnlyAnUpperSoftwareLimitTheMessageShowsTheLowerHardwareBound)
{
    StubZDrive drive(nullptr, -100, 200);
    drive.SetSWUpperLimit(50);
    EXPECT_EQ(Refusal(drive, 50), "");
    EXPECT_EQ(Refusal(drive, -100), "");
    EXPECT_EQ(Refusal(drive, 51),
              "Attempt to move the ZDrive out of the SW range [-100,50]! (Pos = 51, Offset = 0)");
}

TEST_F(ZDrive, WithOnlyALowerSoftwareLimitTheMessageShowsTheUpperHardwareBound)
{
    StubZDrive drive(nullptr, -100, 200);
    drive.SetSWLowerLimit(-10);
    drive.SetOffset(7);
    EXPECT_EQ(Refusal(drive, -10), "");
    EXPECT_EQ(Refusal(drive, 200), "");
    EXPECT_EQ(Refusal(drive, -11),
              "Attempt to move the ZDrive out of the SW range [-10,200]! (Pos = -18, Offset = 7)");
}

TEST_F(ZDrive, WithBothSoftwareLimitsTheMessageShowsBoth)
{
    StubZDrive drive(nullptr, -100, 200);
    drive.SetSWLowerLimit(-10);
    drive.SetSWUpperLimit(10);
    EXPECT_EQ(Refusal(drive, 11),
              "Attempt to move the ZDrive out of the SW range [-10,10]! (Pos = 11, Offset = 0)");
}

TEST_F(ZDrive, SoftwareLimitsStartSwitchedOff)
{
    StubZDrive const drive;
    EXPECT_EQ(drive.GetSWLower(), NO_LIMIT);
    EXPECT_EQ(drive.GetSWUpper(), NO_LIMIT);
    EXPECT_EQ(NO_LIMIT, -2147483648L);
}

TEST_F(ZDrive, ASoftwareLimitTellsTheDriverBeforeItIsStored)
{
    StubZDrive drive(nullptr, -100, 200);
    long stored = 0;
    Rig().on_call["zdrive.SWUpperLimitChanged"] = [&] { stored = drive.GetSWUpper(); };
    Rig().on_call["zdrive.SWLowerLimitChanged"] = [&] { stored = drive.GetSWLower(); };
    drive.SetSWUpperLimit(200);
    EXPECT_EQ(stored, NO_LIMIT);
    EXPECT_EQ(drive.GetSWUpper(), 200);
    drive.SetSWLowerLimit(-100);
    EXPECT_EQ(stored, NO_LIMIT);
    EXPECT_EQ(drive.GetSWLower(), -100);
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"zdrive.SWUpperLimitChanged(200)",
                                                           "zdrive.SWLowerLimitChanged(-100)"}));
}

TEST_F(ZDrive, ASoftwareLimitOutsideTheHardwareRangeIsRefusedAndNotStored)
{
    StubZDrive drive(nullptr, -100, 200);
    for (auto const set : {&VELM_ZDriveControl::SetSWUpperLimit, &VELM_ZDriveControl::SetSWLowerLimit}) {
        for (long const limit : {-101L, 201L}) {
            try {
                (drive.*set)(limit);
                ADD_FAILURE() << limit;
            } catch (VELM_ZDriveControlError const & error) {
                EXPECT_EQ(
                    error.GetMessage(),
                    wxString::Format(
                        "SW limit of the ZDrive is out of the HW range [-100,200]! (Limit = %ld)", limit));
            }
        }
    }
    EXPECT_EQ(drive.GetSWUpper(), NO_LIMIT);
    EXPECT_EQ(drive.GetSWLower(), NO_LIMIT);
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(ZDrive, TheInitialPositionMayBeThePresentOneABoundOrTheMiddle)
{
    EXPECT_EQ(InitTarget(-100, 201, 0x80000000L), 5);
    EXPECT_EQ(InitTarget(-100, 201, 0x80000001L), -100);
    EXPECT_EQ(InitTarget(-100, 201, 0x80000002L), 50);
    EXPECT_EQ(InitTarget(-100, 201, 0x80000003L), 201);
    EXPECT_EQ(InitTarget(-100, 201, -7), -7);
}

TEST_F(ZDrive, TheSpecialInitialPositionsMayComeSignExtended)
{
    EXPECT_EQ(InitTarget(-100, 200, -2147483648L), 5);
    EXPECT_EQ(InitTarget(-100, 200, -2147483647L), -100);
    EXPECT_EQ(InitTarget(-100, 200, -2147483646L), 50);
    EXPECT_EQ(InitTarget(-100, 200, -2147483645L), 200);
}

TEST_F(ZDrive, TheMiddleIsRoundedTowardsZero)
{
    EXPECT_EQ(InitTarget(-101, 100, 0x80000002L), 0);
    EXPECT_EQ(InitTarget(-104, 99, 0x80000002L), -2);
}

TEST_F(ZDrive, TheInitialPositionIsAHardwarePositionWhateverTheOffset)
{
    StubZDrive drive(nullptr, -100, 200, 40);
    drive.SetOffset(1000);
    drive.MoveToInitPos();
    EXPECT_EQ(drive.pos, 40);
}

TEST_F(ZDrive, MovingToTheInitialPositionWaitsUntilTheDriveRests)
{
    Rig().moving_polls = 2;
    StubZDrive drive(nullptr, -100, 200, 40);
    drive.MoveToInitPos();
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"zdrive.Move(40)", "zdrive.IsMoving()",
                                                           "zdrive.IsMoving()", "zdrive.IsMoving()"}));
}

TEST_F(ZDrive, AnInitialPositionOutOfRangeThrowsAndMovesNothing)
{
    StubZDrive drive(nullptr, -100, 200, 300);
    EXPECT_THROW(drive.MoveToInitPos(), VELM_ZDriveControlError);
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

} // namespace velm::test
