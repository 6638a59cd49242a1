// What a frame of the simulated microscope costs, beside drawing its noise alone, in fields of the slide that
// have been looked at before. The whole frame of 1392 x 1040 pixels is to cost at most three times its noise.

#include "side_by_side.h"
#include "sim_machine.h"

#include <cstdio>
#include <vector>

namespace {

using namespace velm::sim;

constexpr int fields = 2; // no more than the specimen keeps at the least magnification
constexpr unsigned int width = 1392;
constexpr unsigned int height = 1040;

// A field of the slide with about as many nuclei as a scan meets on average in its crowded parts.
struct Field {
    char const * objective;
    double magnification;
    double height; // of the focus over the slide, microns
};

FrameGeometry GeometryOf(Field const & field)
{
    FrameGeometry geometry;
    geometry.sensor_width = geometry.width = width;
    geometry.sensor_height = geometry.height = height;
    geometry.pixel_x_um = geometry.pixel_y_um = 6.45 / field.magnification;
    return geometry;
}

// So many fields that lie side by side, each in focus or as far from it as is asked for.
std::vector<FrameGeometry> FieldsOf(Field const & field, Specimen & specimen)
{
    FrameGeometry geometry = GeometryOf(field);
    std::vector<FrameGeometry> result;
    for (int i = 0; i < fields; ++i) {
        Area const area = geometry.Field();
        geometry.centre.x += area.right - area.left;
        geometry.centre.z = specimen.Focus().At(geometry.centre.x, geometry.centre.y) + field.height;
        result.push_back(geometry);
    }
    return result;
}

void Measure(velm::bench::Table & table, Field const & field)
{
    char name[64];
    std::snprintf(name, sizeof name, "%d simulated frames, %s at %.0f um", fields, field.objective,
                  field.height);
    if (!table.Wants(name)) {
        return;
    }
    Specimen specimen{SpecimenParams()};
    Renderer renderer(specimen, LightLevels(), Vignetting());
    NoiseSource noise;
    Marker const marker;
    std::vector<Shine> const shines = {{&marker, 0.1, [](long, long) { return 1.0; }}};
    Objective const objective = Objective::Of(field.objective, field.magnification);
    std::vector<std::uint16_t> pixels(width * height);
    auto const read = [&](std::vector<float> const & electrons) {
        for (unsigned int y = 0; y < height; ++y) {
            noise.ReadRow(&electrons[y * width], width, y, 1, Readout(), &pixels[y * width]);
        }
        velm::bench::Keep(pixels.data());
    };
    std::vector<FrameGeometry> const geometries = FieldsOf(field, specimen);
    std::vector<std::vector<float>> drawn;
    drawn.reserve(geometries.size());
    for (FrameGeometry const & geometry : geometries) {
        drawn.push_back(renderer.Render(geometry, objective, shines));
    }
    table.Row(
        name, velm::bench::AtMost(3.0),
        [&] {
            for (FrameGeometry const & geometry : geometries) {
                read(renderer.Render(geometry, objective, shines));
            }
        },
        [&] {
            for (std::vector<float> const & electrons : drawn) {
                read(electrons);
            }
        });
}

} // namespace

int main(int argc, char ** argv)
{
    velm::bench::Table table(argc, argv);
    for (Field const & field :
         {Field{"63x/1.40", 63.0, 0.0}, Field{"63x/1.40", 63.0, 2.0}, Field{"63x/1.40", 63.0, -50.0},
          Field{"20x/0.50", 20.0, 0.0}, Field{"10x/0.30", 10.0, 0.0}}) {
        Measure(table, field);
    }
    return 0;
}
