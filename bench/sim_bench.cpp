// What a frame of the simulated microscope costs, beside drawing its noise alone.
//
// Prints one line for each objective and height: the whole frame and its noise in milliseconds (medians),
// their ratio, and the same for a field that nobody has looked at before. The whole frame of 1392 x 1040
// pixels is to cost at most three times its noise.

#include "sim_machine.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

using namespace velm::sim;

constexpr int fields = 12;
constexpr int runs = 5;

double Milliseconds(std::function<void()> const & work)
{
    auto const start = std::chrono::steady_clock::now();
    work();
    std::chrono::duration<double, std::milli> const span = std::chrono::steady_clock::now() - start;
    return span.count();
}

// The least of some runs, which other programs disturbed least.
double LeastMilliseconds(std::function<void()> const & work)
{
    double least = Milliseconds(work);
    for (int i = 1; i < runs; ++i) {
        least = std::min(least, Milliseconds(work));
    }
    return least;
}

// A field of the slide with about as many nuclei as a scan meets on average in its crowded parts.
struct Field {
    char const * objective;
    double magnification;
    double height; // of the focus over the slide, microns
};

FrameGeometry GeometryOf(Field const & field)
{
    FrameGeometry geometry;
    geometry.sensor_width = geometry.width = 1392;
    geometry.sensor_height = geometry.height = 1040;
    geometry.pixel_x_um = geometry.pixel_y_um = 6.45 / field.magnification;
    return geometry;
}

void Measure(Field const & field)
{
    Specimen specimen{SpecimenParams()};
    Renderer renderer(specimen, LightLevels(), Vignetting());
    NoiseSource noise;
    Marker const marker;
    std::vector<Shine> const shines = {{&marker, 0.1, [](long, long) { return 1.0; }}};
    Objective const objective = Objective::Of(field.objective, field.magnification);
    FrameGeometry geometry = GeometryOf(field);
    std::vector<std::uint16_t> pixels(1392 * 1040);
    std::vector<float> electrons;
    auto const draw = [&] { electrons = renderer.Render(geometry, objective, shines); };
    auto const read = [&] {
        for (unsigned int y = 0; y < 1040; ++y) {
            noise.ReadRow(&electrons[y * 1392u], 1392, y, 1, Readout(), &pixels[y * 1392u]);
        }
    };
    double first = 0.0, again = 0.0, alone = 0.0;
    for (int i = 0; i < fields; ++i) {
        Area const area = geometry.Field();
        geometry.centre.x += area.right - area.left;
        geometry.centre.z = specimen.Focus().At(geometry.centre.x, geometry.centre.y) + field.height;
        first += Milliseconds(draw) / fields;
        again += LeastMilliseconds(draw) / fields;
        alone += LeastMilliseconds(read) / fields;
    }
    std::printf("%-10s %5.1f um: frame %6.2f ms, noise %5.2f ms, ratio %4.2f; first sight %6.2f ms\n",
                field.objective, field.height, again + alone, alone, (again + alone) / alone, first + alone);
}

} // namespace

int main()
{
    for (Field const & field :
         {Field{"63x/1.40", 63.0, 0.0}, Field{"63x/1.40", 63.0, 2.0}, Field{"63x/1.40", 63.0, -50.0},
          Field{"20x/0.50", 20.0, 0.0}, Field{"10x/0.30", 10.0, 0.0}}) {
        Measure(field);
    }
    return 0;
}
