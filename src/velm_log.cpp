#include "velm_log.h"

#include "velm_error.h"
#include "velm_log_macros.h"

#include <algorithm>
#include <wx/crt.h>
#include <wx/textctrl.h>

namespace velm {

int Log::_debug_level = -1;
bool Log::_show_debug = false;
LogMultiTarget * Log::_target = nullptr;

LogMultiTarget::~LogMultiTarget()
{
    if (Log::_target == this) {
        Log::_target = nullptr;
    }
    for (auto const & target : _targets) {
        delete target->log;
    }
}

void LogMultiTarget::Flush()
{
    for (auto const & target : _targets) {
        if (target->log != nullptr) {
            target->log->Flush();
        }
    }
}

void LogMultiTarget::AddNewTarget(wxString const & name, wxLog * log, bool active)
{
    if (FindTarget(name) != nullptr) {
        throw VELM_Error(wxString::Format("%s: Target %s already exists.", VELM_FUNCTION, name));
    }
    _targets.push_back(std::make_unique<Target>(Target{name, log, active}));
}

void LogMultiTarget::ActivateTarget(wxString const & name, bool active)
{
    Target * const target = FindTarget(name);
    if (target == nullptr) {
        Log::Warning(
            detail::EscapePercent(wxString::Format("%s: Target %s does not exist.", VELM_FUNCTION, name)));
        return;
    }
    target->active = active;
}

void LogMultiTarget::DeleteTarget(wxString const & name)
{
    Target * const target = FindTarget(name);
    if (target == nullptr) {
        Log::Warning(
            detail::EscapePercent(wxString::Format("%s: Target %s does not exist.", VELM_FUNCTION, name)));
        return;
    }
    auto const place = std::find_if(_targets.begin(), _targets.end(),
                                    [target](auto const & held) { return held.get() == target; });
    delete target->log;
    std::swap(*place, _targets.back());
    _targets.pop_back();
}

void LogMultiTarget::ReplaceTarget(wxString const & name, wxLog * log, bool active)
{
    Target * const target = FindTarget(name);
    if (target == nullptr) {
        throw VELM_Error(wxString::Format("%s: Target %s does not exist.", VELM_FUNCTION, name));
    }
    delete target->log;
    target->log = log;
    target->active = active;
}

LogMultiTarget::Target * LogMultiTarget::FindTarget(wxString const & name)
{
    for (auto const & target : _targets) {
        if (target->name == name) {
            return target.get();
        }
    }
    return nullptr;
}

void LogMultiTarget::ActivateOnlyTargets(wxString const & names)
{
    for (auto const & target : _targets) {
        target->active = names.Contains(target->name);
    }
}

wxString LogMultiTarget::GetActiveTargets() const
{
    wxString names;
    for (auto const & target : _targets) {
        if (target->active) {
            names << target->name << "|";
        }
    }
    return names;
}

void LogMultiTarget::DoLogRecord(unsigned long level, wxString const & message, wxLogRecordInfo const & info)
{
    for (auto const & target : _targets) {
        if (target->active && target->log != nullptr) {
            target->log->LogRecord(level, message, info);
        }
    }
}

void LogMultiTarget::DoLogTextAtLevel(unsigned long level, wxString const & message)
{
    for (auto const & target : _targets) {
        if (target->active && target->log != nullptr) {
            target->log->LogTextAtLevel(level, message);
        }
    }
}

void LogMultiTarget::DoLogText(wxString const & message)
{
    for (auto const & target : _targets) {
        if (target->active && target->log != nullptr) {
            target->log->LogText(message);
        }
    }
}

LogFileTarget::LogFileTarget(FILE * stream) : wxLogStderr(stream) {}

LogFileTarget::~LogFileTarget()
{
    if (m_fp != nullptr) {
        std::fclose(m_fp);
    }
}

namespace {

// Leaves the time out of a record's text.
class UntimedFormatter : public wxLogFormatter {
  protected:
    wxString FormatTimeMS(wxLongLong_t) const override { return {}; }
};

} // namespace

VELM_LogTextCtrl::VELM_LogTextCtrl(wxTextCtrl * text, int max_lines) : _text(text), _max_lines(max_lines)
{
    // DoLogText puts the time in front of every text, also of one that comes without a record.
    delete SetFormatter(new UntimedFormatter);
}

void VELM_LogTextCtrl::DoLogText(wxString const & message)
{
    wxString line;
    TimeStamp(&line);
    line << message << "\n";

    if (_max_lines > 0) {
        if (_num_lines < _max_lines) {
            ++_num_lines;
        } else {
            // A line end is one character in this platform's control.
            _text->Remove(0, _text->GetLineLength(0) + 1);
        }
    }
    _text->AppendText(line);
}

void Log::Initialize()
{
    auto * const target = new LogMultiTarget;
    target->AddNewTarget("Default", wxLog::GetActiveTarget(), true);
    wxLog::SetActiveTarget(target);
    _target = target;
}

LogMultiTarget * Log::Get()
{
    if (_target == nullptr) {
        throw VELM_Error(
            wxString::Format("%s: Target does not exist. Call Log::Initialize()!", VELM_FUNCTION));
    }
    return _target;
}

void Log::Error(wxString const & text)
{
    VELM_LOG_ERROR(text);
}

void Log::Warning(wxString const & text)
{
    VELM_LOG_WARNING(text);
}

void Log::Message(wxString const & text)
{
    VELM_LOG_MESSAGE(text);
}

void Log::Debug(wxString const & text)
{
    if (_show_debug) {
        VELM_LOG_MESSAGE(text);
    }
}

void Log::Trace(wxString const & text)
{
    if (_show_debug) {
        VELM_LOG_MESSAGE(text);
    }
}

void Log::Trace(int level, wxString const & text)
{
    if (_show_debug && level <= _debug_level) {
        VELM_LOG_MESSAGE(text);
    }
}

bool Log::AddFileTarget(wxString const & name, wxString const & file, char const * mode,
                        wxString const & targets, wxString const & fallback_targets)
{
    LogMultiTarget * const sink = Get();
    FILE * const stream = wxFopen(file, mode);
    if (stream == nullptr) {
        Warning(detail::EscapePercent(
            wxString::Format("%s: Log file '%s' can't be opened. Using '%s' log targets instead.",
                             VELM_FUNCTION, file, fallback_targets)));
        sink->AddNewTarget(name, nullptr, false);
        sink->ActivateOnlyTargets(fallback_targets);
        return false;
    }
    Message(detail::EscapePercent(wxString::Format("Messages are being logged into %s file.", file)));
    auto log = std::make_unique<LogFileTarget>(stream);
    sink->AddNewTarget(name, log.get(), false);
    static_cast<void>(log.release());
    sink->ActivateOnlyTargets(targets);
    return true;
}

wxString detail::EscapePercent(wxString text)
{
    text.Replace("%", "%%");
    return text;
}

wxString detail::ExceptionText(std::exception const & error)
{
    if (auto const * own = dynamic_cast<VELM_Error const *>(&error)) {
        return own->GetMessage();
    }
    wxString const text = wxString::FromUTF8(error.what());
    return text.empty() ? wxString::From8BitData(error.what()) : text;
}

} // namespace velm
