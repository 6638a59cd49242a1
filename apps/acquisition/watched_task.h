#ifndef ACQUISITION_WATCHED_TASK_H
#define ACQUISITION_WATCHED_TASK_H

#include <chrono>
#include <functional>
#include <string>

namespace velm::acquisition {

class ConfirmedDevices;
class Watchdog;

// Something to be done with the devices at one place, by calls that may hang: in time, or the watchdog ends
// the process; and when it fails, back where it began.
class WatchedTask {
  public:
    // Neither is owned. limit: for each time that it is done.
    WatchedTask(ConfirmedDevices & devices, Watchdog & watchdog, std::chrono::milliseconds limit);

    // Calls work. When that throws, the shutter is closed and the Z drive sent to where it was. A VELM_Error
    // or DeviceFailure is then thrown as a DeviceFailure whose text begins with doing, as in "Focusing on
    // channel 'DAPI' failed: "; everything else passes.
    void Do(std::string const & doing, std::function<void()> const & work);

  private:
    ConfirmedDevices & _devices;
    Watchdog & _watchdog;
    std::chrono::milliseconds _limit;
};

} // namespace velm::acquisition

#endif
