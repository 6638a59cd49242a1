// Mixing three channels of a field of view into a picture. The images come from memory, as fast as they can
// be copied. All on one core.

#include "camera_stack.h"
#include "side_by_side.h"
#include "support/memory_mixer.h"
#include "velm_calib_img.h"
#include "velm_flat_field.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

using namespace velm::bench;
using Stack = vexa::Image3d<unsigned short>;
using Picture = velm::VELM_Mixer::ColorImage;
using Field = velm::test::MemoryMixer<velm::VELM_FOV_Mixer>;

constexpr unsigned int side = 2048;
constexpr unsigned int slices = 4;

// A field whose three channels have these binnings and show the same part of the chip.
Field FieldOf(int red, int green, int blue)
{
    Field field;
    long id = 0;
    for (int const binning : {red, green, blue}) {
        unsigned int const size = side / static_cast<unsigned int>(binning);
        field.Add({++id, binning, binning}, CameraStack(size, size, slices));
    }
    field.SetAllChannels();
    return field;
}

// The picture by the definition of the grid, voxel by voxel, from the images as they were loaded.
void MixNaively(Field & field, Picture & picture)
{
    Stack loaded[3];
    int sampling[3];
    for (int i = 0; i < 3; ++i) {
        loaded[i] = field.images.at(i + 1);
        sampling[i] = static_cast<int>(side / loaded[i].size.x);
    }
    picture.MakeRoom(side, side, slices);
    int const step = 1;
    int const shift = 0;
    for (unsigned int z = 0; z < slices; ++z) {
        for (int y = 0; y < static_cast<int>(side); ++y) {
            for (int x = 0; x < static_cast<int>(side); ++x) {
                unsigned short voxel[3];
                for (int i = 0; i < 3; ++i) {
                    voxel[i] =
                        loaded[i].GetVoxel(static_cast<unsigned int>((step * x + shift) / sampling[i]),
                                           static_cast<unsigned int>((step * y + shift) / sampling[i]), z);
                }
                picture.SetVoxel(static_cast<unsigned int>(x), static_cast<unsigned int>(y), z,
                                 {voxel[0], voxel[1], voxel[2]});
            }
        }
    }
}

// Moves as many bytes as the mixer has to: each stack to where it is loaded, and on into the picture.
void MeasureAgainstCopying(Table & table)
{
    char const * const name = "three equal channels to RGB / memcpy of the bytes";
    if (!table.Wants(name)) {
        return;
    }
    Field field = FieldOf(1, 1, 1);
    Picture picture;
    Picture copied;
    copied.MakeRoom(side, side, slices);
    Stack loaded[3] = {field.images.at(1), field.images.at(2), field.images.at(3)};
    std::size_t const bytes = loaded[0].GetCount() * sizeof(unsigned short);
    table.Row(
        name, AtLeast(0.5), [&] { field.GetRGB(1, 2, 3, nullptr, picture, -1); },
        [&] {
            for (std::size_t i = 0; i < 3; ++i) {
                std::memcpy(loaded[i].begin(), field.images.at(static_cast<long>(i) + 1).begin(), bytes);
                Keep(loaded[i].begin());
            }
            for (std::size_t i = 0; i < 3; ++i) {
                std::memcpy(reinterpret_cast<unsigned char *>(copied.begin()) + i * bytes, loaded[i].begin(),
                            bytes);
            }
            Keep(copied.begin());
        });
}

bool MeasureAgainstNaive(Table & table)
{
    char const * const name = "channels of binnings 1, 2 and 4 to RGB / naive loop";
    if (!table.Wants(name)) {
        return true;
    }
    Field field = FieldOf(1, 2, 4);
    Picture ours;
    Picture naive;
    table.Row(
        name, AtLeast(3.0), [&] { field.GetRGB(1, 2, 3, nullptr, ours, -1); },
        [&] { MixNaively(field, naive); });
    return std::equal(ours.begin(), ours.end(), naive.begin(), naive.end());
}

// A frame of 12 bits in the light of a lamp that is dimmer towards the corners, noise included.
Stack CalibrationFrame()
{
    Stack frame;
    frame.MakeRoom(side, side, 1);
    std::uint32_t noise = 1;
    for (unsigned int y = 0; y < side; ++y) {
        for (unsigned int x = 0; x < side; ++x) {
            double const u = 2.0 * x / side - 1.0;
            double const v = 2.0 * y / side - 1.0;
            noise = noise * 1664525U + 1013904223U;
            frame.SetVoxel(x, y, 0,
                           static_cast<unsigned short>(3000.0 - 500.0 * (u * u + v * v) + (noise >> 27)));
        }
    }
    return frame;
}

void DivideNaively(Stack const & stack, Stack const & calibration, double mean, Stack & corrected)
{
    for (unsigned int z = 0; z < slices; ++z) {
        unsigned short const * const slice = stack.GetVoxelAddr(0, 0, z);
        unsigned short * const target = corrected.GetVoxelAddr(0, 0, z);
        for (std::size_t i = 0; i < calibration.GetCount(); ++i) {
            double const divisor = calibration.GetVoxel(i);
            target[i] =
                divisor == 0.0
                    ? static_cast<unsigned short>(0)
                    : static_cast<unsigned short>(static_cast<std::int64_t>(slice[i] / divisor * mean));
        }
    }
}

// A run of pixels through all slices, as the mixer does it.
void Divide(Stack const & stack, Stack const & calibration, double mean, Stack & corrected)
{
    constexpr std::size_t run = 1 << 14;
    velm::FlatField field(mean);
    for (std::size_t begin = 0; begin < calibration.GetCount(); begin += run) {
        field.SetDivisors(calibration.begin() + begin, run);
        for (unsigned int z = 0; z < slices; ++z) {
            unsigned short * const target = corrected.GetVoxelAddr(0, 0, z) + begin;
            std::copy_n(stack.GetVoxelAddr(0, 0, z) + begin, run, target);
            field.Apply(target);
        }
    }
}

bool MeasureDivision(Table & table)
{
    char const * const name = "calibration divide / naive loop";
    if (!table.Wants(name)) {
        return true;
    }
    Stack const stack = CameraStack(side, side, slices);
    Stack const calibration = CalibrationFrame();
    double const mean = velm::VELM_Calibration_Image::ComputeMean(calibration);
    Stack ours(stack);
    Stack naive(stack);
    table.Row(
        name, AtLeast(3.0), [&] { Divide(stack, calibration, mean, ours); },
        [&] { DivideNaively(stack, calibration, mean, naive); });
    return std::equal(ours.begin(), ours.end(), naive.begin(), naive.end());
}

} // namespace

int main(int argc, char ** argv)
{
    Table table(argc, argv);
    vexa::SetThreadCount(1);
    MeasureAgainstCopying(table);
    if (!MeasureAgainstNaive(table) || !MeasureDivision(table)) {
        std::fputs("A result differs from that of the naive loop.\n", stderr);
        return 1;
    }
    return 0;
}
