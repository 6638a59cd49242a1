// The log in a text control.

#include "velm_log.h"

#include <wx/frame.h>
#include <wx/textctrl.h>

namespace velm::test {

using Strings = std::vector<std::string>;

class LogTextCtrl : public testing::Test {
  protected:
    LogTextCtrl() { wxLog::SetTimestamp("<%H>"); }
    ~LogTextCtrl() override
    {
        wxLog::SetTimestamp(_time_stamp);
        _frame->Destroy();
    }

    // The lines of the control without their time stamps, which have to be there.
    Strings Lines() const
    {
        Strings lines;
        for (int i = 0; i < _text->GetNumberOfLines() - 1; ++i) {
            std::string const line(_text->GetLineText(i).utf8_str());
            std::string const stamp = "<00>: ";
            EXPECT_EQ(line.substr(0, 1) + line.substr(3, 3), "<>: ") << line;
            lines.push_back(line.substr(std::min(line.size(), stamp.size())));
        }
        EXPECT_EQ(_text->GetLineText(_text->GetNumberOfLines() - 1), "") << "the last line ends too";
        return lines;
    }

    wxString const _time_stamp = wxLog::GetTimestamp();
    wxFrame * const _frame = new wxFrame(nullptr, wxID_ANY, "log");
    wxTextCtrl * const _text =
        new wxTextCtrl(_frame, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxTE_MULTILINE);
};

TEST_F(LogTextCtrl, AMaximumOfThreeShowsThreeLinesAndTheFourthMessageRemovesTheFirst)
{
    VELM_LogTextCtrl log(_text, 3);
    log.LogText("first");
    log.LogText("");
    log.LogText("third one");
    EXPECT_EQ(Lines(), (Strings{"first", "", "third one"}));
    log.LogText("fourth");
    EXPECT_EQ(Lines(), (Strings{"", "third one", "fourth"}));
    log.LogText("fifth");
    EXPECT_EQ(Lines(), (Strings{"third one", "fourth", "fifth"}));
}

TEST_F(LogTextCtrl, AMaximumOfZeroOrLessMeansNoLimit)
{
    for (int const max_lines : {0, -1}) {
        _text->Clear();
        VELM_LogTextCtrl log(_text, max_lines);
        for (int i = 0; i < 50; ++i) {
            log.LogText("x");
        }
        EXPECT_EQ(Lines().size(), 50u);
    }
}

TEST_F(LogTextCtrl, ARecordShowsItsTimeOnceAndItsLevel)
{
    wxLog * const before = wxLog::SetActiveTarget(new VELM_LogTextCtrl(_text, 5));
    Log::Warning("lamp is old");
    Log::Message("lamp is on");
    delete wxLog::SetActiveTarget(before);
    EXPECT_EQ(Lines(), (Strings{"Warning: lamp is old", "lamp is on"}));
}

} // namespace velm::test
