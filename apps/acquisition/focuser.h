#ifndef ACQUISITION_FOCUSER_H
#define ACQUISITION_FOCUSER_H

#include "acquisition/confirmed_devices.h"
#include "acquisition/watched_task.h"

#include <chrono>
#include <stdexcept>
#include <string>

namespace velm {
class VELM_CameraSetting;
} // namespace velm

namespace velm::acquisition {

// A place has no focus that could be found; another one may.
class FocusLost : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Finds the focus of a place and makes sure that there is something in it.
class Focuser {
  public:
    // channel: the one to focus on, of the camera's own kind of setting. All are owned by the caller and have
    // to outlive this.
    Focuser(VELM_BaseControl & base, VELM_Database const & db, ConfirmedDevices & devices,
            Watchdog & watchdog, VELM_Channel const & channel, std::chrono::milliseconds limit);

    // Leaves the Z drive in focus, the shutter closed and the camera's default setting in force, and returns
    // the Z drive's logical position. place: what to call the place in messages. Throws FocusLost when there
    // is nothing to be seen or the Z drive can't go where the search leads, DeviceFailure when a device
    // fails, and Interrupted; then the shutter is closed and the Z drive where it was.
    long FindFocus(std::string const & place);

  private:
    long Search();
    bool IsSomethingInFocus(VELM_CameraSetting const & setting, long z);

    VELM_BaseControl & _base;
    VELM_Database const & _db;
    ConfirmedDevices & _devices;
    VELM_Channel const & _channel;
    WatchedTask _search;
};

} // namespace velm::acquisition

#endif
