#ifndef VELM_TIME_INTERVAL_H
#define VELM_TIME_INTERVAL_H

#include "velm_export.h"

#include <wx/datetime.h>

class wxFileConfig;

namespace velm {

// When something began and ended, to the millisecond.
class VELM_API VELM_TimeInterval {
  public:
    // Begins and ends now.
    VELM_TimeInterval();
    VELM_TimeInterval(wxDateTime const & start, wxDateTime const & end) : _start(start), _end(end) {}

    // Set one end to now.
    void Start() { _start = wxDateTime::UNow(); }
    void End() { _end = wxDateTime::UNow(); }

    wxDateTime GetStartTime() const { return _start; }
    wxDateTime GetEndTime() const { return _end; }

    // Four entries at the current path. Both go on after a bad entry, which gives one error line and the
    // result false. Missing seconds leave those of before, missing milliseconds are 0 behind seconds that
    // were read.
    bool Save(wxFileConfig & config) const;
    bool Load(wxFileConfig & config);

  private:
    wxDateTime _start;
    wxDateTime _end;
};

} // namespace velm

#endif
