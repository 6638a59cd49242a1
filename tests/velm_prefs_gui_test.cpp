// The choice of a profile by a user, and the boxes that tell of its absence.

#include "velm_prefs.h"

#include "support/modal_answers.h"
#include "support/preferences_fixture.h"

#include <wx/choicdlg.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>

namespace velm::test {

class VelmPreferencesWithAUser : public PreferencesFixture {
  protected:
    bool CreateWithProfiles(std::string const & profiles)
    {
        _installation.Write("profiles.txt", profiles);
        return Create(WithDirectories(""));
    }

    ShownDialog Box(wxString const & text) const
    {
        return {wxMessageBoxCaptionStr, text.ToStdString(), wxOK | wxCENTRE | wxICON_INFORMATION};
    }

    ShownDialog const _choice = {"List of profiles", "Select a profile:", 0};
    ModalAnswers _answers;
};

TEST_F(VelmPreferencesWithAUser, TheFirstProfileIsPreselected)
{
    _answers.Press(wxID_OK);
    EXPECT_TRUE(CreateWithProfiles("B=3;4\nA=1;2\n"));
    EXPECT_EQ(_answers.GetShown(), (std::vector<ShownDialog>{_choice}));
    EXPECT_EQ(Prefs().GetProfileName(), "A");
    EXPECT_EQ(Prefs().GetDBDir(), "1");
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmPreferencesWithAUser, TheChosenProfileIsTaken)
{
    _answers.Run([](wxDialog & dialog) {
        auto & choice = dynamic_cast<wxSingleChoiceDialog &>(dialog);
        choice.SetSelection(1);
        wxCommandEvent confirm(wxEVT_BUTTON, wxID_OK);
        choice.GetEventHandler()->ProcessEvent(confirm);
    });
    EXPECT_TRUE(CreateWithProfiles("A=1;2\nB=3;4\n"));
    EXPECT_EQ(Prefs().GetProfileName(), "B");
    EXPECT_EQ(Prefs().GetHWInitFile(), "4");
}

TEST_F(VelmPreferencesWithAUser, CancellingDisablesTheHardware)
{
    _answers.Press(wxID_CANCEL);
    _answers.Press(wxID_OK);
    EXPECT_FALSE(CreateWithProfiles("A=1;2\nB=3;4\n"));
    EXPECT_EQ(_answers.GetShown(),
              (std::vector<ShownDialog>{_choice, Box("No profile selected. HW disabled!")}));
    EXPECT_EQ(_log.Lines(), (std::vector<LogLine>{Warning("No profile selected. HW disabled!")}));
    EXPECT_EQ(Prefs().GetProfileName(), "");
}

TEST_F(VelmPreferencesWithAUser, AProfileFileWithOneEntryStartsWithoutADialog)
{
    EXPECT_TRUE(CreateWithProfiles("A=1;2\n"));
    EXPECT_TRUE(_answers.GetShown().empty());
}

TEST_F(VelmPreferencesWithAUser, AMissingOrEmptyProfileFileIsTold)
{
    wxString const file = _installation / "profiles.txt";
    _answers.Press(wxID_OK);
    EXPECT_FALSE(CreateWithProfiles(""));
    _answers.Press(wxID_OK);
    wxRemoveFile(file);
    EXPECT_FALSE(VELM_Preferences::CreateInstance(_ini));
    EXPECT_EQ(_answers.GetShown(),
              (std::vector<ShownDialog>{Box("No profile defined in '" + file + "'. HW disabled!"),
                                        Box("Cannot find the profile file '" + file + "'. HW disabled!")}));
}

TEST_F(VelmPreferencesWithAUser, AMenuShowsTheWorkingDirectories)
{
    CreateWithProfiles("A=1;2\n");
    Prefs().SetLastWorkingDir("/data/one");
    Prefs().SetLastWorkingDir("/data/two");
    wxMenu menu;
    Prefs().CreateHistoryMenu(&menu);
    ASSERT_EQ(menu.GetMenuItemCount(), 2u);
    EXPECT_EQ(menu.FindItemByPosition(0)->GetId(), 5051);
    EXPECT_THAT(menu.FindItemByPosition(0)->GetItemLabelText().ToStdString(), testing::HasSubstr("two"));
    EXPECT_EQ(menu.FindItemByPosition(1)->GetId(), 5052);
    VELM_Preferences::DeleteInstance();
}

} // namespace velm::test
