#include "velm_mixer.h"

#include "drivers/base/camera_setting.h"
#include "velm_convert.h"
#include "velm_depository.h"
#include "velm_log_macros.h"
#include "velm_mixer_sampling.h"
#include "vexacore/color_planes.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace velm {

namespace {

// Chip coordinates and samplings beyond this, far off any chip, are refused: within it nothing below
// overflows.
constexpr int chip_limit = 1 << 28;

bool IsOnChip(VELM_MixerChannelParams const & channel)
{
    for (unsigned int axis = 0; axis < 3; ++axis) {
        for (int const value :
             {channel.adjusted_first[axis], channel.adjusted_last[axis], channel.sampling[axis]}) {
            if (value < -chip_limit || value > chip_limit) {
                return false;
            }
        }
    }
    return true;
}

bool IsNotEmpty(VELM_MixerOutputParams const & out)
{
    return out.first.x <= out.last.x && out.first.y <= out.last.y && out.first.z <= out.last.z;
}

template <typename T>
void MakeBlackVoxel(vexa::Image3d<T> & image)
{
    image.MakeRoom(1, 1, 1);
    image.SetVoxel(0, T());
}

// Size, offset and resolution of the grid; the voxels are undefined.
template <typename T>
void TakeGeometry(VELM_MixerOutputParams const & grid, vexa::Image3d<T> & image)
{
    image.MakeRoom(static_cast<unsigned int>(grid.size.x), static_cast<unsigned int>(grid.size.y),
                   static_cast<unsigned int>(grid.size.z));
    image.offset = grid.offset;
    image.resolution = vexa::Resolution(grid.resolution);
}

// Turns the size and offset of a stack into those of its AF image.
void Flatten(vexa::Vector3d<unsigned int> & size, vexa::Vector3d<float> & offset)
{
    size.z = 1;
    offset.z = 0.0F;
}

} // namespace

VELM_Mixer::VELM_Mixer(VELM_Depository * depository) : _depository(depository) {}

VELM_Mixer::~VELM_Mixer() = default;

bool VELM_Mixer::RecomputeOutputParams(VELM_MixerOutputParams &)
{
    return true;
}

void VELM_Mixer::AdjustParams() {}

void VELM_Mixer::PreprocessImage(long, Image &) {}

// --- channels

bool VELM_Mixer::SetChannels(wxArrayLong const & id_list, bool use_af)
{
    wxASSERT(id_list.size()); // NOLINT(readability-container-size-empty): as a log of assertions shows it
    _channels.reset(new VELM_MixerChannelParams[id_list.size()]());
    _ids.clear();
    _use_af = use_af;
    VELM_ChannelList & list = GetChannelList();
    for (std::size_t i = 0; i < id_list.size(); ++i) {
        long const id = id_list[i];
        if (!list.Contains(id)) {
            VELM_LOG_ERROR("VELM_Mixer::SetChannels: Unknown channel id %ld", id);
            return false;
        }
        VELM_CameraSetting const * const setting = FindSetting(id);
        if (setting == nullptr || setting->GetSBin() < 1 || setting->GetPBin() < 1) {
            VELM_LOG_ERROR("VELM_Mixer::SetChannels: Channel id %ld has no usable camera setting", id);
            return false;
        }
        _ids.push_back(id);
        if (!InitChannel(*setting, id, _channels[i])) {
            return false;
        }
    }
    return true;
}

bool VELM_Mixer::InitChannel(VELM_CameraSetting const & setting, long id, VELM_MixerChannelParams & channel)
{
    channel.sampling = {setting.GetSBin(), setting.GetPBin(), 1};
    vexa::Vector3d<unsigned int> size;
    vexa::Vector3d<float> resolution;
    vexa::Vector3d<float> offset;
    if (!ReadImageDimension(id, size, resolution, offset)) {
        return false;
    }
    vexa::Vector3d<int> const corner(setting.GetS1(), setting.GetP1(), 0);
    for (unsigned int axis = 0; axis < 3; ++axis) {
        int const sampling = channel.sampling[axis];
        if (_ids.size() == 1) {
            _scale[axis] = static_cast<float>(sampling) * resolution[axis];
        }
        int const first = corner[axis] == -1 ? 0 : corner[axis];
        channel.first[axis] = first - first % sampling;
        channel.last[axis] = Clamped(static_cast<long long>(sampling) * size[axis] - 1 + channel.first[axis]);
    }
    return true;
}

VELM_MixerChannelParams * VELM_Mixer::FindChannel(long id)
{
    auto const place = std::find(_ids.begin(), _ids.end(), id);
    return place == _ids.end() ? nullptr : &_channels[static_cast<std::size_t>(place - _ids.begin())];
}

VELM_CameraSetting const * VELM_Mixer::FindSetting(long id)
{
    VELM_ChannelList const & list = GetChannelList();
    long const index = list.GetIndex(id);
    return index < 0 ? nullptr : list.Get(static_cast<unsigned int>(index)).GetCameraSetting();
}

int VELM_Mixer::GetLastBit(long id)
{
    VELM_CameraSetting const * const setting = id > 0 ? FindSetting(id) : nullptr;
    return setting != nullptr ? setting->GetLastBit() : 0;
}

int VELM_Mixer::GetMaxBit(long id)
{
    VELM_CameraSetting const * const setting = id > 0 ? FindSetting(id) : nullptr;
    return setting != nullptr ? setting->GetMaxBitDepth() : 0;
}

// --- geometry

int VELM_Mixer::Clamped(long long value)
{
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

int VELM_Mixer::GCD(int a, int b)
{
    while (b != 0) {
        int const rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

int VELM_Mixer::GCD(wxArrayInt & numbers)
{
    for (std::size_t count = numbers.size(); count > 1; count = (count + 1) / 2) {
        for (std::size_t i = 0; i + 1 < count; i += 2) {
            numbers[i / 2] = GCD(numbers[i], numbers[i + 1]);
        }
        if (count % 2 != 0) {
            numbers[count / 2] = numbers[count - 1];
        }
    }
    return numbers[0];
}

bool VELM_Mixer::CalculateMixingParams(int slice, wxRect const * rect, VELM_MixerOutputParams & out)
{
    for (std::size_t i = 0; i < _ids.size(); ++i) {
        _channels[i].adjusted_first = _channels[i].first;
        _channels[i].adjusted_last = _channels[i].last;
    }
    AdjustParams();
    if (!CalculateOutputParams(slice, rect, out) || !CalculateVOIs(out)) {
        return false;
    }
    for (unsigned int axis = 0; axis < 3; ++axis) {
        out.size[axis] = (out.last[axis] - out.first[axis] + 1) / out.step[axis];
        out.offset[axis] =
            static_cast<float>(static_cast<double>(out.first[axis]) / static_cast<double>(_scale[axis]));
        out.resolution[axis] =
            static_cast<float>(static_cast<double>(_scale[axis]) / static_cast<double>(out.step[axis]));
    }
    // What RecomputeOutputParams cuts off may leave less than one pixel.
    return out.size.x > 0 && out.size.y > 0 && out.size.z > 0;
}

bool VELM_Mixer::CalculateOutputParams(int slice, wxRect const * rect, VELM_MixerOutputParams & out)
{
    std::size_t const count = _ids.size();
    if (count == 0 || !std::all_of(_channels.get(), _channels.get() + count, IsOnChip)) {
        return false;
    }
    out.first = _channels[0].adjusted_first;
    out.last = _channels[0].adjusted_last;
    for (std::size_t i = 1; i < count; ++i) {
        for (unsigned int axis = 0; axis < 3; ++axis) {
            out.first[axis] = std::max(out.first[axis], _channels[i].adjusted_first[axis]);
            out.last[axis] = std::min(out.last[axis], _channels[i].adjusted_last[axis]);
        }
    }
    for (unsigned int axis = 0; axis < 2; ++axis) {
        wxArrayInt steps;
        for (std::size_t i = 0; i < count; ++i) {
            steps.push_back(
                GCD(_channels[i].sampling[axis], out.first[axis] - _channels[i].adjusted_first[axis]));
        }
        out.step[axis] = GCD(steps);
    }
    out.step.z = 1;
    if (slice < -1 || slice > out.last.z - out.first.z) {
        return false;
    }
    if (slice != -1) {
        out.first.z += slice;
        out.last.z = out.first.z;
    }
    if (rect != nullptr) {
        int const begin[] = {rect->x, rect->y};
        int const length[] = {rect->width, rect->height};
        for (unsigned int axis = 0; axis < 2; ++axis) {
            long long const left = out.first[axis] + static_cast<long long>(begin[axis]) * out.step[axis];
            long long const right = left + static_cast<long long>(length[axis]) * out.step[axis] - 1;
            out.first[axis] = std::max(out.first[axis], Clamped(left));
            out.last[axis] = std::min(out.last[axis], Clamped(right));
        }
    }
    return IsNotEmpty(out);
}

bool VELM_Mixer::CalculateVOIs(VELM_MixerOutputParams & out)
{
    std::vector<vexa::Vector3d<int>> lows(_ids.size());
    for (std::size_t i = 0; i < _ids.size(); ++i) {
        VELM_MixerChannelParams & channel = _channels[i];
        for (unsigned int axis = 0; axis < 3; ++axis) {
            int const origin = channel.adjusted_first[axis];
            int const sampling = channel.sampling[axis];
            int const low = out.first[axis] - (out.first[axis] - origin) % sampling;
            int const high = out.last[axis] - (out.last[axis] - origin) % sampling + sampling - 1;
            channel.voi.offset[axis] = (low - origin) / sampling;
            channel.voi.size[axis] = static_cast<unsigned int>((high - low + 1) / sampling);
            lows[i][axis] = low;
        }
    }
    if (!RecomputeOutputParams(out)) {
        return false;
    }
    for (std::size_t i = 0; i < _ids.size(); ++i) {
        _channels[i].shift = out.first;
        _channels[i].shift -= lows[i];
    }
    return true;
}

// --- images

bool VELM_Mixer::LoadForMixing(long id, VELM_MixerChannelParams & channel, Image & image)
{
    if (!LoadImage(id, &channel.voi, image)) {
        return false;
    }
    PreprocessImage(id, image);
    // A file that was replaced by a smaller one since its header was read.
    return CoversGrid(image.size, channel, _params);
}

bool VELM_Mixer::GetChannel(long id, wxRect const * rect, Image & out, int slice)
{
    VELM_MixerChannelParams * const channel = FindChannel(id);
    if (channel == nullptr) {
        VELM_LOG_ERROR("VELM_Mixer::GetChannel: Channel id %ld not found", id);
        return false;
    }
    if (!CalculateMixingParams(slice, rect, _params)) {
        MakeBlackVoxel(out);
        return true;
    }
    Image image;
    if (!LoadForMixing(id, *channel, image)) {
        VELM_LOG_ERROR("VELM_Mixer::GetChannel: Channel %ld image loading failed", id);
        return false;
    }
    TakeGeometry(_params, out);
    GridView const view(image, *channel, _params);
    std::size_t const width = out.size.x;
    ForRowsOf(_params, [&](int y, int end_y, int z) {
        GridView::Reader reader(view);
        for (; y < end_y; ++y) {
            std::memcpy(out.GetVoxelAddr(0, static_cast<unsigned int>(y), static_cast<unsigned int>(z)),
                        reader.Row(y, z), width * sizeof(unsigned short));
        }
    });
    return true;
}

bool VELM_Mixer::MixRGB(long const (&ids)[3], ColorImage & out)
{
    Image images[3];
    std::optional<GridView> views[3];
    for (std::size_t i = 0; i < 3; ++i) {
        if (ids[i] == -1) {
            views[i].emplace(_params);
            continue;
        }
        VELM_MixerChannelParams & channel = *FindChannel(ids[i]);
        if (!LoadForMixing(ids[i], channel, images[i])) {
            // In the words of GetChannel, whose failure it is to those who read the log.
            VELM_LOG_ERROR("VELM_Mixer::GetChannel: Channel %d image loading failed",
                           static_cast<int>(ids[i]));
            return false;
        }
        views[i].emplace(images[i], channel, _params);
    }
    TakeGeometry(_params, out);
    std::size_t const width = out.size.x;
    ForRowsOf(_params, [&](int y, int end_y, int z) {
        GridView::Reader red(*views[0]);
        GridView::Reader green(*views[1]);
        GridView::Reader blue(*views[2]);
        for (; y < end_y; ++y) {
            vexa::JoinPlanes(red.Row(y, z), green.Row(y, z), blue.Row(y, z), width,
                             out.GetVoxelAddr(0, static_cast<unsigned int>(y), static_cast<unsigned int>(z)));
        }
    });
    return true;
}

bool VELM_Mixer::GetRGB(long red_id, long green_id, long blue_id, wxRect const * rect, ColorImage & out,
                        int slice)
{
    long const ids[] = {red_id, green_id, blue_id};
    for (long const id : ids) {
        if (id != -1 && FindChannel(id) == nullptr) {
            VELM_LOG_ERROR("VELM_Mixer::GetChannel: Channel id %ld not found", id);
            MakeBlackVoxel(out);
            return false;
        }
    }
    if (!CalculateMixingParams(slice, rect, _params)) {
        MakeBlackVoxel(out);
        return true;
    }
    try {
        if (MixRGB(ids, out)) {
            return true;
        }
    } catch (std::bad_alloc const & error) {
        VELM_LOG_ERROR("%s: Not enough memory to complete the operation (%s)", VELM_FUNCTION,
                       detail::ExceptionText(error));
    } catch (vexa::LibException const & error) {
        VELM_LOG_ERROR("%s: %s", VELM_FUNCTION, detail::ExceptionText(error));
    }
    MakeBlackVoxel(out);
    return false;
}

// --- fields of view

VELM_FOV_Mixer::VELM_FOV_Mixer(VELM_Depository * depository) : VELM_Mixer(depository) {}

VELM_FOV_Mixer::~VELM_FOV_Mixer() = default;

bool VELM_FOV_Mixer::SetSource(long id)
{
    VELM_FOV fov; // a fresh one, since loading leaves what the file lacks as it was
    if (!_depository->FOV_Load(id, fov)) {
        VELM_LOG_ERROR("VELM_FOV_Mixer::SetSource: Unable to load FOV %s", _depository->FOV_IdToString(id));
        return false;
    }
    _fov = std::move(fov);
    return true;
}

bool VELM_FOV_Mixer::ReadImageDimension(long id, vexa::Vector3d<unsigned int> & size,
                                        vexa::Vector3d<float> & res, vexa::Vector3d<float> & offset)
{
    if (!_depository->FOV_GetDimensions(_fov.GetId(), id, size, offset, res)) {
        return false;
    }
    if (_use_af) {
        Flatten(size, offset);
    }
    return true;
}

bool VELM_FOV_Mixer::LoadImage(long id, vexa::Box * voi, Image & image)
{
    bool const loaded = _use_af ? _depository->FOV_LoadAFImage(_fov.GetId(), id, image, voi)
                                : _depository->FOV_LoadImage(_fov.GetId(), id, image, voi);
    if (!loaded) {
        VELM_LOG_ERROR("%s: Unable to load image, fov_id=%ld, ch_id=%ld", VELM_FUNCTION, _fov.GetId(), id);
    }
    return loaded;
}

// --- thumbnails

VELM_ThumbnailMixer::VELM_ThumbnailMixer(VELM_ChannelList & channels, std::vector<wxString> const & paths)
    : VELM_Mixer(nullptr), _list(channels), _paths(paths)
{
}

VELM_ThumbnailMixer::~VELM_ThumbnailMixer() = default;

bool VELM_ThumbnailMixer::SetSource(long)
{
    return true;
}

wxString VELM_ThumbnailMixer::PathOf(long id) const
{
    long const index = _list.GetIndex(id);
    bool const is_there = index >= 0 && static_cast<std::size_t>(index) < _paths.size();
    return is_there ? _paths[static_cast<std::size_t>(index)] : wxString();
}

bool VELM_ThumbnailMixer::ReadImageDimension(long id, vexa::Vector3d<unsigned int> & size,
                                             vexa::Vector3d<float> & res, vexa::Vector3d<float> & offset)
{
    wxString const path = PathOf(id);
    try {
        vexa::ImageHeader const header = vexa::ReadImageHeader(path.fn_str(), vexa::FileFormat::FromName);
        size = header.size;
        offset = header.offset;
        res = header.resolution.GetRes();
    } catch (vexa::IOException const & error) {
        VELM_LOG_ERROR("%s: %s", VELM_FUNCTION, detail::ExceptionText(error));
        return false;
    } catch (...) {
        VELM_LOG_ERROR("%s: Unknown exception when loading %s", VELM_FUNCTION, path);
        return false;
    }
    if (_use_af) {
        Flatten(size, offset);
    }
    return true;
}

bool VELM_ThumbnailMixer::LoadImage(long id, vexa::Box *, Image & image)
{
    wxString const path = PathOf(id);
    try {
        vexa::Image3d<unsigned char> thumbnail;
        thumbnail.ReadImage(path.fn_str(), nullptr, false, -1, nullptr, nullptr);
        VELM_Convert::DirectMapping(thumbnail, image, false);
        return true;
    } catch (vexa::IOException const & error) {
        VELM_LOG_ERROR("%s: VEXA exception - %s", VELM_FUNCTION, detail::ExceptionText(error));
        VELM_LOG_ERROR("%s: Unable to load image, path=%s, ch_id=%ld", VELM_FUNCTION, path, id);
    } catch (std::bad_alloc const & error) {
        VELM_LOG_ERROR("%s: Not enough memory to complete the operation (%s)", VELM_FUNCTION,
                       detail::ExceptionText(error));
    }
    return false;
}

} // namespace velm
