#include "velm_filter_substitution.h"

#include "support/modal_answers.h"

#include <wx/choicdlg.h>

namespace velm::test {

class VelmFilterSubstitution : public testing::Test {
  protected:
    ModalAnswers _answers;
    std::vector<VELM_FilterInfo> const _mounted = {{"BP 480", 1}, {"BP 546", 2}};
};

TEST_F(VelmFilterSubstitution, TheChosenFiltersIndexIsItsId)
{
    _answers.Run([](wxDialog & dialog) {
        auto & choice = dynamic_cast<wxSingleChoiceDialog &>(dialog);
        choice.SetSelection(1);
        wxCommandEvent confirm(wxEVT_BUTTON, wxID_OK);
        choice.GetEventHandler()->ProcessEvent(confirm);
    });
    EXPECT_EQ(detail::ChooseFilterSubstitute(_mounted, detail::EX_FILTER_WORDS, "BP 700"), 1);
    EXPECT_EQ(_answers.GetShown(),
              (std::vector<ShownDialog>{{"Excitation filter substitution control",
                                         "Excitation filter 'BP 700' is not actually installed.\n"
                                         "Please select its substitution:",
                                         0}}));
}

TEST_F(VelmFilterSubstitution, TheChoiceCannotBeLeftWithoutAnAnswer)
{
    _answers.Press(wxID_CANCEL);
    _answers.Press(wxID_OK);
    _answers.Press(wxID_CANCEL);
    _answers.Press(wxID_OK);
    _answers.Press(wxID_OK);
    EXPECT_EQ(detail::ChooseFilterSubstitute(_mounted, detail::EM_FILTER_WORDS, "LP 700"), 0);
    ShownDialog const choice = {"Emission filter substitution control",
                                "Emission filter 'LP 700' is not actually installed.\n"
                                "Please select its substitution:",
                                0};
    ShownDialog const reminder = {"Emission filter substitution control",
                                  "You must select one emission filter!",
                                  wxOK | wxCENTRE | wxICON_INFORMATION};
    EXPECT_EQ(_answers.GetShown(), (std::vector<ShownDialog>{choice, reminder, choice, reminder, choice}));
}

TEST_F(VelmFilterSubstitution, TheReminderForAnExcitationFilterNamesItsKind)
{
    _answers.Press(wxID_CANCEL);
    _answers.Press(wxID_OK);
    _answers.Press(wxID_OK);
    detail::ChooseFilterSubstitute(_mounted, detail::EX_FILTER_WORDS, "LP 700");
    ASSERT_EQ(_answers.GetShown().size(), 3u);
    EXPECT_EQ(_answers.GetShown()[1].text, "You must select one excitation filter!");
}

TEST_F(VelmFilterSubstitution, AnEmptyCatalogueThrowsInsteadOfAskingForEver)
{
    EXPECT_THROW(detail::ChooseFilterSubstitute({}, detail::EX_FILTER_WORDS, "BP 700"), VELM_DBError);
}

} // namespace velm::test
