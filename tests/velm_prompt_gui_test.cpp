// The boxes that records and services show when a GUI application runs.

#include "support/event_pump.h"
#include "support/log_recorder.h"
#include "support/modal_answers.h"
#include "velm_prompt.h"

#include <wx/frame.h>

namespace velm::test {

TEST(Prompt, AGuiApplicationCanBeAsked)
{
    EXPECT_TRUE(prompt::IsInteractive());
}

TEST(Prompt, AMessageIsShownWithItsCaptionAndStyle)
{
    LogRecorder log;
    ModalAnswers answers;
    answers.Press(wxID_YES);
    EXPECT_EQ(prompt::ShowMessage("Really?", "Warning", wxYES_NO | wxICON_EXCLAMATION), wxYES);
    ASSERT_EQ(answers.GetShown().size(), 1u);
    EXPECT_EQ(answers.GetShown()[0].caption, "Warning");
    EXPECT_EQ(answers.GetShown()[0].text, "Really?");
    EXPECT_EQ(answers.GetShown()[0].style & (wxYES_NO | wxICON_EXCLAMATION), wxYES_NO | wxICON_EXCLAMATION);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(Prompt, AChoiceGivesTheIndexAndMinusOneWhenCancelled)
{
    wxArrayString choices;
    choices.push_back("first");
    choices.push_back("second");
    ModalAnswers answers;
    answers.Press(wxID_OK);
    EXPECT_EQ(prompt::ChooseOne("Which?", "Choice", choices), 0) << "the first item is preselected";
    answers.Press(wxID_CANCEL);
    EXPECT_EQ(prompt::ChooseOne("Which?", "Choice", choices), -1);
}

TEST(Prompt, ANumberIsEntered)
{
    ModalAnswers answers;
    answers.EnterNumber(42);
    EXPECT_EQ(prompt::AskNumber("How many?", "n = ", "Number", 5, 1, 100), 42);
    answers.Press(wxID_CANCEL);
    EXPECT_EQ(prompt::AskNumber("How many?", "n = ", "Number", 5, 1, 100), -1);
}

TEST(Prompt, ABusyBoxIsAWindowForAsLongAsItLives)
{
    LogRecorder log;
    auto const windows = [] { return wxTopLevelWindows.GetCount(); };
    auto const before = windows();
    {
        prompt::BusyBox const busy("Working...");
        EXPECT_EQ(windows(), before + 1);
    }
    PumpEvents();
    EXPECT_EQ(windows(), before);
    EXPECT_TRUE(log.Lines().empty());
}

} // namespace velm::test
