// A scan that is killed at any moment loses nothing that it reported as saved.

#include "scenarios/scan_rig.h"
#include "support/log_recorder.h"
#include "velm_depository.h"
#include "velm_paths.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace velm::test {

namespace {

constexpr int kills = 100;

std::vector<std::string> const plan{"--grid", "3x2", "--slices", "3", "--channels", "1,2", "--seed", "7"};

void ExpectSameImages(VELM_Depository & killed, VELM_Depository & undisturbed, long id)
{
    VELM_FOV fov;
    ASSERT_TRUE(killed.FOV_Load(id, fov)) << "FOV " << id;
    VELM_FOV whole;
    ASSERT_TRUE(undisturbed.FOV_Load(id, whole));
    ASSERT_EQ(fov.GetNumChannels(), whole.GetNumChannels());
    for (unsigned int i = 0; i < fov.GetNumChannels(); ++i) {
        long const channel = fov.GetChannel(i).GetId();
        vexa::Image3d<unsigned short> a;
        vexa::Image3d<unsigned short> b;
        ASSERT_TRUE(killed.FOV_LoadImage(id, channel, a, nullptr));
        ASSERT_TRUE(undisturbed.FOV_LoadImage(id, channel, b, nullptr));
        ASSERT_EQ(a.size, b.size);
        EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin())) << "FOV " << id << ", channel " << channel;
        ASSERT_TRUE(killed.FOV_LoadAFImage(id, channel, a, nullptr));
        ASSERT_TRUE(undisturbed.FOV_LoadAFImage(id, channel, b, nullptr));
        EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin()));
        nubo::Histogram<unsigned short> counts;
        EXPECT_TRUE(killed.FOV_LoadHistogram(id, channel, counts));
    }
}

} // namespace

TEST(Kill, EveryFovReportedAsSavedSurvivesAKillAtAnyMoment)
{
    ScanRig rig;
    auto const start = std::chrono::steady_clock::now();
    RunResult const undisturbed = rig.Scan("whole", plan);
    auto const duration =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    ASSERT_EQ(undisturbed.status, 0) << undisturbed.errors;
    ASSERT_EQ(SavedIds(undisturbed.output).size(), 6u);
    VELM_Depository & whole = rig.Open("whole");

    std::mt19937 random(20261121);
    std::uniform_int_distribution<long> moment(0, duration.count());
    int in_the_middle = 0;
    long reported = 0;
    for (int i = 0; i < kills; ++i) {
        std::string const name = "killed" + std::to_string(i);
        ScanProcess process(rig.Arguments(name, plan));
        usleep(static_cast<useconds_t>(moment(random)));
        process.Signal(SIGKILL);
        std::vector<long> const saved = SavedIds(process.Finish().output);
        reported += static_cast<long>(saved.size());
        in_the_middle += !saved.empty() && saved.size() < 6 ? 1 : 0;

        LogRecorder const quiet; // a depository may lack the lists that were not written yet
        SCOPED_TRACE("kill " + std::to_string(i));
        VELM_Depository & killed = rig.Open(name);
        for (long const id : saved) {
            ExpectSameImages(killed, whole, id);
        }
        Path::RemoveDirectory(rig.Depository(name));
    }
    RecordProperty("kills", kills);
    RecordProperty("fovs_reported", static_cast<int>(reported));
    RecordProperty("killed_between_fovs", in_the_middle);
    std::printf(
        "%d kills, %d of them between the first and the last FOV, %ld FOVs reported as saved, all whole\n",
        kills, in_the_middle, reported);
}

} // namespace velm::test
