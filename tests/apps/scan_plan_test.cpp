#include "acquisition/scan_plan.h"

#include "support/temp_directory.h"

namespace velm::acquisition {

TEST(ScanPlan, AScanThatCannotFitOnTheDiskIsRefusedWithBothSizes)
{
    test::TempDirectory const directory;
    try {
        CheckRoom(1000000000000000000u, directory.GetPath());
        FAIL() << "did not throw";
    } catch (PlanError const & error) {
        EXPECT_THAT(error.what(),
                    testing::MatchesRegex("The disk of .* has [0-9]+ MB left, and the images of this scan "
                                          "need at least 1000000000000 MB\\."));
    }
}

TEST(ScanPlan, AScanThatFitsIsNot)
{
    test::TempDirectory const directory;
    EXPECT_NO_THROW(CheckRoom(1, directory.GetPath()));
}

TEST(ScanPlan, AScanOfMoreFovsThanTheDepositoryCanNumberIsRefused)
{
    EXPECT_NO_THROW(CheckIds(9, 9990, 9999));
    try {
        CheckIds(10, 9990, 9999);
        FAIL() << "did not throw";
    } catch (PlanError const & error) {
        EXPECT_STREQ(error.what(), "This scan takes 10 FOVs, and the depository can number only 9 more.");
    }
}

TEST(ScanPlan, AStackThatNoMemoryCanHoldIsRefusedWithBothSizes)
{
    EXPECT_NO_THROW(CheckMemory(1));
    try {
        CheckMemory(1000000000000000000u);
        FAIL() << "did not throw";
    } catch (PlanError const & error) {
        EXPECT_THAT(error.what(),
                    testing::MatchesRegex("This computer has [0-9]+ MB of memory, and one stack of this scan "
                                          "needs 1000000000000 MB\\."));
    }
}

} // namespace velm::acquisition
