#include "spot_finder.h"
#include "truth.h"
#include "truth_rig.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velm::bench {

namespace {

// ---- Two colours of the same spots

constexpr unsigned int slices = 41;
constexpr double slice_distance = 0.2; // microns
constexpr double contrast = 200.0;     // of a spot, in grey values
constexpr double reach = 8.0;          // how far from each other the pictures of a spot may lie, in pixels
constexpr std::size_t least_pairs = 20;

// How a marker's picture differs from where things are, as entries of its section. All label the same spots.
std::string ColourOf(std::mt19937_64 & random)
{
    auto const between = [&](double low, double high) {
        return std::to_string(std::uniform_real_distribution<double>(low, high)(random));
    };
    return "SpotKind=0\nShiftX=" + between(-0.2, 0.2) + "\nShiftY=" + between(-0.2, 0.2) +
           "\nScale=" + between(0.999, 1.001) + "\nFocusOffset=" + between(-0.4, 0.4) + "\n";
}

// The polynomial that leads from a place in the reference's picture to the same thing in the marker's: a
// thing at u from the optical axis lies at middle + scale u + shift in each.
vexa::ChromAberParams SurfaceOf(sim::SimConfig const & config, sim::Marker const & reference,
                                sim::Marker const & marker)
{
    double const magnification = config.objectives.front().magnification;
    double const pixel_x = config.pixel_x_nm / magnification / 1000.0;
    double const pixel_y = config.pixel_y_nm / magnification / 1000.0;
    double const middle_x = (0.5 * config.camera.width - 0.5) * pixel_x;
    double const middle_y = (0.5 * config.camera.height - 0.5) * pixel_y;
    double const growth = marker.scale / reference.scale;
    vexa::ChromAberParams surface;
    surface.x_plane[0] = middle_x + marker.shift_x_um - growth * (middle_x + reference.shift_x_um);
    surface.x_plane[1] = growth;
    surface.y_plane[0] = middle_y + marker.shift_y_um - growth * (middle_y + reference.shift_y_um);
    surface.y_plane[2] = growth;
    surface.z_surface[0] = marker.focus_offset_um - reference.focus_offset_um;
    return surface;
}

// The root of the mean squared distance, in pixels. The pairs are to be many, and in every quarter of the
// field.
double RmsOf(std::vector<std::pair<FoundSpot, FoundSpot>> const & pairs, Image const & field)
{
    double sum = 0.0;
    std::array<int, 4> quarters{};
    for (auto const & [one, other] : pairs) {
        double const dx = one.x - other.x;
        double const dy = one.y - other.y;
        sum += dx * dx + dy * dy;
        bool const is_right = 2.0 * one.x > field.GetSizeX();
        bool const is_low = 2.0 * one.y > field.GetSizeY();
        ++quarters[(is_right ? 1u : 0u) + (is_low ? 2u : 0u)];
    }
    if (pairs.size() < least_pairs || *std::min_element(quarters.begin(), quarters.end()) == 0) {
        throw std::runtime_error("too few spots to compare two colours by");
    }
    return std::sqrt(sum / static_cast<double>(pairs.size()));
}

std::vector<std::pair<FoundSpot, FoundSpot>> Pair(Image const & one, Image const & other)
{
    return PairSpots(FindSpots(one, contrast), FindSpots(other, contrast), reach);
}

// ---- Cameras beside each other

using Shift = vexa::Vector3d<int>;

constexpr int region_width = 640;
constexpr int region_height = 480;
constexpr int region_x = 200; // of the first channel's first pixel
constexpr int region_y = 150;
constexpr unsigned int region_slices = 5;
constexpr double region_slice_distance = 0.5; // microns

// What lies so far from the first channel's region on the chip and in slices.
Image TakeRegion(Rig & rig, VELM_Channel & channel, Shift const & shift)
{
    double const z = rig.GetZ();
    int const x = region_x + shift.x;
    int const y = region_y + shift.y;
    channel.GetCameraSetting()->SetRegion(x, y, x + region_width - 1, y + region_height - 1);
    rig.Use(channel);
    long x_now = 0;
    long y_now = 0;
    rig.Base().Stage_GetCurPos(x_now, y_now);
    rig.GoTo(0.1 * static_cast<double>(x_now), 0.1 * static_cast<double>(y_now),
             z + region_slice_distance * shift.z);
    Image stack = rig.TakeStack(channel, region_slices, region_slice_distance);
    rig.Base().Camera_SetDefaultSetting();
    rig.GoTo(0.1 * static_cast<double>(x_now), 0.1 * static_cast<double>(y_now), z);
    return stack;
}

VELM_CorrectionSettings ShiftedBy(Shift const & manual, Shift const & automatic)
{
    VELM_CorrectionSettings corrections;
    corrections.GetManualShiftCorrection()->SetShift(manual);
    corrections.GetManualShiftCorrection()->Apply(true);
    corrections.GetAutomaticShiftCorrection()->SetShift(automatic);
    corrections.GetAutomaticShiftCorrection()->Apply(true);
    return corrections;
}

// The voxels whose colours differ, and those that are missing or too many.
std::size_t DifferingVoxels(VELM_Mixer::ColorImage const & image, std::size_t expected)
{
    std::size_t const count = image.GetCount();
    std::size_t differing = count > expected ? count - expected : expected - count;
    for (auto const & voxel : image) {
        differing += voxel.red == voxel.green && voxel.red == voxel.blue ? 0 : 1;
    }
    return differing;
}

} // namespace

void ScoreChromatic(unsigned long seed, Report & report)
{
    std::mt19937_64 random(seed);
    std::string const colours[] = {ColourOf(random), ColourOf(random)};
    Rig rig(seed, "", {{"FITC", colours[0]}, {"TRITC", colours[1]}});
    std::uniform_real_distribution<double> place(-100.0, 100.0);
    double const x = place(random);
    double const y = place(random);
    rig.GoTo(x, y, sim::Specimen(rig.Config().specimen).Focus().At(x, y));
    Store store(rig);
    std::array<VELM_Channel, 2> channels = {rig.ChannelOf(1), rig.ChannelOf(2)};
    std::array<Image, 2> stacks;
    std::array<VELM_CorrectionSettings, 2> corrections;
    corrections[1].GetChromAberCorrection()->SetSurface(
        SurfaceOf(rig.Config(), rig.Config().markers[1], rig.Config().markers[2]));
    corrections[1].GetChromAberCorrection()->Apply(true);
    for (std::size_t i = 0; i < 2; ++i) {
        store.Add(channels[i]);
        rig.Use(channels[i]);
        stacks[i] = rig.TakeStack(channels[i], slices, slice_distance);
        rig.Base().Camera_SetDefaultSetting();
    }
    report.Number("two colours: distance of the same spots before correction, RMS",
                  RmsOf(Pair(stacks[0], stacks[1]), stacks[0]), "pixels");
    long const fov =
        store.Save({{&channels[0], &stacks[0], corrections[0]}, {&channels[1], &stacks[1], corrections[1]}});
    std::vector<long> const ids = {channels[0].GetId(), channels[1].GetId()};
    for (std::size_t i = 0; i < 2; ++i) {
        stacks[i] = store.Corrected(fov, ids, ids[i]);
    }
    auto const pairs = Pair(stacks[0], stacks[1]);
    report.Row("two colours: distance of the same spots after correction, RMS", RmsOf(pairs, stacks[0]),
               "pixels", AtMost(0.2));
    report.Number("two colours: spots found in both", static_cast<double>(pairs.size()), "spots");
    rig.CheckLog();
}

void ScoreShift(unsigned long seed, Report & report)
{
    // Nothing may differ but the place: no noise, no fading from one exposure to the next, no play in the Z
    // drive.
    Rig rig(seed, "Noise=0\nZBacklash=0\n", {{"DAPI", "FadePlateau=1\n"}});
    Shift const shifts[] = {{0, 0, 0}, {7, -5, 1}, {-12, 9, -1}};
    Shift const common(3, 2, 0); // moves nothing: the first channel stays, and the others go with it
    VELM_CorrectionSettings const corrections[] = {
        ShiftedBy(common, {0, 0, 0}), ShiftedBy({10, -3, 1}, {0, 0, 0}), ShiftedBy({-7, 6, 0}, {-2, 5, -1})};
    rig.GoTo(0.0, 0.0, sim::Specimen(rig.Config().specimen).Focus().At(0.0, 0.0));
    Store store(rig);
    VELM_Channel const first = rig.ChannelOf(0);
    std::vector<VELM_Channel> channels;
    std::vector<Image> stacks;
    for (Shift const & shift : shifts) {
        VELM_Channel channel = first;
        stacks.push_back(TakeRegion(rig, channel, shift));
        channel.GetCameraSetting()->SetRegion(region_x, region_y, region_x + region_width - 1,
                                              region_y + region_height - 1);
        store.Add(channel);
        channels.push_back(channel);
    }
    long const fov = store.Save({{&channels[0], &stacks[0], corrections[0]},
                                 {&channels[1], &stacks[1], corrections[1]},
                                 {&channels[2], &stacks[2], corrections[2]}});
    VELM_Mixer::ColorImage mixed;
    VELM_BC_Mixer mixer = store.MixerOf(fov, {channels[0].GetId(), channels[1].GetId(), channels[2].GetId()});
    if (!mixer.GetRGB(channels[0].GetId(), channels[1].GetId(), channels[2].GetId(), nullptr, mixed, -1)) {
        throw std::runtime_error("mixing three channels failed");
    }
    // All see what lies between the farthest shifts.
    std::size_t const expected =
        std::size_t{region_width - 7 - 12} * (region_height - 5 - 9) * (region_slices - 2);
    report.Row("channels shifted on the chip: differing voxels",
               static_cast<double>(DifferingVoxels(mixed, expected)), "", AtMost(0.0));
    rig.CheckLog();
}

} // namespace velm::bench
