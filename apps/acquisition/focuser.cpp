#include "acquisition/focuser.h"

#include "acquisition/setting_in_force.h"
#include "drivers/base/velm_base.h"
#include "velm_channel.h"
#include "velm_db.h"
#include "velm_error.h"
#include "velm_frame_buffer.h"

#include <vector>

namespace velm::acquisition {

namespace {

VELM_AutoFocusParams const search_params;

// How far out of focus, in tenths of a micron, nothing of what is in focus is left.
constexpr long out_of_focus = 60;

// By how much what is in focus has to exceed the noise. The difference of two frames of nothing is noise
// alone, whose strength a frame of some thousand blocks tells within a few percent.
constexpr double least_contrast = 1.5;

// The means of blocks of so many pixels, row by row, for whole blocks only.
std::vector<double> BlockMeans(VELM_FrameBuffer const & frame, std::size_t side)
{
    std::size_t const columns = frame.GetSizeX() / side;
    std::size_t const rows = frame.GetSizeY() / side;
    std::vector<double> means(columns * rows, 0.0);
    unsigned short const * const pixels = frame.GetAddr();
    for (std::size_t y = 0; y < rows * side; ++y) {
        for (std::size_t x = 0; x < columns * side; ++x) {
            means[y / side * columns + x / side] += pixels[y * frame.GetSizeX() + x];
        }
    }
    for (double & mean : means) {
        mean /= static_cast<double>(side * side);
    }
    return means;
}

// The variance of the differences of two pictures.
double Distance(std::vector<double> const & a, std::vector<double> const & b)
{
    double sum = 0.0;
    double squares = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        double const difference = a[i] - b[i];
        sum += difference;
        squares += difference * difference;
    }
    double const n = static_cast<double>(a.size());
    return (squares - sum * sum / n) / n;
}

} // namespace

Focuser::Focuser(VELM_BaseControl & base, VELM_Database const & db, ConfirmedDevices & devices,
                 Watchdog & watchdog, VELM_Channel const & channel, std::chrono::milliseconds limit)
    : _base(base), _db(db), _devices(devices), _channel(channel), _search(devices, watchdog, limit)
{
}

long Focuser::FindFocus(std::string const & place)
{
    std::string const doing = "Focusing on channel '" + _channel.GetName().utf8_string() + "' at " + place;
    long z = 0;
    _search.Do(doing, [&] {
        auto const lost = [&](std::exception const & error) {
            return FocusLost(doing + " failed: " + error.what());
        };
        try {
            z = Search();
        } catch (VELM_ZDriveControlError const & error) {
            // Most likely the end of its range. A broken drive fails at the next place, too.
            throw lost(error);
        } catch (FocusLost const & error) {
            throw lost(error);
        }
    });
    return z;
}

long Focuser::Search()
{
    VELM_Channel channel = _channel; // whose setting the search changes
    SettingInForce const in_force(_base);
    _devices.SetFilters(channel, _db);
    _base.AutoFocus(&_db, channel, search_params, nullptr);
    long const z = _devices.ReadPlace().GetZDrivePosition();
    if (!IsSomethingInFocus(*channel.GetCameraSetting(), z)) {
        throw FocusLost("there is nothing to be seen.");
    }
    return z;
}

// Fixed patterns of the sensor and the light are the same in all three frames.
bool Focuser::IsSomethingInFocus(VELM_CameraSetting const & setting, long z)
{
    auto const side = static_cast<std::size_t>((1 << search_params.binning_exp) / setting.GetSBin());
    auto const exposure = std::chrono::microseconds(setting.GetExposure());
    VELM_FrameBuffer frame(_base.GetImgFlipX(), _base.GetImgFlipY());
    auto const take = [&] {
        _devices.Snap(frame, exposure);
        return BlockMeans(frame, side);
    };
    _devices.GoToZ(z);
    _devices.OpenShutter();
    std::vector<double> const first = take();
    std::vector<double> const second = take();
    try {
        _devices.GoToZ(z + out_of_focus);
    } catch (DeviceFailure const &) { // at the upper end of its range
        _devices.GoToZ(z - out_of_focus);
    }
    std::vector<double> const blurred = take();
    _devices.CloseShutter();
    _devices.GoToZ(z);
    return Distance(second, blurred) > least_contrast * Distance(first, second);
}

} // namespace velm::acquisition
