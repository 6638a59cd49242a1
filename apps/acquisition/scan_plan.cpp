#include "acquisition/scan_plan.h"

#include "drivers/base/velm_base.h"
#include "velm_depository.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>

namespace velm::acquisition {

namespace {

// Length of the whole sensor on the specimen, in tenths of a micron.
double FieldSize(int sensor_pixels, float nanometres_per_pixel)
{
    return sensor_pixels * static_cast<double>(nanometres_per_pixel) / 100.0;
}

// Colours for the channels of one specimen, in the order of the catalogue's markers.
VELM_Channel_VisType ColourOfMarker(unsigned int index)
{
    VELM_Channel_VisType const colours[] = {VIS_BLUE, VIS_GREEN, VIS_RED, VIS_GREY};
    return colours[index % std::size(colours)];
}

// Binned pixels of one frame of the channel at the coordinate.
std::uint64_t PixelsOfFrame(VELM_Channel const & channel, VELM_Coord const & coord, VELM_BaseControl & base)
{
    int x1 = 0;
    int y1 = 0;
    int x2 = 0;
    int y2 = 0;
    coord.GetCameraRegion(x1, y1, x2, y2);
    if (x1 > x2 || y1 > y2) {
        throw PlanError("The camera region of coordinate " + std::to_string(coord.GetId()) +
                        " ends before it begins.");
    }
    std::unique_ptr<VELM_CameraSetting> const setting(channel.GetCameraSetting()->Clone());
    setting->SetRegion(x1, y1, x2, y2);
    base.Camera_ValidateRegion(setting.get());
    if (setting->GetSerSize() < 1 || setting->GetParSize() < 1) {
        throw PlanError("The binning of channel " + std::to_string(channel.GetId()) +
                        " leaves nothing of the sensor at coordinate " + std::to_string(coord.GetId()) + ".");
    }
    return static_cast<std::uint64_t>(setting->GetSerSize()) *
           static_cast<std::uint64_t>(setting->GetParSize());
}

std::string Size(std::uint64_t bytes)
{
    return bytes < 10000000 ? std::to_string(bytes / 1000) + " kB" : std::to_string(bytes / 1000000) + " MB";
}

} // namespace

void MakeGrid(Grid const & grid, VELM_Coord const & centre, VELM_BaseControl & base, VELM_CoordList & coords)
{
    long centre_x = 0;
    long centre_y = 0;
    long z = 0;
    centre.GetPosition(centre_x, centre_y, z);
    double const width = FieldSize(base.Camera_GetCCDSerSize(), base.GetImgPixelSizeX());
    double const height = FieldSize(base.Camera_GetCCDParSize(), base.GetImgPixelSizeY());
    coords.Clear();
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            double const dx = (column - (grid.columns - 1) / 2.0) * width * base.GetStageOrientationX();
            double const dy = (row - (grid.rows - 1) / 2.0) * height * base.GetStageOrientationY();
            VELM_Coord coord(-1, centre_x + std::lround(dx), centre_y + std::lround(dy), z, -1, -1, -1, -1,
                             VELM_Coord::AUTO_GENERATED);
            coords.Add(coord);
        }
    }
}

void MakeChannels(VELM_BaseControl & base, VELM_Database & db, VELM_Depository & depository, bool corrected)
{
    for (unsigned int marker = 0; marker < db.GetNumMarkers(); ++marker) {
        wxArrayString ex_filters;
        wxArrayString em_filters;
        db.GetSuitableExFilterDescs(static_cast<long>(marker), ex_filters);
        db.GetSuitableEmFilterDescs(static_cast<long>(marker), em_filters);
        if (ex_filters.empty() || em_filters.empty()) {
            continue;
        }
        bool found = false;
        VELM_Channel channel(db.GetMarkerName(static_cast<long>(marker)), static_cast<int>(marker),
                             db.GetEmFilterId(em_filters[0], found), db.GetExFilterId(ex_filters[0], found));
        channel.TakeCameraSetting(base.Camera_CreateNewSetting());
        channel.SetVisType(ColourOfMarker(marker));
        channel.SetCalibType(corrected ? CALIBRATION_YES : CALIBRATION_NO);
        depository.GetChannelListRef().Add(channel);
    }
}

std::vector<long> ChooseChannels(std::vector<long> const & wanted, VELM_BaseControl & base,
                                 VELM_Depository const & depository)
{
    VELM_ChannelList const & channels = depository.GetChannelListRef();
    std::vector<long> ids = wanted;
    if (ids.empty()) {
        wxArrayLong all;
        channels.GetIdList(all);
        ids.assign(all.begin(), all.end());
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    if (ids.empty()) {
        throw PlanError("The depository has no channels that this microscope can image.");
    }
    for (long const id : ids) {
        if (!channels.Contains(id)) {
            throw PlanError("The depository has no channel " + std::to_string(id) +
                            " that this microscope can image.");
        }
        VELM_Channel const & channel = channels.GetById(id);
        if (channel.GetCameraSetting() == nullptr) {
            throw PlanError("Channel " + std::to_string(id) + " has no camera setting.");
        }
        std::unique_ptr<VELM_CameraSetting> const setting(channel.GetCameraSetting()->Clone());
        if (!base.Camera_CheckCameraSettingType(setting.get())) {
            throw PlanError("The camera setting of channel " + std::to_string(id) +
                            " was made for another camera (" + setting->GetDriverName().utf8_string() + ").");
        }
    }
    return ids;
}

void CheckIds(long fovs, long last_id, long max_id)
{
    if (fovs > max_id - last_id) {
        throw PlanError("This scan takes " + std::to_string(fovs) +
                        " FOVs, and the depository can number only " + std::to_string(max_id - last_id) +
                        " more.");
    }
}

ScanNeeds NeedsOf(ScanPlan const & plan, VELM_BaseControl & base, VELM_Depository const & depository,
                  bool compressed)
{
    VELM_CoordList const & coords = depository.GetCoordListRef();
    auto const slices = static_cast<std::uint64_t>(plan.slices);
    ScanNeeds needs;
    for (unsigned int i = 0; i < coords.GetCount(); ++i) {
        for (long const id : plan.channel_ids) {
            std::uint64_t const frame =
                PixelsOfFrame(depository.GetChannelListRef().GetById(id), coords[i], base) *
                sizeof(unsigned short);
            needs.disk_bytes += frame * (slices + 1); // the stack, and its projection of one slice
            needs.memory_bytes = std::max(needs.memory_bytes, frame * slices);
        }
    }
    if (compressed) {
        needs.disk_bytes = needs.disk_bytes / 5 * 2;
    }
    return needs;
}

void CheckRoom(std::uint64_t needed, wxString const & directory)
{
    std::error_code error;
    auto const room = std::filesystem::space(std::filesystem::path(directory.utf8_string()), error);
    if (!error && room.available < needed) {
        throw PlanError("The disk of " + directory.utf8_string() + " has " + Size(room.available) +
                        " left, and the images of this scan need at least " + Size(needed) + ".");
    }
}

void CheckMemory(std::uint64_t needed)
{
    auto const memory = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                        static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    if (memory < needed) {
        throw PlanError("This computer has " + Size(memory) +
                        " of memory, and one stack of this scan needs " + Size(needed) + ".");
    }
}

} // namespace velm::acquisition
