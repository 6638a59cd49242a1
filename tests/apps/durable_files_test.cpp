#include "acquisition/durable_files.h"

#include "support/temp_directory.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

std::set<std::string> synced;
std::string refused; // a path that cannot be synced, and why
int reason = 0;

} // namespace

// In place of the system's own, which leaves nothing to see.
extern "C" int fsync(int file)
{
    std::string const path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file));
    if (path == refused) {
        errno = reason;
        return -1;
    }
    synced.insert(path);
    return 0;
}

namespace velm::acquisition {

namespace {

class DurableFiles : public testing::Test {
  protected:
    DurableFiles()
    {
        synced.clear();
        refused.clear();
        _directory.Write("fov/01.ics", "voxels");
        _directory.Write("fov/thumbnails/01.tif", "pixels");
        _directory.Write("other/02.ics", "voxels");
    }

    std::string Path(char const * name) const { return (_directory / name).utf8_string(); }

    std::string Failure() const
    {
        try {
            ForceToDisk(Path("fov"));
        } catch (std::system_error const & error) {
            return error.what();
        }
        return "";
    }

    test::TempDirectory _directory;
};

} // namespace

TEST_F(DurableFiles, EveryFileAndDirectoryIsForcedToTheDiskAndSoIsTheEntryInTheParent)
{
    std::set<std::string> const expected{Path("fov/01.ics"), Path("fov/thumbnails"),
                                         Path("fov/thumbnails/01.tif"), Path("fov"),
                                         _directory.GetPath().utf8_string()};
    ForceToDisk(Path("fov"));
    EXPECT_EQ(synced, expected);
    synced.clear();
    ForceToDisk(Path("fov/"));
    EXPECT_EQ(synced, expected) << "with a separator at the end too";
}

TEST_F(DurableFiles, AFileThatDoesNotReachTheDiskIsNamed)
{
    refused = Path("fov/thumbnails/01.tif");
    reason = EIO;
    EXPECT_EQ(Failure(), refused + ": Input/output error");
    reason = EINVAL;
    EXPECT_EQ(Failure(), refused + ": Invalid argument");
}

TEST_F(DurableFiles, AFileSystemThatCannotSyncDirectoriesIsTaken)
{
    refused = Path("fov");
    reason = EINVAL;
    EXPECT_EQ(Failure(), "");
    reason = EIO;
    EXPECT_EQ(Failure(), refused + ": Input/output error");
}

TEST_F(DurableFiles, ADirectoryThatIsNotThereIsAFailure)
{
    EXPECT_THROW(ForceToDisk(Path("none")), std::system_error);
}

} // namespace velm::acquisition
