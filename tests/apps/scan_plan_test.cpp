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

} // namespace velm::acquisition
