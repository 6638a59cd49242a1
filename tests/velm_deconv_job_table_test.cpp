#include "velm_deconv_job_table.h"

#include "support/config_file.h"
#include "support/log_recorder.h"
#include "velm_error.h"

namespace velm::test {

std::vector<long> All(wxArrayLong const & ids)
{
    return {ids.begin(), ids.end()};
}

std::vector<long> Jobs(VELM_DeconvJobTable const & table)
{
    wxArrayLong ids;
    ids.push_back(99);
    table.GetJobList(ids);
    return All(ids);
}

template <typename Call>
wxString ErrorOf(Call const & call)
{
    try {
        call();
    } catch (VELM_Error const & error) {
        return error.GetMessage();
    }
    return "did not throw";
}

VELM_DeconvJobTable Sample()
{
    VELM_DeconvJobTable table;
    table.Add(7, 3, "DAPI");
    table.Add(2, 4, "FITC");
    table.Add(5, 3, "DAPI");
    table.Get(2).SetDeconvChannelName("FITC sharp");
    return table;
}

char const * const SAMPLE_TEXT =
    "[DeconvJob000007]\nJOB_ID=7\nCHANNEL_ID=3\nCHANNEL_NAME=DAPI\nDECONV_CHANNEL_NAME=\n"
    "[DeconvJob000002]\nJOB_ID=2\nCHANNEL_ID=4\nCHANNEL_NAME=FITC\nDECONV_CHANNEL_NAME=FITC sharp\n"
    "[DeconvJob000005]\nJOB_ID=5\nCHANNEL_ID=3\nCHANNEL_NAME=DAPI\nDECONV_CHANNEL_NAME=\n";

TEST(VelmDeconvJobTable, ADeconvolvedChannelsIdIsItsSourcesPlusFifty)
{
    EXPECT_EQ(VELM_DeconvJobTableItem(1, 3, "DAPI").GetDeconvChannelId(), 53);
}

TEST(VelmDeconvJobTable, KeepsTheOrderOfAdding)
{
    EXPECT_EQ(Jobs(Sample()), (std::vector<long>{7, 2, 5}));
    EXPECT_EQ(Sample().Get(7).GetDeconvChannelName(), "");
}

TEST(VelmDeconvJobTable, AnIdThatIsInTheTableCannotBeAdded)
{
    VELM_DeconvJobTable table = Sample();
    EXPECT_EQ(ErrorOf([&] { table.Add(5, 1, "x"); }),
              "velm::VELM_DeconvJobTable::Add: Item with job_id=5 already exists!");
    EXPECT_EQ(Jobs(table).size(), 3u);
}

TEST(VelmDeconvJobTable, AnIdThatIsNotInTheTableCannotBeHadOrRemoved)
{
    VELM_DeconvJobTable table = Sample();
    VELM_DeconvJobTable const & read = table;
    EXPECT_EQ(ErrorOf([&] { table.Get(6); }),
              "velm::VELM_DeconvJobTable::Get: Item with job_id=6 not found!");
    EXPECT_EQ(ErrorOf([&] { read.Get(6); }), "velm::VELM_DeconvJobTable::Get: Item with job_id=6 not found!");
    EXPECT_EQ(ErrorOf([&] { table.Remove(6); }),
              "velm::VELM_DeconvJobTable::Remove: Item with job_id=6 not found!");
}

TEST(VelmDeconvJobTable, RemovingClosesTheGap)
{
    VELM_DeconvJobTable table = Sample();
    table.Remove(2);
    EXPECT_EQ(Jobs(table), (std::vector<long>{7, 5}));
}

TEST(VelmDeconvJobTable, AChannelsJobsReplaceTheArraysContent)
{
    VELM_DeconvJobTable const table = Sample();
    wxArrayLong ids;
    ids.push_back(99);
    table.GetChannelJobList(3, ids);
    EXPECT_EQ(All(ids), (std::vector<long>{7, 5}));
    table.GetChannelJobList(9, ids);
    EXPECT_TRUE(ids.empty()) << "a channel without jobs";
}

TEST(VelmDeconvJobTable, WhatWasSavedLoadsTheSame)
{
    std::string const text = ConfigFile().TextOf([](auto & config) { EXPECT_TRUE(Sample().Save(config)); });
    EXPECT_EQ(text, SAMPLE_TEXT);
    VELM_DeconvJobTable table;
    EXPECT_TRUE(ConfigFile().With(text, [&](auto & config) { return table.Load(config); }));
    EXPECT_EQ(Jobs(table), (std::vector<long>{2, 5, 7})) << "groups are walked in the order of their names";
    EXPECT_EQ(table.Get(2).GetDeconvChannelName(), "FITC sharp");
    EXPECT_EQ(table.Get(7).GetChannelName(), "DAPI");
    EXPECT_EQ(table.Get(7).GetChannelId(), 3);
}

TEST(VelmDeconvJobTable, TwoGroupsWithTheSameIdMakeLoadThrow)
{
    VELM_DeconvJobTable table;
    EXPECT_EQ(ErrorOf([&] {
                  ConfigFile().With("[DeconvJob000001]\nJOB_ID=4\nCHANNEL_ID=1\nCHANNEL_NAME=a\n"
                                    "DECONV_CHANNEL_NAME=\n"
                                    "[DeconvJob000002]\nJOB_ID=4\nCHANNEL_ID=1\nCHANNEL_NAME=a\n"
                                    "DECONV_CHANNEL_NAME=\n",
                                    [&](auto & config) { return table.Load(config); });
              }),
              "velm::VELM_DeconvJobTable::Add: Item with job_id=4 already exists!");
}

TEST(VelmDeconvJobTable, MissingEntriesAreNamedAndTheJobIsKept)
{
    LogRecorder log;
    VELM_DeconvJobTable table = Sample();
    EXPECT_FALSE(ConfigFile().With("[DeconvJob000005]\nJOB_ID=5\nCHANNEL_NAME=a\n"
                                   "DECONV_CHANNEL_NAME=b\n[DeconvJob000006]\nOTHER=1\n",
                                   [&](auto & config) { return table.Load(config); }));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_DeconvJobTableItem::Load: Channel id is not defined!"),
                  Error("Deconvolution job [DeconvJob000005] loading failed!"),
                  Error("velm::VELM_DeconvJobTableItem::Load: Job id is not defined!"),
                  Error("velm::VELM_DeconvJobTableItem::Load: Channel id is not defined!"),
                  Error("velm::VELM_DeconvJobTableItem::Load: Channel name is not defined!"),
                  Error("velm::VELM_DeconvJobTableItem::Load: Deconvolved channel name is not defined!"),
                  Error("Deconvolution job [DeconvJob000006] loading failed!")}));
    EXPECT_EQ(Jobs(table), (std::vector<long>{5, -1}));
    EXPECT_EQ(table.Get(5).GetDeconvChannelName(), "b");
    EXPECT_EQ(table.Get(-1).GetChannelName(), "Unknown");
}

TEST(VelmDeconvJobTable, SaveWithAConfigurationThatRefusesWritesReturnsTrueAndLeavesErrorLines)
{
    LogRecorder log;
    VELM_DeconvJobTable table;
    table.Add(1, 2, "a");
    RefusingConfig config;
    EXPECT_TRUE(table.Save(config));
    std::string const function = "velm::VELM_DeconvJobTableItem::Save: ";
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error(function + "Cannot save the JOB_ID parameter!"),
                                    Error(function + "Cannot save the CHANNEL_ID parameter!"),
                                    Error(function + "Cannot save the CHANNEL_NAME parameter!"),
                                    Error(function + "Cannot save the DECONV_CHANNEL_NAME parameter!"),
                                    Error("Deconvolution job id=1 not saved.")}));
}

TEST(VelmDeconvJobTable, AJobIdOfSevenDigitsStaysReadable)
{
    VELM_DeconvJobTable table;
    table.Add(1234567, 1, "a");
    std::string const text = ConfigFile().TextOf([&](auto & config) { table.Save(config); });
    EXPECT_THAT(text, testing::StartsWith("[DeconvJob1234567]\n"));
    VELM_DeconvJobTable back;
    EXPECT_TRUE(ConfigFile().With(text, [&](auto & config) { return back.Load(config); }));
    EXPECT_EQ(Jobs(back), (std::vector<long>{1234567}));
}

TEST(VelmDeconvJobTable, SavingFlushes)
{
    TempDirectory const directory;
    config::DescriptionFile file(directory / "deconv_jobs.txt");
    EXPECT_TRUE(Sample().Save(file));
    EXPECT_EQ(directory.Read("deconv_jobs.txt"), SAMPLE_TEXT);
}

TEST(VelmDeconvJobTable, ClearEmptiesIt)
{
    VELM_DeconvJobTable table = Sample();
    table.Clear();
    EXPECT_TRUE(Jobs(table).empty());
}

} // namespace velm::test
