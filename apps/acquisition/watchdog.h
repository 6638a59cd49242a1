#ifndef ACQUISITION_WATCHDOG_H
#define ACQUISITION_WATCHDOG_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <wx/string.h>

namespace velm {
class VELM_BaseControl;
struct VELM_LastSeen;
} // namespace velm

namespace velm::acquisition {

// Watches over calls that wait without end for a device. One that isn't back in time can't be called off, so
// the watchdog says what hangs and where the devices were last seen, and ends the process with status 1. What
// is on disk by then stays as it is.
class Watchdog {
  public:
    // log_file: where the watchdog's line goes beside standard error. Opened at once and written to past the
    // process's log, whose lines of other threads wait for the one that hangs. When it can't be opened the
    // line goes to standard error alone.
    Watchdog(VELM_BaseControl const & base, wxString const & log_file);
    ~Watchdog();
    Watchdog(Watchdog const &) = delete;
    Watchdog & operator=(Watchdog const &) = delete;

    // The time during which one thing is being done; one at a time.
    class Section {
      public:
        // doing: as in "Focusing on channel 'DAPI'".
        Section(Watchdog & watchdog, std::string doing, std::chrono::milliseconds limit);
        ~Section();
        Section(Section const &) = delete;
        Section & operator=(Section const &) = delete;

      private:
        Watchdog & _watchdog;
    };

  private:
    using Clock = std::chrono::steady_clock;

    void Watch();
    [[noreturn]] void GiveUp() const;

    std::shared_ptr<VELM_LastSeen const> _seen;
    int _log_file; // -1 for none
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _ends = false;
    std::string _doing; // empty between sections
    std::chrono::milliseconds _limit{};
    Clock::time_point _deadline;
    unsigned long _exposures = 0; // begun before the section
    std::thread _thread;          // last, so that all it needs is there
};

// "The shutter was last seen open, the Z drive at 12.3 microns."
std::string DescribeLastSeen(VELM_LastSeen const & seen);

} // namespace velm::acquisition

#endif
