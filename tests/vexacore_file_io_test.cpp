// Files come into being under their names as a whole, whatever happens to their writers.

#include "support/temp_directory.h"
#include "vexacore/exceptions.h"
#include "vexacore/file_io.h"

#include <algorithm>
#include <csignal>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <wx/dir.h>

namespace velm::test {

using vexa::OutputFile;

class FileIo : public testing::Test {
  protected:
    std::string Path(wxString const & name = "image.ics") const
    {
        return std::string((_directory / name).utf8_str());
    }

    // The names in the directory.
    std::vector<std::string> Names() const
    {
        wxArrayString paths;
        wxDir::GetAllFiles(_directory.GetPath(), &paths);
        std::vector<std::string> names;
        for (wxString const & path : paths) {
            names.emplace_back(path.AfterLast('/').utf8_str());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    void Write(std::string const & content, std::string const & name = "image.ics") const
    {
        OutputFile file(Path(name).c_str());
        file.Write(content.data(), content.size());
        file.Commit();
    }

    TempDirectory const _directory;
};

// Does the work in a process of its own that is killed at its end.
void RunAndKill(std::function<void()> const & work)
{
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        work();
        ::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
}

using testing::ElementsAre;

TEST_F(FileIo, FileHasItsNameOnlyWhenItIsComplete)
{
    OutputFile file(Path().c_str());
    file.Write("abc", 3);
    EXPECT_FALSE(wxFileExists(_directory / "image.ics"));
    file.Write("def", 3);
    EXPECT_EQ(file.GetPosition(), 6U);
    file.WriteAt(1, "XY", 2);
    EXPECT_EQ(file.GetPosition(), 6U);
    file.Write("g", 1);
    file.Commit();
    EXPECT_EQ(_directory.Read("image.ics"), "aXYdefg");
    EXPECT_THAT(Names(), ElementsAre("image.ics"));
}

TEST_F(FileIo, FileThatIsGivenUpLeavesNothing)
{
    Write("old");
    {
        OutputFile file(Path().c_str());
        file.Write("new", 3);
    }
    EXPECT_EQ(_directory.Read("image.ics"), "old");
    EXPECT_THAT(Names(), ElementsAre("image.ics"));
}

TEST_F(FileIo, LeftoversOfAKilledWriterGoAtTheNextSaveOfTheName)
{
    Write("old");
    RunAndKill([&] {
        OutputFile first(Path().c_str());
        first.Write("half", 4);
        OutputFile second(Path().c_str());
        second.Write("ha", 2);
        ::raise(SIGKILL);
    });
    EXPECT_EQ(Names().size(), 3U);
    EXPECT_EQ(_directory.Read("image.ics"), "old");
    Write("other", "other.ics");
    EXPECT_EQ(Names().size(), 4U) << "only a save of the same name removes them";
    Write("new");
    EXPECT_EQ(_directory.Read("image.ics"), "new");
    EXPECT_THAT(Names(), ElementsAre("image.ics", "other.ics"));
}

TEST_F(FileIo, FileOfALivingWriterStays)
{
    OutputFile first(Path().c_str());
    first.Write("first", 5);
    Write("second");
    EXPECT_EQ(_directory.Read("image.ics"), "second");
    int started[2];
    int go_on[2];
    ASSERT_EQ(::pipe(started), 0);
    ASSERT_EQ(::pipe(go_on), 0);
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        OutputFile file(Path().c_str());
        file.Write("third", 5);
        char signal = 0;
        bool const told = ::write(started[1], "x", 1) == 1 && ::read(go_on[0], &signal, 1) == 1;
        file.Commit();
        ::_exit(told ? 0 : 1);
    }
    char signal = 0;
    ASSERT_EQ(::read(started[0], &signal, 1), 1);
    first.Commit();
    Write("fourth");
    EXPECT_EQ(_directory.Read("image.ics"), "fourth");
    ASSERT_EQ(::write(go_on[1], "x", 1), 1);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the other process could not give its file the name";
    EXPECT_EQ(_directory.Read("image.ics"), "third");
    EXPECT_THAT(Names(), ElementsAre("image.ics"));
    for (int const descriptor : {started[0], started[1], go_on[0], go_on[1]}) {
        ::close(descriptor);
    }
}

TEST_F(FileIo, WritersOfOneNameAtOnceAllSucceedAndOneFileIsThere)
{
    std::vector<std::thread> writers;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        writers.emplace_back([this, letter] {
            for (int i = 0; i < 50; ++i) {
                EXPECT_NO_THROW(Write(std::string(10000, letter)));
            }
        });
    }
    for (std::thread & writer : writers) {
        writer.join();
    }
    std::string const content = _directory.Read("image.ics");
    EXPECT_EQ(content, std::string(10000, content.front()));
    EXPECT_THAT(Names(), ElementsAre("image.ics"));
}

TEST_F(FileIo, FilesThatOnlyLookLikeLeftoversStay)
{
    for (char const * const name : {"image.ics.partial", "image.ics.part", "image.ics.part1x",
                                    "image.ics.part-1", "mimage.ics.part1_1", "image.ic.part1_1"}) {
        _directory.Write(name, "mine");
    }
    _directory.Write("image.ics.part17_0", "a leftover");
    std::size_t const before = Names().size();
    Write("new");
    EXPECT_EQ(Names().size(), before) << "one has gone, one has come";
    EXPECT_FALSE(wxFileExists(_directory / "image.ics.part17_0"));
}

TEST_F(FileIo, FileThatCannotTakeItsNameIsAnErrorAndLeavesNothing)
{
    {
        OutputFile file(Path().c_str());
        file.Write("abc", 3);
        _directory.Write("image.ics/inside", "");
        try {
            file.Commit();
            FAIL() << "a directory was replaced";
        } catch (vexa::IOException const & e) {
            EXPECT_EQ(e.GetMessage(), "Cannot write '" + Path() + "': Is a directory");
        }
    }
    EXPECT_THAT(Names(), ElementsAre("inside"));
}

} // namespace velm::test
