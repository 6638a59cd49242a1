#include "velm_prompt.h"

#include "support/log_recorder.h"

#include <wx/defs.h>

// Without a display: the answers that change nothing. The boxes themselves are tested with a screen.

namespace velm::test {

TEST(PromptUnattended, NobodyCanBeAsked)
{
    EXPECT_FALSE(prompt::IsInteractive());
}

TEST(PromptUnattended, AMessageGoesToTheLogAtTheLevelOfItsIcon)
{
    LogRecorder log;
    EXPECT_EQ(prompt::ShowMessage("plain 5%", "Caption"), wxOK);
    EXPECT_EQ(prompt::ShowMessage("warned", "Caption", wxOK | wxICON_EXCLAMATION), wxOK);
    EXPECT_EQ(prompt::ShowMessage("failed", "Caption", wxOK | wxICON_ERROR), wxOK);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("plain 5%"), Warning("warned"), Error("failed")}));
}

TEST(PromptUnattended, AQuestionIsAnsweredWithNoOrCancel)
{
    LogRecorder log;
    EXPECT_EQ(prompt::ShowMessage("sure?", "Caption", wxYES_NO | wxICON_EXCLAMATION), wxNO);
    EXPECT_EQ(prompt::ShowMessage("sure?", "Caption", wxYES_NO | wxCANCEL), wxCANCEL);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Warning("sure?"), Message("sure?")}));
}

TEST(PromptUnattended, AChoiceAndANumberAreCancelled)
{
    LogRecorder log;
    wxArrayString choices;
    choices.push_back("one");
    EXPECT_EQ(prompt::ChooseOne("which?", "Caption", choices), -1);
    EXPECT_EQ(prompt::AskNumber("how many?", "n = ", "Caption", 5, 1, 9), -1);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("which?"), Message("how many?")}));
}

TEST(PromptUnattended, ABusyBoxIsOneLine)
{
    LogRecorder log;
    {
        prompt::BusyBox const busy("working");
    }
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("working")}));
}

} // namespace velm::test
