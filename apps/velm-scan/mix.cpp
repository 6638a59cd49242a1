#include "velm-scan/mix.h"

#include "velm-scan/picture.h"
#include "velm_bc_mixer.h"
#include "velm_convert.h"
#include "velm_depository.h"
#include "velm_log.h"
#include "vexaalgo/projection.h"
#include "vexacore/color_planes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace velm::scan {

namespace {

using Image16 = vexa::Image3d<vexa::RGB_generic<unsigned short>>;
using Image8 = vexa::Image3d<vexa::RGB_generic<unsigned char>>;

constexpr int all_slices = -1;

void ChooseSource(VELM_BC_Mixer & mixer, VELM_Depository const & depository, long fov_id)
{
    auto const & ids = depository.FOV_GetIdListRef();
    if (!std::binary_search(ids.begin(), ids.end(), fov_id)) {
        throw Failure(wxString::Format("The depository has no FOV %ld.", fov_id));
    }
    if (!mixer.SetSource(fov_id)) {
        throw Failure(wxString::Format("FOV %ld could not be loaded.", fov_id));
    }
}

void ChooseChannels(VELM_BC_Mixer & mixer, MixOptions const & options)
{
    long const fov_id = mixer.GetFOV().GetId();
    wxArrayLong ids;
    for (long const id : options.channels) {
        if (id == -1 || std::find(ids.begin(), ids.end(), id) != ids.end()) {
            continue;
        }
        if (!mixer.GetChannelList().Contains(id)) {
            throw Failure(wxString::Format("FOV %ld has no channel %ld.", fov_id, id));
        }
        ids.push_back(id);
    }
    if (!mixer.SetChannels(ids, options.af)) {
        throw Failure(wxString::Format("The images of FOV %ld could not be read.", fov_id));
    }
}

// Switches the corrections on, and warns of those that will show nowhere.
void ChooseCorrections(VELM_BC_Mixer & mixer, MixOptions const & options)
{
    mixer.SetCorrection(options.corrections.has_value());
    mixer.SetCorrOptions(options.corrections.value_or(0));
    for (unsigned int i = 0; i < VELM_CorrectionSettings().GetCount(); ++i) {
        if ((options.corrections.value_or(0) & (1 << i)) == 0) {
            continue;
        }
        wxString name;
        bool const is_applied = std::any_of(options.channels.begin(), options.channels.end(), [&](long id) {
            if (id == -1) {
                return false;
            }
            VELM_Correction const & correction = *mixer.GetFOV().GetCorrSettingsById(id).Get(i);
            name = correction.GetName();
            return correction.IsApplied();
        });
        if (!is_applied) {
            Log::Warning(wxString::Format("%s: applied to none of the channels.", name));
        }
    }
}

// Tells why there would be nothing to see, which the mixer itself shows as one black voxel.
void CheckPart(VELM_BC_Mixer & mixer, MixOptions const & options)
{
    VELM_MixerOutputParams params;
    if (!mixer.CalculateMixingParams(all_slices, nullptr, params)) {
        throw Failure("The channels have no part of the chip in common.");
    }
    if (options.slice && *options.slice >= params.size.z) {
        throw Failure(
            wxString::Format("There is no slice %d: the channels have %d in common, counted from 0.",
                             *options.slice, params.size.z));
    }
    int const width = params.size.x;
    int const height = params.size.y;
    if (options.rect &&
        !mixer.CalculateMixingParams(options.slice.value_or(all_slices), &*options.rect, params)) {
        throw Failure(
            wxString::Format("The rectangle lies outside the picture of %d x %d pixels.", width, height));
    }
}

// One slice with the brightest of each colour.
void Flatten(Image16 & mixed)
{
    vexa::Image3d<unsigned short> planes[3];
    vexa::RGBtoGray(mixed, planes[0], planes[1], planes[2]);
    for (auto & plane : planes) {
        vexa::Image3d<unsigned short> flat;
        vexa::Get_AF_XY(plane, flat);
        plane = std::move(flat);
    }
    vexa::GrayToRGB(planes[0], planes[1], planes[2], mixed);
}

Image8 MixBytes(VELM_BC_Mixer & mixer, MixOptions const & options)
{
    auto const & [red, green, blue] = options.channels;
    Image16 mixed;
    if (!mixer.GetRGB(red, green, blue, options.rect ? &*options.rect : nullptr, mixed,
                      options.slice.value_or(all_slices))) {
        throw Failure(wxString::Format("FOV %ld could not be mixed.", mixer.GetFOV().GetId()));
    }
    if (mixed.GetSizeZ() > 1) {
        Flatten(mixed);
    }
    Image8 shown;
    VELM_Convert::Top8Bits(mixed, shown, mixer.GetLastBit(red), mixer.GetLastBit(green),
                           mixer.GetLastBit(blue));
    return shown;
}

Picture ToPicture(Image8 const & image)
{
    Picture picture = MakePicture(static_cast<int>(image.GetSizeX()), static_cast<int>(image.GetSizeY()));
    cairo_surface_flush(picture.get());
    auto const stride = static_cast<std::size_t>(cairo_image_surface_get_stride(picture.get()));
    for (unsigned int y = 0; y < image.GetSizeY(); ++y) {
        auto * const row =
            reinterpret_cast<std::uint32_t *>(cairo_image_surface_get_data(picture.get()) + y * stride);
        std::transform(image.GetVoxelAddr(0, y, 0), image.GetVoxelAddr(0, y, 0) + image.GetSizeX(), row,
                       [](vexa::RGB_generic<unsigned char> const & voxel) {
                           return std::uint32_t{voxel.red} << 16 | std::uint32_t{voxel.green} << 8 |
                                  std::uint32_t{voxel.blue};
                       });
    }
    cairo_surface_mark_dirty(picture.get());
    return picture;
}

} // namespace

void DrawMix(VELM_Depository & depository, long fov_id, MixOptions const & options, wxString const & file)
{
    VELM_BC_Mixer mixer(&depository);
    ChooseSource(mixer, depository, fov_id);
    ChooseChannels(mixer, options);
    ChooseCorrections(mixer, options);
    CheckPart(mixer, options);
    WritePicture(ToPicture(MixBytes(mixer, options)), file);
}

} // namespace velm::scan
