#ifndef TESTS_SUPPORT_LOG_RECORDER_H
#define TESTS_SUPPORT_LOG_RECORDER_H

#include <ostream>
#include <string>
#include <vector>
#include <wx/log.h>

namespace velm::test {

// One log record: "E", "W", "M" or "I" for error, warning, message and info, with its text and the name of
// the function that logged it.
struct LogLine {
    char level;
    std::string text;
    std::string function;

    bool operator==(LogLine const & other) const { return level == other.level && text == other.text; }
};

std::ostream & operator<<(std::ostream & out, LogLine const & line);

inline LogLine Error(std::string text)
{
    return {'E', std::move(text), {}};
}
inline LogLine Warning(std::string text)
{
    return {'W', std::move(text), {}};
}
inline LogLine Message(std::string text)
{
    return {'M', std::move(text), {}};
}

// Collects everything that is logged while it lives, in place of the active log. Compare Lines() with the
// exact list of lines expected: levels and texts count, functions don't.
class LogRecorder : public wxLog {
  public:
    LogRecorder();
    ~LogRecorder() override;

    std::vector<LogLine> const & Lines() const { return _lines; }

    // The lines of one level only, for operations that also log their progress.
    std::vector<std::string> Texts(char level) const;

    void Clear() { _lines.clear(); }

  protected:
    void DoLogRecord(wxLogLevel level, wxString const & text, wxLogRecordInfo const & info) override;

  private:
    std::vector<LogLine> _lines;
    wxLog * _previous;
};

} // namespace velm::test

#endif
