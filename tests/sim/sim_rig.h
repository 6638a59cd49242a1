#ifndef SIM_RIG_H
#define SIM_RIG_H

#include "sim_machine.h"

#include <vector>

namespace velm::sim::test {

using Pixels = std::vector<std::uint16_t>;

// A small simulated microscope that takes no time and makes no noise: a nuclear stain on filter position 1, a
// marker of spots on 2, an objective 63x/1.40 and one 10x/0.30, and nothing uneven. Tests switch on what they
// are about.
inline SimConfig QuietConfig()
{
    SimConfig config;
    config.time_scale = 0.0;
    config.vignetting.strength = 0.0;
    config.camera.width = 320;
    config.camera.height = 240;
    config.camera.noise = false;
    config.camera.hot_pixels = 0;
    config.camera.dark_current = 0.0;
    config.pixel_x_nm = 6300.0;
    config.pixel_y_nm = 6300.0;
    config.z_axis.backlash = 0.0;
    config.specimen.spot_kinds = 1;
    config.objectives = {{"63x/1.40", 63.0, 1}, {"10x/0.30", 10.0, 2}};
    Marker nuclei;
    nuclei.name = "Blue";
    nuclei.ex_positions = {1};
    nuclei.em_positions = {1};
    Marker spots = nuclei;
    spots.name = "Green";
    spots.structure = Structure::SPOTS;
    spots.ex_positions = {2};
    spots.em_positions = {2};
    config.markers = {nuclei, spots};
    return config;
}

// A full frame with an exposure in microseconds.
inline CaptureRequest FullFrame(SimConfig const & config, Microseconds exposure = 100000.0)
{
    CaptureRequest request;
    request.last_x = config.camera.width - 1;
    request.last_y = config.camera.height - 1;
    request.exposure = exposure;
    return request;
}

// Takes a frame and waits for it.
inline Pixels Take(Machine & machine, CaptureRequest request)
{
    Pixels pixels(static_cast<std::size_t>(request.Width()) * static_cast<std::size_t>(request.Height()));
    request.pixels = pixels.data();
    machine.StartCapture(request);
    while (true) {
        CameraState const state = machine.GetCameraState();
        if (state == CameraState::READY || state == CameraState::IDLE) {
            return pixels;
        }
    }
}

// Puts the filters of a marker into the light and opens the shutter.
inline void Illuminate(Machine & machine, long position)
{
    machine.MoveFilter(Device::EX_FILTER, position);
    machine.MoveFilter(Device::EM_FILTER, position);
    machine.MoveShutter(true);
}

// A nucleus near the origin, for a picture with something in it.
inline Place SomeNucleus(Machine & machine)
{
    return machine.WithSlide([](Specimen & specimen, Fading const &) {
        for (long y = 0;; ++y) {
            for (long x = -5; x <= 5; ++x) {
                if (Nucleus const * const nucleus = specimen.NucleusOf(x, y)) {
                    return nucleus->centre;
                }
            }
        }
    });
}

// Moves so that a place of the slide is in the middle of the picture and sharp.
inline void GoTo(Machine & machine, Place const & place)
{
    machine.MoveStage(10.0 * place.x, 10.0 * place.y, false);
    machine.MoveZ(10.0 * place.z, false);
}

// A frame of something bright.
inline Pixels TakeNucleus(Machine & machine)
{
    GoTo(machine, SomeNucleus(machine));
    Illuminate(machine, 1);
    return Take(machine, FullFrame(machine.Config()));
}

inline double SumOf(Pixels const & pixels, double offset)
{
    double sum = 0.0;
    for (std::uint16_t const pixel : pixels) {
        sum += pixel - offset;
    }
    return sum;
}

inline double MeanOf(Pixels const & pixels)
{
    return SumOf(pixels, 0.0) / static_cast<double>(pixels.size());
}

} // namespace velm::sim::test

#endif
