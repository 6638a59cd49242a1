#ifndef ACQUISITION_FOCUSER_H
#define ACQUISITION_FOCUSER_H

#include "acquisition/confirmed_devices.h"
#include "acquisition/watchdog.h"

#include <chrono>
#include <string>

namespace velm {
class VELM_CameraSetting;
} // namespace velm

namespace velm::acquisition {

// Finds the focus of a place and makes sure that there is something in it.
class Focuser {
  public:
    // channel: the one to focus on, of the camera's own kind of setting. All are owned by the caller and have
    // to outlive this.
    Focuser(VELM_BaseControl & base, VELM_Database const & db, ConfirmedDevices & devices,
            Watchdog & watchdog, VELM_Channel const & channel, std::chrono::milliseconds limit);

    // Leaves the Z drive in focus, the shutter closed and the camera's default setting in force, and returns
    // the Z drive's logical position. place: what to call the place in messages. When nothing is found, or a
    // device fails, DeviceFailure says why, with the shutter closed and the Z drive where it was; Interrupted
    // passes in the same way.
    long FindFocus(std::string const & place);

  private:
    long Search();
    bool IsSomethingInFocus(VELM_CameraSetting const & setting, long z);

    VELM_BaseControl & _base;
    VELM_Database const & _db;
    ConfirmedDevices & _devices;
    Watchdog & _watchdog;
    VELM_Channel const & _channel;
    std::chrono::milliseconds _limit;
};

} // namespace velm::acquisition

#endif
