#include "support/event_pump.h"
#include "velm_log.h"

#include <wx/frame.h>
#include <wx/textctrl.h>

namespace velm::test {

class LogTextCtrlTest : public testing::Test {
  protected:
    LogTextCtrlTest()
        : _frame(new wxFrame(nullptr, wxID_ANY, "Log")),
          _text(new wxTextCtrl(_frame, wxID_ANY, "", wxDefaultPosition, wxSize(400, 200), wxTE_MULTILINE)),
          _before(wxLog::GetActiveTarget())
    {
        _frame->Show();
        PumpEvents();
    }

    ~LogTextCtrlTest() override
    {
        delete wxLog::SetActiveTarget(_before);
        _frame->Destroy();
        PumpEvents();
    }

    void ShowAtMost(int lines) { wxLog::SetActiveTarget(new VELM_LogTextCtrl(_text, lines)); }

    void Log(std::initializer_list<char const *> messages)
    {
        for (char const * const message : messages) {
            velm::Log::Message(message);
        }
        PumpEvents();
    }

    // The control's lines without their time stamps.
    std::vector<std::string> Lines() const
    {
        std::vector<std::string> lines;
        wxString const text = _text->GetValue();
        for (wxString const & line : wxSplit(text.BeforeLast('\n'), '\n', '\0')) {
            lines.emplace_back(line.AfterLast(' ').utf8_str());
        }
        return lines;
    }

    wxFrame * _frame;
    wxTextCtrl * _text;

  private:
    wxLog * _before;
};

TEST_F(LogTextCtrlTest, WithAMaximumOfThreeTheFourthMessageRemovesTheFirst)
{
    ShowAtMost(3);
    Log({"one", "two", "three"});
    EXPECT_EQ(Lines(), (std::vector<std::string>{"one", "two", "three"}));
    Log({"four"});
    EXPECT_EQ(Lines(), (std::vector<std::string>{"two", "three", "four"}));
    Log({"five", "six", "seven", "eight"});
    EXPECT_EQ(Lines(), (std::vector<std::string>{"six", "seven", "eight"}));
}

TEST_F(LogTextCtrlTest, AMaximumOfZeroMeansNoLimit)
{
    ShowAtMost(0);
    for (int i = 0; i < 100; ++i) {
        Log({"line"});
    }
    EXPECT_EQ(Lines().size(), 100u);
}

TEST_F(LogTextCtrlTest, ALineIsTheTimeStampAndTheText)
{
    ShowAtMost(3);
    Log({"hello"});
    EXPECT_THAT(std::string(_text->GetValue().utf8_str()), testing::MatchesRegex("[0-9:]+[^\n]* hello\n"));
}

} // namespace velm::test
