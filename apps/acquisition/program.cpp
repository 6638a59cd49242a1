#include "acquisition/program.h"

#include "velm_log.h"
#include "velm_log_macros.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <wx/debug.h>

namespace velm::acquisition {

namespace {

// Shows warnings and errors on the terminal, without a time stamp.
class TerminalLog : public wxLog {
  protected:
    void DoLogRecord(wxLogLevel level, wxString const & text, wxLogRecordInfo const &) override
    {
        if (level <= wxLOG_Warning) {
            std::fprintf(stderr, "%s: %s\n", level == wxLOG_Warning ? "Warning" : "Error",
                         static_cast<char const *>(text.utf8_str()));
        }
    }
};

void LogAssertion(wxString const & file, int line, wxString const & function, wxString const & condition,
                  wxString const & message)
{
    Log::Warning(detail::EscapePercent(wxString::Format("Assertion \"%s\" failed in %s (%s, line %d). %s",
                                                        condition, function, file, line, message)));
}

} // namespace

Program::Program()
{
    std::setlocale(LC_CTYPE, "");
    // Whoever reads the progress may go, and files may have a limit: neither may end a program that has a
    // shutter to close.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    wxSetAssertHandler(&LogAssertion);
    Log::Initialize();
    wxLog::SetTimestamp("%Y-%m-%d %H:%M:%S");
    Log::Get()->ReplaceTarget("Default", new TerminalLog, true);
}

Program::~Program()
{
    delete wxLog::SetActiveTarget(nullptr);
}

void Program::LogToFile(wxString const & path)
{
    Log::AddFileTarget("File", path, "a", "Default|File", "Default");
}

} // namespace velm::acquisition
