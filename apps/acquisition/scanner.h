#ifndef ACQUISITION_SCANNER_H
#define ACQUISITION_SCANNER_H

#include "acquisition/confirmed_devices.h"
#include "acquisition/scan_plan.h"
#include "acquisition/watchdog.h"
#include "vexacore/image3d.h"

#include <stdexcept>

namespace velm {
class VELM_FOV;
} // namespace velm

namespace velm::acquisition {

// Something of a FOV could not be stored; the text says what, for the program's user.
class StoreError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Told how far a run is.
class ScanObserver {
  public:
    virtual ~ScanObserver() = default;

    // One more frame of the plan is taken.
    virtual void FrameTaken() = 0;

    // The FOV is whole on the physical disk.
    virtual void FovSaved(long id) = 0;
};

// Takes the stacks of a plan at every coordinate of a depository and stores each place as one FOV.
//
// A FOV is known to the depository only once all of it is on the physical disk: stacks, histograms,
// projections, thumbnails, then its record. On every way out but the end of the process the shutter is closed
// and the files of an unfinished FOV are removed.
class Scanner {
  public:
    // All are owned by the caller and have to outlive the scanner. focus_limit: how long finding the focus of
    // one place may take.
    Scanner(VELM_BaseControl & base, VELM_Database & db, VELM_Depository & depository,
            ConfirmedDevices & devices, Watchdog & watchdog, std::chrono::milliseconds focus_limit,
            ScanObserver & observer);

    // A place whose focus can't be found is left out, with an error line: the others are worth the night. How
    // many were. Throws DeviceFailure, StoreError, Interrupted.
    long Run(ScanPlan const & plan);

  private:
    // The coordinate with the focus that was found at it. Throws FocusLost.
    VELM_Coord InFocus(ScanPlan const & plan, VELM_Coord const & coord);

    void TakeFov(ScanPlan const & plan, VELM_Coord const & coord);
    void TakeStack(ScanPlan const & plan, VELM_Coord const & coord, VELM_Channel & channel,
                   vexa::Image3d<unsigned short> & stack);
    void StoreChannel(VELM_FOV const & fov, long fov_id, long channel_id,
                      vexa::Image3d<unsigned short> & stack);

    VELM_BaseControl & _base;
    VELM_Database & _db;
    VELM_Depository & _depository;
    ConfirmedDevices & _devices;
    Watchdog & _watchdog;
    std::chrono::milliseconds _focus_limit;
    ScanObserver & _observer;
};

} // namespace velm::acquisition

#endif
