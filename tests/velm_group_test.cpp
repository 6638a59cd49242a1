#include "velm_group.h"

#include "support/config_file.h"
#include "support/log_recorder.h"

namespace velm::test {

VELM_GroupList Loaded(std::string const & text, bool expected = true)
{
    VELM_GroupList list;
    EXPECT_EQ(ConfigFile().With(text, [&](auto & config) { return list.Load(config); }), expected);
    return list;
}

long NextId(VELM_GroupList & list)
{
    VELM_Group group;
    list.Add(group);
    return group.GetId();
}

TEST(VelmGroup, ANewOneHasNoIdAndNoName)
{
    VELM_Group const group;
    EXPECT_EQ(group.GetId(), -1);
    EXPECT_EQ(group.GetName(), "");
}

TEST(VelmGroup, MissingEntriesAreNamedAndTheNameBecomesUnknown)
{
    LogRecorder log;
    VELM_Group group(4, "Nuclei");
    EXPECT_FALSE(ConfigFile().With("", [&](auto & config) { return group.Load(config); }));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("VELM_Group::Load: Group id not defined."),
                                                 Error("VELM_Group::Load: Group name not defined.")}));
    EXPECT_EQ(group.GetId(), 4);
    EXPECT_EQ(group.GetName(), "Unknown");
}

TEST(VelmGroup, SavingStopsAtARefusal)
{
    RefusingConfig config("GROUP_ID");
    EXPECT_FALSE(VELM_Group(1, "Nuclei").Save(config));
    EXPECT_FALSE(config.HasEntry("NAME"));
}

TEST(VelmGroupList, WritesOneGroupEachAndTheHighestIdEver)
{
    VELM_GroupList list;
    list.Insert(VELM_Group(3, "Nuclei of $HOME"));
    list.Insert(VELM_Group(12345, "Spots"));
    std::string const text = ConfigFile().TextOf([&](auto & config) {
        EXPECT_TRUE(list.Save(config));
        EXPECT_EQ(config.GetPath(), "/MaxId");
    });
    EXPECT_EQ(text, "[Group0003]\nGROUP_ID=3\nNAME=Nuclei of $HOME\n"
                    "[Group12345]\nGROUP_ID=12345\nNAME=Spots\n"
                    "[MaxId]\nMAX_ID=12345\n");
    VELM_GroupList const back = Loaded(text);
    ASSERT_EQ(back.GetCount(), 2u);
    EXPECT_EQ(back.GetById(3).GetName(), "Nuclei of $HOME");
}

TEST(VelmGroupList, SavingFlushes)
{
    TempDirectory const directory;
    config::DescriptionFile file(directory / "groups.txt");
    EXPECT_TRUE(VELM_GroupList().Save(file));
    EXPECT_EQ(directory.Read("groups.txt"), "[MaxId]\nMAX_ID=0\n");
}

TEST(VelmGroupList, AfterDeletingTheGroupWithTheHighestIdTheNextGetsANewId)
{
    VELM_GroupList list;
    list.Insert(VELM_Group(1, "a"));
    list.Insert(VELM_Group(2, "b"));
    list.Remove(2);
    std::string const text = ConfigFile().TextOf([&](auto & config) { list.Save(config); });
    VELM_GroupList back = Loaded(text);
    EXPECT_EQ(NextId(back), 3);
}

TEST(VelmGroupList, AStoredMaximumBelowTheLargestIdIsRaisedWithAWarning)
{
    LogRecorder log;
    VELM_GroupList list = Loaded("[Group0005]\nGROUP_ID=5\nNAME=a\n[MaxId]\nMAX_ID=3\n");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Warning("velm::VELM_GroupList::Load: Max ID mismatch")}));
    EXPECT_EQ(NextId(list), 6);
}

TEST(VelmGroupList, AFileWithoutAMaximumIsAMismatchUnlessItIsEmpty)
{
    LogRecorder log;
    EXPECT_TRUE(Loaded("").IsEmpty());
    EXPECT_TRUE(log.Lines().empty());
    Loaded("[Group0005]\nGROUP_ID=5\nNAME=a\n");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Warning("velm::VELM_GroupList::Load: Max ID mismatch")}));
}

TEST(VelmGroupList, ABadGroupIsKeptAndGetsAnId)
{
    LogRecorder log;
    VELM_GroupList const list = Loaded("[Group0001]\nGROUP_ID=1\nNAME=a\n[Group0002]\nNAME=b\n"
                                       "[MaxId]\nMAX_ID=2\n",
                                       false);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("VELM_Group::Load: Group id not defined."),
                                    Error("velm::VELM_GroupList::Load: Group [Group0002] loading failed.")}));
    ASSERT_EQ(list.GetCount(), 2u);
    EXPECT_EQ(list.GetById(2).GetName(), "b");
}

TEST(VelmGroupList, ALoadReplacesTheListAndItsMaximum)
{
    VELM_GroupList list;
    list.Insert(VELM_Group(50, "old"));
    ConfigFile().With("[MaxId]\nMAX_ID=9\n", [&](auto & config) { return list.Load(config); });
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(NextId(list), 10);
}

TEST(VelmGroupList, ARefusedGroupIsNamedAndTheOthersAreWritten)
{
    LogRecorder log;
    VELM_GroupList list;
    list.Insert(VELM_Group(1, "Nuclei"));
    list.Insert(VELM_Group(2, "Spots"));
    RefusingConfig config("NAME");
    EXPECT_FALSE(list.Save(config));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_GroupList::Save: Group Nuclei not saved."),
                                    Error("velm::VELM_GroupList::Save: Group Spots not saved.")}));
    EXPECT_TRUE(config.HasEntry("/Group0002/GROUP_ID"));
    EXPECT_TRUE(config.HasEntry("/MaxId/MAX_ID"));
}

TEST(VelmGroupList, NoIdFollowsTheLastOneThatALongCanHold)
{
    LogRecorder log;
    VELM_GroupList list = Loaded("[MaxId]\nMAX_ID=9223372036854775807\n");
    VELM_Group group;
    EXPECT_FALSE(list.Add(group));
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_TRUE(list.IsEmpty());
}

} // namespace velm::test
