#include "acquisition/depository_lock.h"

#include "acquisition/scan_plan.h"
#include "support/temp_directory.h"

#include <gtest/gtest.h>
#include <wx/filefn.h>

namespace velm::acquisition {

TEST(DepositoryLock, KeepsAnotherRunOutUntilItGoes)
{
    test::TempDirectory const directory;
    {
        DepositoryLock const first(directory.GetPath());
        try {
            DepositoryLock const second(directory.GetPath());
            FAIL() << "did not throw";
        } catch (PlanError const & error) {
            EXPECT_EQ(std::string(error.what()), "Another run is storing into the depository " +
                                                     directory.GetPath().utf8_string() + ".");
        }
    }
    EXPECT_NO_THROW(DepositoryLock(directory.GetPath()));
}

TEST(DepositoryLock, LeavesOtherDepositoriesAlone)
{
    test::TempDirectory const a;
    test::TempDirectory const b;
    DepositoryLock const first(a.GetPath());
    EXPECT_NO_THROW(DepositoryLock(b.GetPath()));
}

TEST(DepositoryLock, MakesTheDirectoryOfANewDepository)
{
    test::TempDirectory const directory;
    {
        DepositoryLock const lock(directory / "new");
        EXPECT_TRUE(wxDirExists(directory / "new"));
        EXPECT_THROW(DepositoryLock(directory / "new"), PlanError);
    }
    EXPECT_NO_THROW(DepositoryLock(directory / "none/new")) << "what is wrong shows on opening";
}

} // namespace velm::acquisition
