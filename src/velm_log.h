#ifndef VELM_LOG_H
#define VELM_LOG_H

#include "velm_export.h"

#include <cstdio>
#include <memory>
#include <vector>
#include <wx/log.h>
#include <wx/string.h>

class wxTextCtrl;

namespace velm {

// A log sink that passes every record on to any number of named targets, each of which can be switched on
// and off. It owns the logs of its targets. Not locked: used on the thread that logs.
class VELM_API LogMultiTarget : public wxLog {
  public:
    struct Target {
        wxString name;
        wxLog * log; // owned; may be null, which silences the target
        bool active;
    };

    LogMultiTarget() = default;
    ~LogMultiTarget() override;
    LogMultiTarget(LogMultiTarget const &) = delete;
    LogMultiTarget & operator=(LogMultiTarget const &) = delete;

    // Flushes every target that has a log, active or not.
    void Flush() override;

    // Appends a target and takes the log over. Throws VELM_Error when the name is taken; the log then stays
    // the caller's.
    void AddNewTarget(wxString const & name, wxLog * log, bool active);

    // Switches a target on or off. An unknown name gives a warning.
    void ActivateTarget(wxString const & name, bool active);

    // Destroys a target with its log; the last target takes its place. An unknown name gives a warning.
    void DeleteTarget(wxString const & name);

    // Destroys the target's log and takes over the new one. Throws VELM_Error when the name is unknown; the
    // log then stays the caller's.
    void ReplaceTarget(wxString const & name, wxLog * log, bool active);

    // Switches on the targets whose names occur in the text and all others off. The text is not parsed: one
    // that mentions "Default" also activates a target named "Def".
    void ActivateOnlyTargets(wxString const & names);

    // The names of the active targets, each followed by "|", in the order of the targets.
    wxString GetActiveTargets() const;

  protected:
    // Compares case-sensitively; null when there is no such target.
    Target * FindTarget(wxString const & name);

    void DoLogRecord(unsigned long level, wxString const & message, wxLogRecordInfo const & info) override;
    void DoLogTextAtLevel(unsigned long level, wxString const & message) override;
    void DoLogText(wxString const & message) override;

  private:
    std::vector<std::unique_ptr<Target>> _targets; // in order of adding, but see DeleteTarget
};

// Writes to an open stream and closes it at the end. A line is the toolkit's time stamp and the text.
class VELM_API LogFileTarget : public wxLogStderr {
  public:
    explicit LogFileTarget(FILE * stream);
    ~LogFileTarget() override;
};

// Shows the log in a text control, which has to outlive it. A line is the toolkit's time stamp and the text.
class VELM_API VELM_LogTextCtrl : public wxLog {
  public:
    // max_lines: the oldest lines go when there are more; 0 or less means no limit.
    VELM_LogTextCtrl(wxTextCtrl * text, int max_lines);

  protected:
    void DoLogText(wxString const & message) override;

  private:
    wxTextCtrl * _text;
    int _max_lines;
    int _num_lines = 0;
};

// The process's log. Initialize once at application start, before any target operation; before that, messages
// go to whatever the toolkit had active.
//
// The text of the logging operations is a format string with no arguments behind it: a "%" in it must come
// doubled.
class VELM_API Log {
  public:
    // Installs the multi-target sink as the toolkit's active log, with the log that was active before as its
    // first target, named "Default".
    static void Initialize();

    // Throws VELM_Error before Initialize.
    static LogMultiTarget * Get();

    static void Error(wxString const & text);
    static void Warning(wxString const & text);
    static void Message(wxString const & text);

    // Messages that pass only while debug output is shown, the last only up to the debug level.
    static void Debug(wxString const & text);
    static void Trace(wxString const & text);
    static void Trace(int level, wxString const & text);

    static int GetDebugLevel() { return _debug_level; }
    static void SetDebugLevel(int level) { _debug_level = level; }
    static bool GetShowDebug() { return _show_debug; }
    static void SetShowDebug(bool show) { _show_debug = show; }

    // Adds a target under the name, which then exists in every case. When the file opens, with the mode of
    // fopen, exactly the targets mentioned in targets are active afterwards and the result is true; otherwise
    // the new target is silent, those mentioned in fallback_targets are active, and the result is false.
    static bool AddFileTarget(wxString const & name, wxString const & file, char const * mode,
                              wxString const & targets, wxString const & fallback_targets);

  private:
    friend class LogMultiTarget; // the sink forgets itself here when it goes

    static int _debug_level;
    static bool _show_debug;
    static LogMultiTarget * _target;
};

} // namespace velm

#endif
