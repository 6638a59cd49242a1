#include "velm_filter_substitution.h"

#include "support/modal_answers.h"
#include "support/private_access.h"
#include "support/temp_directory.h"

#include <wx/choicdlg.h>
#include <wx/listbox.h>

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

VELM_PRIVATE_MEMBER(SubstituteEx, long (VELM_Database::*)(wxString const &),
                    &VELM_Database::SubstituteUnknownExFilter)
VELM_PRIVATE_MEMBER(SubstituteEm, long (VELM_Database::*)(wxString const &),
                    &VELM_Database::SubstituteUnknownEmFilter)

TEST_F(VelmFilterSubstitution, TheDatabaseOffersTheMountedFiltersOfTheKindInTheOrderOfTheirIds)
{
    TempDirectory const directory;
    directory.Write("ex_filters.ini", "1=BP 480\n2=BP 546\n");
    directory.Write("em_filters.ini", "3=LP 590\n4=LP 515\n");
    directory.Write("markers.ini", "");
    directory.Write("objectives.ini", "1=Plan 10x,10\n");
    VELM_Database db(directory.GetPath());
    bool found = false;
    db.GetExFilterId("Foreign", found);

    std::vector<std::string> offered;
    auto const take_second = [&](wxDialog & dialog) {
        auto & choice = dynamic_cast<wxSingleChoiceDialog &>(dialog);
        for (wxWindow const * const child : choice.GetChildren()) {
            if (auto const * const list = dynamic_cast<wxListBox const *>(child)) {
                for (wxString const & text : list->GetStrings()) {
                    offered.push_back(text.ToStdString());
                }
            }
        }
        choice.SetSelection(1);
        wxCommandEvent confirm(wxEVT_BUTTON, wxID_OK);
        choice.GetEventHandler()->ProcessEvent(confirm);
    };
    _answers.Run(take_second);
    EXPECT_EQ((db.*Get(SubstituteEx()))("Foreign"), 1);
    _answers.Run(take_second);
    EXPECT_EQ((db.*Get(SubstituteEm()))("Foreign"), 1);
    EXPECT_EQ(offered, (std::vector<std::string>{"BP 480", "BP 546", "LP 590", "LP 515"}));
    ASSERT_EQ(_answers.GetShown().size(), 2u);
    EXPECT_EQ(_answers.GetShown()[0].caption, "Excitation filter substitution control");
    EXPECT_EQ(_answers.GetShown()[1].caption, "Emission filter substitution control");
}

} // namespace velm::test
