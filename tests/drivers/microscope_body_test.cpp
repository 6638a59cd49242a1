#include "drivers/base/microscope_body.h"

#include "support/stub_rig.h"

#include <wx/frame.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

namespace velm::test {

namespace {

std::vector<VELM_ObjectiveInfo> const objectives{{"Plan 10x", 10.0f, 1}, {"Apo & oil 60x", 60.0f, 2}};

class TurningBody : public VELM_MicroscopeBodyControl {
  public:
    TurningBody() : VELM_MicroscopeBodyControl("Stand 7", objectives, nullptr) {}
    void Turn(long objective) { _objective = objective; }
};

} // namespace

TEST(MicroscopeBody, CannotBeBuiltWithoutAnObjective)
{
    std::vector<VELM_ObjectiveInfo> const none;
    try {
        VELM_MicroscopeBodyControl const body("Stand 7", none, nullptr);
        ADD_FAILURE();
    } catch (VELM_MicroscopeBodyControlError const & error) {
        EXPECT_STREQ(error.what(), "VELM_MicroscopeBodyControl::VELM_MicroscopeBodyControl: At least one "
                                   "objective must be defined!");
    }
}

TEST(MicroscopeBody, StartsWithTheFirstObjectiveAndFollowsTheNosepiece)
{
    TurningBody body;
    EXPECT_EQ(body.GetObjectiveDescription(), "Plan 10x");
    body.Turn(1);
    EXPECT_EQ(body.GetObjectiveDescription(), "Apo & oil 60x");
}

TEST(MicroscopeBody, InfoNamesTheDriver)
{
    StubDriver driver;
    EXPECT_EQ(TurningBody().HWInfo(), "General MicroscopeBody Control (No driver)");
    EXPECT_EQ(VELM_MicroscopeBodyControl("Stand 7", objectives, &driver).HWInfo(),
              "General MicroscopeBody Control (Stub driver)");
}

TEST(MicroscopeBody, WorksWithoutADriver)
{
    TurningBody body;
    body.Init();
    body.SetLightPathToCamera();
    body.RefreshControlWindow();
    body.SpareBodyOperation(1);
    body.Close();
    EXPECT_EQ(body.GetObjectiveDescription(), "Plan 10x");
}

TEST(MicroscopeBody, ReceivesWindowEvents)
{
    TurningBody body;
    int clicks = 0;
    body.Bind(wxEVT_BUTTON, [&](wxCommandEvent &) { ++clicks; });
    wxCommandEvent click(wxEVT_BUTTON);
    body.ProcessEvent(click);
    EXPECT_EQ(clicks, 1);
}

TEST(MicroscopeBody, ItsControlWindowShowsModelAndObjective)
{
    wxFrame frame(nullptr, wxID_ANY, "test");
    auto * const panel = new wxPanel(&frame);
    TurningBody body;
    body.Turn(1);
    body.CreateControlWindow(panel);

    auto * const sizer = dynamic_cast<wxBoxSizer *>(panel->GetSizer());
    ASSERT_NE(sizer, nullptr);
    EXPECT_EQ(sizer->GetOrientation(), wxVERTICAL);
    std::vector<wxString> texts;
    for (wxSizerItem const * item : sizer->GetChildren()) {
        EXPECT_EQ(item->GetProportion(), 0);
        EXPECT_EQ(item->GetFlag(), wxALL);
        EXPECT_EQ(item->GetBorder(), 5);
        texts.push_back(dynamic_cast<wxStaticText &>(*item->GetWindow()).GetLabelText());
    }
    EXPECT_EQ(texts, (std::vector<wxString>{"Model:         Stand 7", "Objective:   Apo & oil 60x"}));
}

} // namespace velm::test
