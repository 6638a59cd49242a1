#include "camera_stack.h"

#include "side_by_side.h"
#include "sim_machine.h"

#include <cstdint>
#include <cstring>

namespace velm::bench {

namespace {

constexpr double magnification = 63.0;
constexpr double pixel_nm = 6450.0;
constexpr double step_um = 0.5;
constexpr double positions_per_um = 10.0; // of the Z drive

sim::SimConfig ConfigFor(unsigned int width, unsigned int height)
{
    sim::SimConfig config;
    config.time_scale = 0.0;
    config.camera.width = static_cast<int>(width);
    config.camera.height = static_cast<int>(height);
    config.pixel_x_nm = pixel_nm;
    config.pixel_y_nm = pixel_nm;
    config.objectives = {{"63x/1.40", magnification, 1}};
    sim::Marker nuclei;
    nuclei.ex_positions = {1};
    nuclei.em_positions = {1};
    config.markers = {nuclei};
    return config;
}

void TakeFrame(sim::Machine & machine, unsigned short * pixels)
{
    sim::CaptureRequest request;
    request.pixels = pixels;
    request.last_x = machine.Config().camera.width - 1;
    request.last_y = machine.Config().camera.height - 1;
    request.exposure = 100000.0;
    machine.StartCapture(request);
    while (machine.GetCameraState() != sim::CameraState::READY) {
    }
}

} // namespace

vexa::Image3d<unsigned short> CameraStack(unsigned int width, unsigned int height, unsigned int slices)
{
    sim::Machine machine(ConfigFor(width, height));
    machine.MoveFilter(sim::Device::EX_FILTER, 1);
    machine.MoveFilter(sim::Device::EM_FILTER, 1);
    machine.MoveShutter(true);
    double const focus_um = machine.WithSlide(
        [](sim::Specimen & specimen, sim::Fading const &) { return specimen.Focus().At(0.0, 0.0); });

    constexpr auto voxels_per_um = static_cast<float>(1000.0 * magnification / pixel_nm);
    vexa::Resolution const resolution(voxels_per_um, voxels_per_um, static_cast<float>(1.0 / step_um));
    vexa::Image3d<unsigned short> stack(nullptr, &resolution);
    stack.MakeRoom(width, height, slices);
    for (unsigned int z = 0; z < slices; ++z) {
        double const height_um = focus_um + step_um * (z - 0.5 * (slices - 1.0));
        machine.MoveZ(positions_per_um * height_um, false);
        TakeFrame(machine, stack.GetVoxelAddr(0, 0, z));
    }
    return stack;
}

void ReadAll(unsigned short const * voxels, std::size_t count)
{
    constexpr std::size_t places = 4;
    constexpr std::size_t words = 4; // of one place at a time
    std::uint64_t differences[places][words] = {};
    std::size_t const part = count / places;
    for (std::size_t i = 0; i + 4 * words <= part; i += 4 * words) {
        for (std::size_t place = 0; place < places; ++place) {
            for (std::size_t word = 0; word < words; ++word) {
                std::uint64_t four = 0;
                std::memcpy(&four, voxels + place * part + i + 4 * word, sizeof four);
                differences[place][word] ^= four;
            }
        }
    }
    Keep(differences);
}

} // namespace velm::bench
