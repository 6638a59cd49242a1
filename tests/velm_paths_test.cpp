#include "velm_paths.h"

#include "support/log_recorder.h"
#include "support/temp_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <wx/dir.h>
#include <wx/filefn.h>

namespace velm::test {

TEST(Path, MakeDirectoryMakesOneDirectoryAndNoParents)
{
    LogRecorder log;
    TempDirectory const temp;
    EXPECT_TRUE(Path::MakeDirectory(temp / "a"));
    EXPECT_TRUE(wxDir::Exists(temp / "a"));
    EXPECT_FALSE(Path::MakeDirectory(temp / "b/c"));
    EXPECT_FALSE(Path::MakeDirectory(temp / "a"));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(Path, MakeDirectoryGivesTheMode0755)
{
    TempDirectory const temp;
    mode_t const mask = umask(0);
    Path::MakeDirectory(temp / "a");
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat((temp / "a").utf8_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0755u);
}

TEST(Path, RemovingADirectoryWithNestedDirectoriesAndAHiddenFileRemovesAllOfIt)
{
    LogRecorder log;
    TempDirectory const temp;
    temp.Write("a/b/c/deep.txt", "x");
    temp.Write("a/b/.hidden", "x");
    temp.Write("a/.hidden_dir/file", "x");
    EXPECT_TRUE(Path::RemoveDirectory(temp / "a"));
    EXPECT_FALSE(wxDir::Exists(temp / "a"));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(Path, RemoveDirectoryTakesThePathWithAndWithoutTrailingSeparator)
{
    TempDirectory const temp;
    temp.Write("a/file", "x");
    temp.Write("b/file", "x");
    EXPECT_TRUE(Path::RemoveDirectory(temp / "a"));
    EXPECT_TRUE(Path::RemoveDirectory(temp / "b/"));
    EXPECT_FALSE(wxDir::Exists(temp / "a"));
    EXPECT_FALSE(wxDir::Exists(temp / "b"));
}

TEST(Path, RemovingAMissingDirectoryGivesTheDoesntExistMessage)
{
    LogRecorder log;
    TempDirectory const temp;
    EXPECT_FALSE(Path::RemoveDirectory(temp / "none"));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::Path::RemoveDirectory: The directory '" +
                                          std::string((temp / "none/").utf8_str()) + "' doesn't exist.")}));
}

TEST(Path, RemoveDirectoryDoesNotFollowALinkOutOfIt)
{
    TempDirectory const temp;
    temp.Write("kept/file", "x");
    wxMkdir(temp / "a");
    ASSERT_EQ(symlink((temp / "kept").utf8_str(), (temp / "a/link").utf8_str()), 0);
    EXPECT_TRUE(Path::RemoveDirectory(temp / "a"));
    EXPECT_EQ(temp.Read("kept/file"), "x");
}

TEST(Path, ALockedFileGivesOneMessageForItAndOneForEachDirectoryAboveIt)
{
    TempDirectory const temp;
    temp.Write("a/b/locked", "x");
    temp.Write("a/free", "x");
    for (char const * const directory : {"a", "a/b"}) {
        ASSERT_EQ(chmod((temp / directory).utf8_str(), 0777), 0);
    }
    temp.SetReadOnly("a/b", true);
    LogRecorder log;
    {
        OrdinaryUser const user;
        if (!user.IsEffective()) {
            GTEST_SKIP() << "cannot become an ordinary user";
        }
        EXPECT_FALSE(Path::RemoveDirectory(temp / "a"));
    }
    std::string const root(temp.GetPath().utf8_str());
    std::string const name = "velm::Path::RemoveDirectory: ";
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error(name + "The file '" + root + "/a/b/locked' cannot be removed."),
                                    Error(name + "The directory '" + root + "/a/b/' cannot be removed."),
                                    Error(name + "The directory '" + root + "/a/' cannot be removed.")}));
    EXPECT_FALSE(wxFileExists(temp / "a/free")) << "one stubborn file must not stop the rest";
}

TEST(Path, ADirectoryThatCannotBeListedGivesTheEnumerationMessage)
{
    TempDirectory const temp;
    wxMkdir(temp / "a");
    ASSERT_EQ(chmod((temp / "a").utf8_str(), 0), 0);
    LogRecorder log;
    {
        OrdinaryUser const user;
        if (!user.IsEffective()) {
            GTEST_SKIP() << "cannot become an ordinary user";
        }
        EXPECT_FALSE(Path::RemoveDirectory(temp / "a"));
    }
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("velm::Path::RemoveDirectory: The directory '" +
                                                       std::string((temp / "a/").utf8_str()) +
                                                       "' cannot be enumerated.")}));
}

TEST(Path, CreateEmptyFileMakesOrEmptiesTheFile)
{
    TempDirectory const temp;
    temp.Write("full", "content");
    EXPECT_TRUE(Path::CreateEmptyFile(temp / "full"));
    EXPECT_TRUE(Path::CreateEmptyFile(temp / "new"));
    EXPECT_EQ(temp.Read("full"), "");
    EXPECT_EQ(temp.Read("new"), "");
}

TEST(Path, CreateEmptyFileThatFailsSaysSo)
{
    LogRecorder log;
    TempDirectory const temp;
    EXPECT_FALSE(Path::CreateEmptyFile(temp / "none/file"));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::Path::CreateEmptyFile: Can't create '" +
                                          std::string((temp / "none/file").utf8_str()) + "' file.")}));
}

TEST(Path, ChangeDirectoryChangesTheWorkingDirectory)
{
    wxString const before = wxGetCwd();
    TempDirectory const temp;
    EXPECT_TRUE(Path::ChangeDirectory(temp.GetPath()));
    EXPECT_EQ(wxGetCwd(), temp.GetPath());
    EXPECT_TRUE(Path::ChangeDirectory(before));
}

TEST(Path, ChangeDirectoryThatFailsSaysSoAndStays)
{
    LogRecorder log;
    TempDirectory const temp;
    wxString const before = wxGetCwd();
    EXPECT_FALSE(Path::ChangeDirectory(temp / "none"));
    EXPECT_EQ(wxGetCwd(), before);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("velm::Path::ChangeDirectory: Cannot change path to " +
                                                       std::string((temp / "none").utf8_str()) + ".")}));
}

TEST(Path, RemovingAnEmptyPathRemovesNothing)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can put another root directory in place of the real one";
    }
    TempDirectory const temp;
    temp.Write("kept", "x");
    // In a child process whose root is the temporary directory, since a failure would delete the root.
    auto const remove = [&] {
        if (chroot(temp.GetPath().utf8_str()) != 0 || chdir("/") != 0) {
            _exit(2);
        }
        LogRecorder log;
        bool const removed = Path::RemoveDirectory("");
        std::vector<LogLine> const expected{
            Error("velm::Path::RemoveDirectory: The directory '' doesn't exist.")};
        _exit(!removed && log.Lines() == expected ? 0 : 1);
    };
    EXPECT_EXIT(remove(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(temp.Read("kept"), "x");
}

} // namespace velm::test
