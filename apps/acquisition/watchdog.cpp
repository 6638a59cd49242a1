#include "acquisition/watchdog.h"

#include "drivers/base/velm_base.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>
#include <utility>
#include <wx/log.h>

namespace velm::acquisition {

std::string DescribeLastSeen(VELM_LastSeen const & seen)
{
    std::string text = "The shutter was ";
    switch (seen.shutter) {
    case VELM_LastSeen::Shutter::OPEN:
        text += "last seen open";
        break;
    case VELM_LastSeen::Shutter::CLOSED:
        text += "last seen closed";
        break;
    default:
        text += "never seen";
    }
    long const z = seen.z;
    if (z == VELM_LastSeen::unknown) {
        return text + ", nor was the Z drive.";
    }
    char microns[32];
    std::snprintf(microns, sizeof microns, "%.1f", static_cast<double>(z) / 10.0);
    return text + ", the Z drive at " + microns + " microns.";
}

Watchdog::Watchdog(VELM_BaseControl const & base, wxString const & log_file)
    : _seen(base.GetLastSeen()), _log_file(open(log_file.fn_str(), O_WRONLY | O_APPEND | O_CLOEXEC)),
      _thread([this] { Watch(); })
{
}

Watchdog::~Watchdog()
{
    {
        std::lock_guard<std::mutex> const lock(_mutex);
        _ends = true;
    }
    _changed.notify_one();
    _thread.join();
    if (_log_file >= 0) {
        close(_log_file);
    }
}

void Watchdog::Watch()
{
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_ends) {
        if (_doing.empty()) {
            _changed.wait(lock);
        } else if (_changed.wait_until(lock, _deadline) == std::cv_status::timeout && !_doing.empty() &&
                   Clock::now() >= _deadline) {
            GiveUp();
        }
    }
}

void Watchdog::GiveUp() const
{
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", static_cast<double>(_limit.count()) / 1000.0);
    std::string line = "Error: " + _doing + " hangs: it is not done after " + seconds +
                       " seconds (exposures begun: " + std::to_string(_seen->exposures - _exposures) + "). " +
                       DescribeLastSeen(*_seen) +
                       " The run ends here; every FOV finished so far is whole on disk.";
    if (_seen->shutter != VELM_LastSeen::Shutter::CLOSED) {
        line += " Close the shutter by hand.";
    }
    std::fprintf(stderr, "%s%s\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "", line.c_str());
    if (_log_file >= 0) {
        wxString time;
        wxLog::TimeStamp(&time, std::time(nullptr));
        dprintf(_log_file, "%s%s\n", static_cast<char const *>(time.utf8_str()), line.c_str());
    }
    _exit(EXIT_FAILURE);
}

Watchdog::Section::Section(Watchdog & watchdog, std::string doing, std::chrono::milliseconds limit)
    : _watchdog(watchdog)
{
    {
        std::lock_guard<std::mutex> const lock(_watchdog._mutex);
        _watchdog._doing = std::move(doing);
        _watchdog._limit = limit;
        _watchdog._deadline = Clock::now() + limit;
        _watchdog._exposures = _watchdog._seen->exposures;
    }
    _watchdog._changed.notify_one();
}

Watchdog::Section::~Section()
{
    std::lock_guard<std::mutex> const lock(_watchdog._mutex);
    _watchdog._doing.clear();
}

} // namespace velm::acquisition
