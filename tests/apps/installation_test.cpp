#include "acquisition/installation.h"

#include "support/temp_directory.h"

namespace velm::acquisition {

TEST(Installation, ADriverOfAnotherContractIsRefusedWithBothVersions)
{
    try {
        CheckDriverContracts(VELM_OLD_DRIVER_DIR);
        FAIL() << "did not throw";
    } catch (InstallationError const & error) {
        EXPECT_EQ(std::string(error.what()),
                  "The driver " VELM_OLD_DRIVER_DIR
                  "/old_contract.so was built with version 0 of the driver contract, but this "
                  "program needs version 1.");
    }
}

TEST(Installation, DriversOfThisContractAndWhatIsNoDriverPass)
{
    test::TempDirectory const directory;
    directory.Write("broken.so", "no library");
    EXPECT_NO_THROW(CheckDriverContracts(directory.GetPath()));
    EXPECT_NO_THROW(CheckDriverContracts(directory / "none"));
    EXPECT_NO_THROW(CheckDriverContracts(VELM_SIM_DRIVER_DIR));
}

TEST(Installation, AMissingIniFileIsTold)
{
    try {
        Installation const installation("/none/velm.ini");
        FAIL() << "did not throw";
    } catch (InstallationError const & error) {
        EXPECT_EQ(std::string(error.what()), "The installation's ini file /none/velm.ini does not exist.");
    }
}

} // namespace velm::acquisition
