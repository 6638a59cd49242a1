#include "sim_devices.h"

#include "sim/sim_rig.h"

#include <wx/choice.h>

namespace velm::sim::test {

std::vector<VELM_ObjectiveInfo> Catalogue()
{
    return {{"63x/1.40", 63.0f, 1}, {"10x/0.30", 10.0f, 2}};
}

wxChoice * ChoiceIn(wxWindow & window)
{
    for (wxWindow * const child : window.GetChildren()) {
        if (auto * const choice = dynamic_cast<wxChoice *>(child)) {
            return choice;
        }
    }
    return nullptr;
}

TEST(SimBody, StartsWithTheObjectiveThatTheConfigurationNames)
{
    auto const objectives = Catalogue();
    SimConfig config = QuietConfig();
    Machine plain(config);
    EXPECT_EQ(SimBody(plain, objectives, nullptr).GetObjectiveDescription(), "63x/1.40");
    config.objective = 2;
    Machine machine(config);
    EXPECT_EQ(SimBody(machine, objectives, nullptr).GetObjectiveDescription(), "10x/0.30");
    EXPECT_EQ(machine.GetObjective(), 1u);
}

TEST(SimBody, TheControlWindowTurnsTheNosepiece)
{
    auto const objectives = Catalogue();
    Machine machine(QuietConfig());
    SimBody body(machine, objectives, nullptr);
    wxFrame frame(nullptr, wxID_ANY, "body");
    body.CreateControlWindow(&frame);
    wxChoice * const choice = ChoiceIn(frame);
    ASSERT_NE(choice, nullptr);
    EXPECT_EQ(choice->GetStringSelection(), "63x/1.40");
    wxCommandEvent event(wxEVT_CHOICE, choice->GetId());
    event.SetInt(1);
    choice->ProcessWindowEvent(event);
    EXPECT_EQ(body.GetObjectiveDescription(), "10x/0.30");
    EXPECT_EQ(machine.GetObjective(), 1u);
}

TEST(SimBody, AnObjectiveThatIsNotThereIsRefused)
{
    auto const objectives = Catalogue();
    Machine machine(QuietConfig());
    SimBody body(machine, objectives, nullptr);
    EXPECT_THROW(body.TurnTo(2), VELM_MicroscopeBodyControlError);
    EXPECT_EQ(body.GetObjectiveDescription(), "63x/1.40");
}

TEST(SimDevices, SayWhatTheyAre)
{
    Machine machine(QuietConfig());
    EXPECT_EQ(SimZDrive(machine, nullptr).HWInfo(), "Simulated Z drive, 0 to 10000 (No driver)");
    EXPECT_EQ(SimStage(machine, nullptr).HWInfo(), "Simulated stage, +-500000 (No driver)");
    EXPECT_EQ(SimShutter(machine, nullptr).HWInfo(), "Simulated shutter (No driver)");
    EXPECT_EQ(SimFilter(machine, Device::EX_FILTER, nullptr).HWInfo(),
              "Simulated filter exchanger, positions 0 to 12 (No driver)");
}

TEST(SimDevices, ReadTheirPositionsAlsoOnTheWay)
{
    double time = 0.0;
    Machine machine(QuietConfig(), Clock([&] { return time; }));
    SimStage stage(machine, nullptr);
    stage.Move(10000, -4000);
    EXPECT_TRUE(stage.IsMoving());
    time = 60000.0;
    long x = 0;
    long y = 0;
    stage.ReadPos(x, y);
    EXPECT_GT(x, 0);
    EXPECT_LT(x, 10000);
    EXPECT_LT(y, 0);
    EXPECT_GT(y, -4000);
    time = 1e9;
    EXPECT_FALSE(stage.IsMoving());
    stage.ReadPos(x, y);
    EXPECT_EQ(x, 10000);
    EXPECT_EQ(y, -4000);
}

} // namespace velm::sim::test
