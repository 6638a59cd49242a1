#ifndef ACQUISITION_CALIBRATOR_H
#define ACQUISITION_CALIBRATOR_H

#include "acquisition/confirmed_devices.h"
#include "acquisition/watched_task.h"
#include "velm_calib_img.h"

#include <chrono>
#include <vector>

namespace velm {
class VELM_Depository;
} // namespace velm

namespace velm::acquisition {

// How a calibration image is made.
struct CalibrationRequest {
    long frames = 9;
    VELM_CalibMethod method = CALIB_MEDIAN;
};

// Of those channels of the depository the ones whose frames are to be corrected by a calibration image that
// they lack: none is there, it doesn't fit the camera setting, or its file can't be read.
std::vector<long> ChannelsWithoutImage(std::vector<long> const & ids, VELM_Depository & depository);

// Captures calibration images where the microscope stands and stores them with their channels.
class Calibrator {
  public:
    // All are owned by the caller and have to outlive this. limit: for each image.
    Calibrator(VELM_BaseControl & base, VELM_Database const & db, VELM_Depository & depository,
               ConfirmedDevices & devices, Watchdog & watchdog, std::chrono::milliseconds limit);

    // Leaves the shutter closed and everything where it was, after a failure too. Throws DeviceFailure,
    // StoreError, Interrupted.
    void Run(std::vector<long> const & ids, CalibrationRequest const & request);

  private:
    void Capture(VELM_Channel & channel, CalibrationRequest const & request);
    void Store(std::vector<long> const & ids);

    VELM_BaseControl & _base;
    VELM_Database const & _db;
    VELM_Depository & _depository;
    ConfirmedDevices & _devices;
    WatchedTask _capture;
};

} // namespace velm::acquisition

#endif
