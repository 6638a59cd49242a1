#include "support/log_recorder.h"

namespace velm::test {

std::ostream & operator<<(std::ostream & out, LogLine const & line)
{
    return out << line.level << ": " << line.text;
}

LogRecorder::LogRecorder() : _previous(wxLog::SetActiveTarget(this)) {}

LogRecorder::~LogRecorder()
{
    wxLog::SetActiveTarget(_previous);
}

std::vector<std::string> LogRecorder::Texts(char level) const
{
    std::vector<std::string> texts;
    for (LogLine const & line : _lines) {
        if (line.level == level) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

void LogRecorder::DoLogRecord(wxLogLevel level, wxString const & text, wxLogRecordInfo const & info)
{
    char const letter = level == wxLOG_Error     ? 'E'
                        : level == wxLOG_Warning ? 'W'
                        : level == wxLOG_Message ? 'M'
                        : level == wxLOG_Info    ? 'I'
                                                 : '?';
    _lines.push_back({letter, std::string(text.utf8_str()), info.func != nullptr ? info.func : ""});
}

} // namespace velm::test
