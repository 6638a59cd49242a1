#include "acquisition/calibrator.h"

#include "acquisition/durable_files.h"
#include "acquisition/interruption.h"
#include "acquisition/scanner.h"
#include "drivers/base/velm_base.h"
#include "velm_depository.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>

namespace velm::acquisition {

namespace {

bool HasUsableImage(VELM_Channel & channel, VELM_Depository const & depository)
{
    VELM_Calibration_Image const * const image = channel.GetCalibImage();
    return image != nullptr && channel.GetCameraSetting() != nullptr &&
           image->IsValid(channel.GetCameraSetting()) && channel.Calibrate(&depository, false) &&
           image->IsImageLoaded();
}

} // namespace

std::vector<long> ChannelsWithoutImage(std::vector<long> const & ids, VELM_Depository & depository)
{
    std::vector<long> missing;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(missing), [&](long id) {
        VELM_Channel & channel = depository.GetChannelListRef().GetById(id);
        return channel.UseCalibration() && !HasUsableImage(channel, depository);
    });
    return missing;
}

Calibrator::Calibrator(VELM_BaseControl & base, VELM_Database const & db, VELM_Depository & depository,
                       ConfirmedDevices & devices, Watchdog & watchdog, std::chrono::milliseconds limit)
    : _base(base), _db(db), _depository(depository), _devices(devices), _capture(devices, watchdog, limit)
{
}

void Calibrator::Run(std::vector<long> const & ids, CalibrationRequest const & request)
{
    if (ids.empty()) {
        return;
    }
    for (long const id : ids) {
        Interruption::Check();
        Capture(_depository.GetChannelListRef().GetById(id), request);
    }
    Store(ids);
}

void Calibrator::Capture(VELM_Channel & channel, CalibrationRequest const & request)
{
    std::string const doing =
        "Taking the calibration image of channel '" + channel.GetName().utf8_string() + "'";
    channel.TakeCalibImage(new VELM_Calibration_Image); // whatever there was can't be used
    _capture.Do(doing, [&] {
        _devices.SetFilters(channel, _db);
        _base.Calibrate(channel, &_depository, request.frames, request.method);
        _devices.CloseShutter();
    });
}

void Calibrator::Store(std::vector<long> const & ids)
{
    wxArrayInt with_images;
    for (long const id : ids) {
        with_images.Add(static_cast<int>(id));
    }
    if (!_depository.SaveChannels(&with_images)) {
        throw StoreError("The channels could not be stored with their calibration images.");
    }
    try {
        ForceToDisk(std::filesystem::path(std::string(_depository.GetDir().fn_str())) / "calib_images");
    } catch (std::system_error const & error) {
        throw StoreError(std::string("The calibration images did not reach the disk: ") + error.what() + ".");
    }
}

} // namespace velm::acquisition
