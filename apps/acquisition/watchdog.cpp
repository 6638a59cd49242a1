#include "acquisition/watchdog.h"

#include "drivers/base/velm_base.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <utility>

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

Watchdog::Watchdog(VELM_BaseControl const & base) : _seen(base.GetLastSeen()), _thread([this] { Watch(); }) {}

Watchdog::~Watchdog()
{
    {
        std::lock_guard<std::mutex> const lock(_mutex);
        _ends = true;
    }
    _changed.notify_one();
    _thread.join();
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

// Past the log, whose lines of other threads wait for the one that hangs.
void Watchdog::GiveUp() const
{
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", static_cast<double>(_limit.count()) / 1000.0);
    std::fprintf(stderr,
                 "%sError: %s hangs: it is not done after %s seconds (exposures begun: %lu). %s "
                 "The run ends here; every FOV finished so far is whole on disk.%s\n",
                 isatty(STDOUT_FILENO) != 0 ? "\n" : "", _doing.c_str(), seconds,
                 _seen->exposures - _exposures, DescribeLastSeen(*_seen).c_str(),
                 _seen->shutter == VELM_LastSeen::Shutter::CLOSED ? "" : " Close the shutter by hand.");
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
