#include "velm-scan/overview.h"

#include "velm-scan/picture.h"
#include "velm_bc_mixer.h"
#include "velm_channel.h"
#include "velm_depository.h"
#include "velm_log.h"
#include "vexaalgo/resample.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include <wx/filefn.h>

namespace velm::scan {

namespace {

using Plane = vexa::Image3d<unsigned short>;

constexpr double max_side = 1800.0;        // of the picture, in pixels
constexpr double darkest_share = 0.2;      // of a channel's pixels, shown black
constexpr double brightest_share = 0.0005; // of a channel's pixels, shown at full brightness

// One channel of one FOV, scaled down to the picture's resolution.
struct Tile {
    Plane pixels;
    double x; // microns from the picture's origin, of the left edge
    double y;
    VELM_Channel_VisType vis;
    long channel_id;
};

// A rectangle in microns.
struct Extent {
    double left = std::numeric_limits<double>::max();
    double top = std::numeric_limits<double>::max();
    double right = std::numeric_limits<double>::lowest();
    double bottom = std::numeric_limits<double>::lowest();

    void Add(double x, double y, double width, double height)
    {
        left = std::min(left, x);
        top = std::min(top, y);
        right = std::max(right, x + width);
        bottom = std::max(bottom, y + height);
    }
};

// The grey values of one channel that are shown black and at full brightness.
struct Range {
    double low;
    double high;
};

// With the corrections that are stored with the FOV. Each channel is mixed alone, so that all of it shows;
// what shifts would move is less than a pixel of the picture. Where a channel's region of the sensor lies, in
// microns: its centre is the stage position only for the full frame, so the offset of the region's corner
// decides.
void AddTiles(VELM_Depository & depository, long fov_id, Orientation const & orientation,
              std::vector<Tile> & tiles)
{
    VELM_BC_Mixer mixer(&depository);
    if (!mixer.SetSource(fov_id)) {
        throw Failure(wxString::Format("FOV %ld could not be loaded.", fov_id));
    }
    mixer.SetCorrection(true);
    mixer.SetCorrOptions(VELM_BC_Mixer::ILLUMINATION | VELM_BC_Mixer::CHROMATIC_ABERRATION);
    VELM_FOV & fov = mixer.GetFOV();
    long stage_x = 0;
    long stage_y = 0;
    fov.GetCoord().GetStagePosition(stage_x, stage_y);
    for (unsigned int i = 0; i < fov.GetNumChannels(); ++i) {
        VELM_Channel const & channel = fov.GetChannel(i);
        Tile tile{Plane(), static_cast<double>(stage_x * orientation.x) / 10.0,
                  static_cast<double>(stage_y * orientation.y) / 10.0, channel.GetVisType(), channel.GetId()};
        wxArrayLong alone;
        alone.Add(channel.GetId());
        if (!mixer.SetChannels(alone, true) || !mixer.GetChannel(channel.GetId(), nullptr, tile.pixels, -1)) {
            throw Failure(wxString::Format("The projection of channel %ld of FOV %ld could not be loaded.",
                                           channel.GetId(), fov_id));
        }
        if (!tile.pixels.resolution.IsDefined()) {
            continue; // chromatic correction leaves nothing of it
        }
        tile.x += tile.pixels.offset.x;
        tile.y += tile.pixels.offset.y;
        tiles.push_back(std::move(tile));
    }
}

double Width(Tile const & tile)
{
    return tile.pixels.size.x / static_cast<double>(tile.pixels.resolution.GetRes().x);
}

double Height(Tile const & tile)
{
    return tile.pixels.size.y / static_cast<double>(tile.pixels.resolution.GetRes().y);
}

// pixels_per_micron: of the picture.
void ScaleDown(Tile & tile, double pixels_per_micron)
{
    auto const pixels = [pixels_per_micron](double microns) {
        return std::max(1u, static_cast<unsigned int>(std::ceil(microns * pixels_per_micron)));
    };
    Plane scaled;
    vexa::Resize(tile.pixels, scaled, {pixels(Width(tile)), pixels(Height(tile)), 1u}, vexa::SamplingMode(0));
    tile.pixels = std::move(scaled);
}

std::map<long, Range> RangesOf(std::vector<Tile> const & tiles)
{
    std::map<long, std::vector<unsigned short>> values;
    for (Tile const & tile : tiles) {
        auto & channel = values[tile.channel_id];
        channel.insert(channel.end(), tile.pixels.begin(), tile.pixels.end());
    }
    std::map<long, Range> ranges;
    for (auto & [id, channel] : values) {
        auto const at = [&channel = channel](double share) {
            auto const place = channel.begin() +
                               static_cast<std::ptrdiff_t>(share * static_cast<double>(channel.size() - 1));
            std::nth_element(channel.begin(), place, channel.end());
            return static_cast<double>(*place);
        };
        double const low = at(darkest_share);
        ranges[id] = {low, std::max(at(1.0 - brightest_share), low + 1.0)};
    }
    return ranges;
}

// Adds the tile's light to the picture, of 32-bit pixels 0x00RRGGBB.
void AddLight(Tile const & tile, Range const & range, int left, int top, cairo_surface_t * picture)
{
    int const colour = GetVisTypeColour(tile.vis);
    bool const in_plane[3] = {colour == VIS_GREY || colour == VIS_BLUE,
                              colour == VIS_GREY || colour == VIS_GREEN,
                              colour == VIS_GREY || colour == VIS_RED};
    int const width =
        std::min(cairo_image_surface_get_width(picture) - left, static_cast<int>(tile.pixels.size.x));
    int const height =
        std::min(cairo_image_surface_get_height(picture) - top, static_cast<int>(tile.pixels.size.y));
    for (int y = 0; y < height; ++y) {
        unsigned char * row = cairo_image_surface_get_data(picture) +
                              static_cast<std::ptrdiff_t>(top + y) * cairo_image_surface_get_stride(picture) +
                              static_cast<std::ptrdiff_t>(left) * 4;
        unsigned short const * voxel = tile.pixels.GetVoxelAddr(0, static_cast<unsigned int>(y), 0);
        for (int x = 0; x < width; ++x, ++voxel, row += 4) {
            double const light = std::clamp((*voxel - range.low) / (range.high - range.low), 0.0, 1.0);
            // The square root is what the eye takes for linear.
            int const level = static_cast<int>(std::lround(255.0 * std::sqrt(light)));
            for (int plane = 0; plane < 3; ++plane) {
                if (in_plane[plane]) {
                    row[plane] = static_cast<unsigned char>(std::max(static_cast<int>(row[plane]), level));
                }
            }
        }
    }
}

// The roundest length, 1, 2 or 5 times a power of ten, of at most this many microns.
double RoundLength(double microns)
{
    double const decade = std::pow(10.0, std::floor(std::log10(microns)));
    double const lead = microns / decade;
    return decade * (lead >= 5.0 ? 5.0 : lead >= 2.0 ? 2.0 : 1.0);
}

void DrawScaleBar(cairo_surface_t * picture, double pixels_per_micron)
{
    double const width = cairo_image_surface_get_width(picture);
    double const height = cairo_image_surface_get_height(picture);
    double const microns = RoundLength(width / pixels_per_micron / 5.0);
    double const length = microns * pixels_per_micron;
    double const margin = width / 40.0;
    double const thickness = std::max(2.0, height / 200.0);
    double const text_size = std::max(10.0, height / 40.0);

    std::unique_ptr<cairo_t, void (*)(cairo_t *)> const painter(cairo_create(picture), &cairo_destroy);
    cairo_t * const cairo = painter.get();
    cairo_select_font_face(cairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, text_size);
    std::string const label = std::to_string(static_cast<long>(std::lround(microns))) + " \xC2\xB5m";
    cairo_text_extents_t extents{};
    cairo_text_extents(cairo, label.c_str(), &extents);

    double const left = width - margin - length;
    double const bottom = height - margin;
    cairo_set_source_rgba(cairo, 0.0, 0.0, 0.0, 0.55);
    cairo_rectangle(cairo, left - margin / 2.0, bottom - thickness - text_size * 1.6, length + margin,
                    thickness + text_size * 1.6 + margin / 2.0);
    cairo_fill(cairo);
    cairo_set_source_rgb(cairo, 1.0, 1.0, 1.0);
    cairo_rectangle(cairo, left, bottom - thickness, length, thickness);
    cairo_fill(cairo);
    cairo_move_to(cairo, left + (length - extents.width) / 2.0 - extents.x_bearing,
                  bottom - thickness - text_size * 0.4);
    cairo_show_text(cairo, label.c_str());
}

} // namespace

void DrawOverview(VELM_Depository & depository, Orientation const & orientation, wxString const & file)
{
    std::vector<Tile> tiles;
    for (long const id : depository.FOV_GetIdListRef()) {
        if (wxFileExists(depository.FOV_GetDir(id) + "fov.txt")) {
            AddTiles(depository, id, orientation, tiles);
        } else {
            Log::Warning(wxString::Format("FOV %ld was never finished and is left out.", id));
        }
    }
    if (tiles.empty()) {
        throw Failure("The depository has no images to draw.");
    }
    Extent extent;
    for (Tile const & tile : tiles) {
        extent.Add(tile.x, tile.y, Width(tile), Height(tile));
    }
    double const pixels_per_micron =
        std::min(max_side / std::max(extent.right - extent.left, extent.bottom - extent.top),
                 static_cast<double>(tiles.front().pixels.resolution.GetRes().x));
    for (Tile & tile : tiles) {
        ScaleDown(tile, pixels_per_micron);
    }

    auto const pixels = [pixels_per_micron](double microns) {
        return static_cast<int>(std::lround(microns * pixels_per_micron));
    };
    Picture const picture = MakePicture(std::max(pixels(extent.right - extent.left), 1),
                                        std::max(pixels(extent.bottom - extent.top), 1));
    std::map<long, Range> const ranges = RangesOf(tiles);
    cairo_surface_flush(picture.get());
    for (Tile const & tile : tiles) {
        AddLight(tile, ranges.at(tile.channel_id), pixels(tile.x - extent.left), pixels(tile.y - extent.top),
                 picture.get());
    }
    cairo_surface_mark_dirty(picture.get());
    DrawScaleBar(picture.get(), pixels_per_micron);
    WritePicture(picture, file);
}

} // namespace velm::scan
