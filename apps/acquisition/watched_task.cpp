#include "acquisition/watched_task.h"

#include "acquisition/confirmed_devices.h"
#include "acquisition/watchdog.h"
#include "velm_error.h"

namespace velm::acquisition {

WatchedTask::WatchedTask(ConfirmedDevices & devices, Watchdog & watchdog, std::chrono::milliseconds limit)
    : _devices(devices), _watchdog(watchdog), _limit(limit)
{
}

void WatchedTask::Do(std::string const & doing, std::function<void()> const & work)
{
    long const z = _devices.ReadPlace().GetZDrivePosition();
    auto const fail = [&](std::exception const & error) {
        _devices.Withdraw(z);
        throw DeviceFailure(doing + " failed: " + error.what());
    };
    try {
        Watchdog::Section const section(_watchdog, doing, _limit);
        work();
    } catch (VELM_Error const & error) {
        fail(error);
    } catch (DeviceFailure const & error) {
        fail(error);
    } catch (...) {
        _devices.Withdraw(z);
        throw;
    }
}

} // namespace velm::acquisition
