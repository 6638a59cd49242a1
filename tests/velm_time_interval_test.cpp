#include "velm_time_interval.h"

#include "support/config_file.h"
#include "support/log_recorder.h"

namespace velm::test {

wxDateTime At(long long ms)
{
    return wxDateTime(wxLongLong(ms));
}

TEST(VelmTimeInterval, ANewOneBeginsAndEndsAtItsConstruction)
{
    wxDateTime const before = wxDateTime::UNow();
    VELM_TimeInterval const interval;
    wxDateTime const after = wxDateTime::UNow();
    EXPECT_TRUE(interval.GetStartTime().IsBetween(before, after));
    EXPECT_EQ(interval.GetStartTime(), interval.GetEndTime());
}

TEST(VelmTimeInterval, StartAndEndSetTheirOwnEndToNow)
{
    VELM_TimeInterval interval(At(1000), At(2000));
    interval.Start();
    EXPECT_GT(interval.GetStartTime(), At(2000));
    EXPECT_EQ(interval.GetEndTime(), At(2000));
    interval.End();
    EXPECT_GE(interval.GetEndTime(), interval.GetStartTime());
}

TEST(VelmTimeInterval, TimesSurviveASaveAndALoadToTheMillisecond)
{
    ConfigFile const file;
    // Before 1970, and after the last second that fits 32 bits.
    VELM_TimeInterval const saved(At(-1), At(9999999999999));
    std::string const text = file.TextOf([&](auto & config) { EXPECT_TRUE(saved.Save(config)); });
    EXPECT_EQ(text, "START_TIME=-1\nSTART_TIME_MS=999\nEND_TIME=9999999999\nEND_TIME_MS=999\n");

    VELM_TimeInterval loaded;
    EXPECT_TRUE(file.With(text, [&](auto & config) { return loaded.Load(config); }));
    EXPECT_EQ(loaded.GetStartTime(), At(-1));
    EXPECT_EQ(loaded.GetEndTime(), At(9999999999999));
}

TEST(VelmTimeInterval, EachMissingEntryIsNamedAndTheOthersAreRead)
{
    LogRecorder log;
    VELM_TimeInterval interval(At(1234), At(5678));
    EXPECT_FALSE(ConfigFile().With("START_TIME=10\nEND_TIME_MS=21\n",
                                   [&](auto & config) { return interval.Load(config); }));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("loading FOV : Compulsory entry START_TIME_MS not defined."),
                                    Error("loading FOV : Compulsory entry END_TIME not defined.")}));
    EXPECT_EQ(interval.GetStartTime(), At(10000)) << "new seconds don't keep the old milliseconds";
    EXPECT_EQ(interval.GetEndTime(), At(5021)) << "old seconds keep what is missing";
}

TEST(VelmTimeInterval, ATimeThatNoClockCanShowCountsAsMissing)
{
    LogRecorder log;
    VELM_TimeInterval interval(At(1), At(2));
    EXPECT_FALSE(ConfigFile().With("START_TIME=9223372036854775807\nSTART_TIME_MS=1\n"
                                   "END_TIME=-9223372036854775807\nEND_TIME_MS=1000\n",
                                   [&](auto & config) { return interval.Load(config); }));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("loading FOV : Compulsory entry START_TIME not defined."),
                                    Error("loading FOV : Compulsory entry END_TIME not defined."),
                                    Error("loading FOV : Compulsory entry END_TIME_MS not defined.")}));
    EXPECT_EQ(interval.GetStartTime(), At(1));
    EXPECT_EQ(interval.GetEndTime(), At(2));
}

TEST(VelmTimeInterval, EachRefusedEntryIsNamed)
{
    LogRecorder log;
    RefusingConfig config;
    EXPECT_FALSE(VELM_TimeInterval().Save(config));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("saving FOV : Entry START_TIME not saved."),
                                                 Error("saving FOV : Entry START_TIME_MS not saved."),
                                                 Error("saving FOV : Entry END_TIME not saved."),
                                                 Error("saving FOV : Entry END_TIME_MS not saved.")}));
}

} // namespace velm::test
