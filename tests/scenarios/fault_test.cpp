// Every device operation, and every way in which it can fail: the run ends with a message that names the
// device, the shutter closed and no frame stored under a state that was not confirmed; or, where asking once
// more helps, it ends as an undisturbed run does.

#include "scenarios/scan_rig.h"
#include "velm_depository.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace velm::test {

namespace {

std::vector<std::string> const plan{"--grid", "2x1", "--slices", "2", "--channels", "1,2", "--seed", "3"};

struct Device {
    char const * operation; // as the simulated microscope names it
    char const * name;      // as the message names it
};

// What the program calls of each device while it scans.
Device const operations[] = {
    {"Stage.Move", "stage"},
    {"Stage.IsMoving", "stage"},
    {"Stage.ReadPos", "stage"},
    {"ZDrive.Move", "Z drive"},
    {"ZDrive.IsMoving", "Z drive"},
    {"ZDrive.ReadPos", "Z drive"},
    {"Shutter.Open", "shutter"},
    {"Shutter.IsMoving", "shutter"},
    {"Shutter.IsOpened", "shutter"},
    {"ExFilter.Move", "excitation filter exchanger"},
    {"ExFilter.IsMoving", "excitation filter exchanger"},
    {"ExFilter.ReadPos", "excitation filter exchanger"},
    {"EmFilter.Move", "emission filter exchanger"},
    {"EmFilter.IsMoving", "emission filter exchanger"},
    {"EmFilter.ReadPos", "emission filter exchanger"},
    {"Camera.StartFrameCapture", "camera"},
    {"Camera.GetStatus", "camera"},
};

struct Case {
    Device device;
    char const * fault;
};

std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (Device const & device : operations) {
        std::string const operation = device.operation;
        bool const is_move = operation.find(".Move") != std::string::npos;
        cases.push_back({device, "throw"});
        if (is_move || operation == "Shutter.Open" || operation == "Camera.StartFrameCapture") {
            cases.push_back({device, "hang"});
            cases.push_back({device, "early"});
        }
        if (is_move) {
            cases.push_back({device, "short 500"});
        }
        if (operation == "Camera.StartFrameCapture") {
            cases.push_back({device, "drop"});
        }
    }
    return cases;
}

std::ostream & operator<<(std::ostream & out, Case const & fault_case)
{
    return out << fault_case.device.operation << ' ' << fault_case.fault;
}

std::string CaseName(testing::TestParamInfo<Case> const & info)
{
    std::string name = std::string(info.param.device.operation) + "_" + info.param.fault;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

class FaultTest : public testing::TestWithParam<Case> {
  protected:
    // The undisturbed run, made once.
    static ScanRig & Reference()
    {
        static std::unique_ptr<ScanRig> rig;
        if (!rig) {
            rig = std::make_unique<ScanRig>();
            RunResult const run = rig->Scan("dep", plan);
            EXPECT_EQ(run.status, 0) << run.errors;
        }
        return *rig;
    }

    std::string Line(char const * when) const
    {
        return std::string(GetParam().device.operation) + " " + GetParam().fault + " " + when;
    }

    // Every image of the faulty run's finished FOVs is that of the undisturbed run.
    void ExpectNoFrameIsMislabelled(RunResult const & run)
    {
        VELM_Depository & faulty = _rig.Open();
        VELM_Depository & whole = Reference().Open();
        EXPECT_EQ(faulty.FOV_GetCount(), SavedIds(run.output).size()) << "no FOV is half-registered";
        for (long const id : SavedIds(run.output)) {
            VELM_FOV fov;
            ASSERT_TRUE(faulty.FOV_Load(id, fov));
            for (long const channel : {1L, 2L}) {
                vexa::Image3d<unsigned short> a;
                vexa::Image3d<unsigned short> b;
                ASSERT_TRUE(faulty.FOV_LoadImage(id, channel, a, nullptr));
                ASSERT_TRUE(whole.FOV_LoadImage(id, channel, b, nullptr));
                ASSERT_EQ(a.size, b.size);
                ExpectSameScene(a, b, id, channel);
            }
        }
    }

    // A frame that was taken again is another draw of the noise, and the fluorescence has faded a little; but
    // it shows the same scene.
    static void ExpectSameScene(vexa::Image3d<unsigned short> const & a,
                                vexa::Image3d<unsigned short> const & b, long id, long channel)
    {
        double difference = 0.0;
        double signal = 0.0;
        for (std::size_t i = 0; i < a.GetCount(); ++i) {
            difference += std::abs(static_cast<double>(a.GetVoxel(i)) - b.GetVoxel(i));
            signal += b.GetVoxel(i);
        }
        EXPECT_LT(difference, signal * 0.1) << "FOV " << id << ", channel " << channel;
    }

    void ExpectShutterClosed() const { EXPECT_THAT(_rig.State(), testing::HasSubstr("Shutter=closed")); }

    ScanRig _rig;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(EveryOperation, FaultTest, testing::ValuesIn(AllCases()), CaseName);

TEST_P(FaultTest, ThatStaysEndsTheRunWithAMessageThatNamesTheDevice)
{
    // From the second call on, so that there is a beginning to be spoiled.
    _rig.Set("Fault1", Line("from 2"));
    RunResult const run = _rig.Scan("dep", plan);
    if (GetParam().fault == std::string("early") && run.status == 0) {
        // A move that is only reported too early arrives, and reading it back tells when.
        EXPECT_EQ(SavedIds(run.output).size(), 2u);
    } else {
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.errors, testing::HasSubstr(std::string("The ") + GetParam().device.name));
    }
    ExpectShutterClosed();
    ExpectNoFrameIsMislabelled(run);
}

TEST_P(FaultTest, ThatHappensOnceIsOvercomeByAskingOnceMore)
{
    _rig.Set("Fault1", Line("at 3"));
    RunResult const run = _rig.Scan("dep", plan);
    EXPECT_EQ(run.status, 0) << run.errors;
    ExpectShutterClosed();
    ExpectNoFrameIsMislabelled(run);
}

} // namespace velm::test
