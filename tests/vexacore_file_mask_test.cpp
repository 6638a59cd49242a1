#include "vexacore/file_mask.h"

#include "support/temp_directory.h"

namespace velm::test {

class FileMask : public testing::Test {
  protected:
    // The names that match, without the directory, with the number that was returned checked.
    std::vector<std::string> Expand(std::string const & mask, bool with_directories = false) const
    {
        std::string const directory = Directory() + "/";
        std::vector<std::string> found{"old content"};
        unsigned int const count = vexa::MaskExpand((directory + mask).c_str(), found, with_directories);
        EXPECT_EQ(count, found.size());
        for (std::string & path : found) {
            EXPECT_EQ(path.compare(0, directory.size(), directory), 0) << path;
            path.erase(0, directory.size());
        }
        return found;
    }

    std::string Directory() const { return std::string(_directory.GetPath().utf8_str()); }

    TempDirectory const _directory;
};

using Names = std::vector<std::string>;

TEST_F(FileMask, GivesTheMatchesInAscendingOrder)
{
    for (char const * const name : {"ci_0010.txt", "ci_0002.txt", "ci_9999.txt", "ci_12.txt", "ci_00a1.txt",
                                    "xci_0001.txt", "ci_0001.txt.bak"}) {
        _directory.Write(name, "");
    }
    EXPECT_EQ(Expand("ci_[0-9][0-9][0-9][0-9].txt"), (Names{"ci_0002.txt", "ci_0010.txt", "ci_9999.txt"}));
    EXPECT_EQ(Expand("ci_?2.txt"), (Names{"ci_12.txt"}));
    EXPECT_EQ(Expand("*.bak"), (Names{"ci_0001.txt.bak"}));
    EXPECT_EQ(Expand("[!c]*"), (Names{"xci_0001.txt"}));
}

TEST_F(FileMask, GivesTheMaskItselfWhenNothingMatches)
{
    _directory.Write("a.txt", "");
    EXPECT_EQ(Expand("b*.txt"), (Names{"b*.txt"}));
    std::vector<std::string> found;
    EXPECT_EQ(vexa::MaskExpand("/no/such/directory/*.txt", found, false), 1U);
    EXPECT_EQ(found, (Names{"/no/such/directory/*.txt"}));
}

TEST_F(FileMask, TakesTheDirectoryPartLiterally)
{
    _directory.Write("run [1] *?/a.txt", "");
    _directory.Write("run 1/b.txt", "");
    EXPECT_EQ(Expand("run [1] *?/*.txt"), (Names{"run [1] *?/a.txt"}));
}

TEST_F(FileMask, CountsDirectoriesOnlyWhenTold)
{
    _directory.Write("sub/file", "");
    _directory.Write("some", "");
    EXPECT_EQ(Expand("s*"), (Names{"some"}));
    EXPECT_EQ(Expand("s*", true), (Names{"some", "sub"}));
}

TEST_F(FileMask, LeavesHiddenNamesToMasksThatBeginWithADot)
{
    _directory.Write(".hidden", "");
    _directory.Write("shown", "");
    EXPECT_EQ(Expand("*"), (Names{"shown"}));
    EXPECT_EQ(Expand(".h*"), (Names{".hidden"}));
}

TEST_F(FileMask, TakesAnEscapedWildCardLiterally)
{
    _directory.Write("a*b", "");
    _directory.Write("axb", "");
    EXPECT_EQ(Expand("a\\*b"), (Names{"a*b"}));
}

} // namespace velm::test
