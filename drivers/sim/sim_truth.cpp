#include "sim_truth.h"

#include "sim_machine.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <locale>
#include <mutex>
#include <sstream>

namespace velm::sim {

namespace {

// Writes JSON with commas where they belong.
class Json {
  public:
    Json()
    {
        _out.imbue(std::locale::classic());
        _out << std::setprecision(9);
    }

    std::string Text() const { return _out.str() + "\n"; }

    Json & Open(char bracket)
    {
        Separate();
        _out << bracket;
        _first = true;
        return *this;
    }

    Json & Close(char bracket)
    {
        _out << bracket;
        _first = false;
        return *this;
    }

    Json & Key(char const * key)
    {
        Separate();
        _out << '"' << key << "\": ";
        _first = true;
        return *this;
    }

    template <typename Number>
    Json & Value(Number value)
    {
        Separate();
        _out << value;
        return *this;
    }

    Json & Value(std::string const & text)
    {
        Separate();
        _out << '"';
        for (char const c : text) {
            if (c == '"' || c == '\\') {
                _out << '\\';
            }
            _out << (static_cast<unsigned char>(c) < ' ' ? ' ' : c);
        }
        _out << '"';
        return *this;
    }

    template <typename T>
    Json & Entry(char const * key, T const & value)
    {
        return Key(key).Value(value);
    }

    template <typename Numbers>
    Json & List(char const * key, Numbers const & numbers)
    {
        Key(key).Open('[');
        for (auto const & number : numbers) {
            Value(number);
        }
        return Close(']');
    }

  private:
    void Separate()
    {
        if (!_first) {
            _out << ",\n";
        }
        _first = false;
    }

    std::ostringstream _out;
    bool _first = true;
};

void WriteMarkers(Json & json, SimConfig const & config)
{
    json.Key("markers").Open('[');
    for (Marker const & marker : config.markers) {
        json.Open('{').Entry("name", marker.name);
        json.Entry("structure", std::string(marker.structure == Structure::NUCLEI ? "nuclei" : "spots"));
        json.Entry("spot_kind", marker.spot_kind).Entry("brightness", marker.brightness);
        json.List("excitation_positions", marker.ex_positions);
        json.List("emission_positions", marker.em_positions);
        json.Entry("wavelength_um", marker.wavelength_um);
        json.Entry("shift_x_um", marker.shift_x_um).Entry("shift_y_um", marker.shift_y_um);
        json.Entry("scale", marker.scale).Entry("focus_offset_um", marker.focus_offset_um);
        json.Entry("fade_time_s", marker.fade_s).Entry("fade_plateau", marker.fade_plateau).Close('}');
    }
    json.Close(']');
}

void WriteOptics(Json & json, SimConfig const & config)
{
    json.Key("vignetting").Open('{').Entry("strength", config.vignetting.strength);
    json.Entry("centre_x", config.vignetting.centre_x)
        .Entry("centre_y", config.vignetting.centre_y)
        .Close('}');
    json.Key("sensor").Open('{').Entry("width", config.camera.width).Entry("height", config.camera.height);
    json.Entry("offset", config.camera.offset);
    json.Entry("electrons_per_unit", config.camera.full_well / (1u << config.camera.bit_depth)).Close('}');
    json.Key("objectives").Open('[');
    for (auto const & entry : config.objectives) {
        Objective const objective = Objective::Of(entry.description, entry.magnification);
        json.Open('{').Entry("description", entry.description).Entry("position", entry.position);
        json.Entry("aperture", objective.aperture).Entry("spreading", objective.Spreading());
        json.Entry("pixel_x_um", config.pixel_x_nm / entry.magnification / 1000.0);
        json.Entry("pixel_y_um", config.pixel_y_nm / entry.magnification / 1000.0).Close('}');
    }
    json.Close(']');
}

void WriteFocus(Json & json, FocusSurface const & focus)
{
    json.Key("focus").Open('{').Entry("height", focus.Height());
    json.Entry("tilt_x", focus.TiltX()).Entry("tilt_y", focus.TiltY()).Key("waves").Open('[');
    for (FocusSurface::Wave const & wave : focus.Waves()) {
        json.Open('{').Entry("amplitude", wave.amplitude).Entry("kx", wave.kx).Entry("ky", wave.ky);
        json.Entry("phase", wave.phase).Close('}');
    }
    json.Close(']').Close('}');
}

void WriteNucleus(Json & json, Nucleus const & nucleus)
{
    Outline const outline = ProjectedOutline(nucleus);
    json.Open('{').Entry("cell_x", nucleus.cell_x).Entry("cell_y", nucleus.cell_y);
    json.Entry("x", nucleus.centre.x).Entry("y", nucleus.centre.y).Entry("z", nucleus.centre.z);
    json.List("semi_axes", nucleus.semi_axes);
    json.Key("rotation").Open('[');
    for (auto const & row : nucleus.rotation) {
        json.Open('[');
        for (double const value : row) {
            json.Value(value);
        }
        json.Close(']');
    }
    json.Close(']');
    json.Key("outline").Open('{').Entry("semi_major", outline.semi_major);
    json.Entry("semi_minor", outline.semi_minor).Entry("angle", outline.angle).Close('}');
    json.Entry("strength", nucleus.strength).Key("spots").Open('[');
    for (Spot const & spot : nucleus.spots) {
        json.Open('{').Entry("kind", spot.kind).Entry("x", spot.place.x).Entry("y", spot.place.y);
        json.Entry("z", spot.place.z).Entry("sigma", spot.sigma).Entry("strength", spot.strength).Close('}');
    }
    json.Close(']').Close('}');
}

using Cells = std::vector<std::pair<long, long>>;

// keep tells whether a nucleus is wanted.
template <typename Keep>
bool Write(Machine & machine, std::string const & path, Cells cells, Keep keep)
{
    std::sort(cells.begin(), cells.end());
    SimConfig const & config = machine.Config();
    Json json;
    json.Open('{').Entry("version", 1).Entry("seed", config.seed);
    WriteOptics(json, config);
    WriteMarkers(json, config);
    machine.WithSlide([&](Specimen & specimen, Fading const &) {
        WriteFocus(json, specimen.Focus());
        json.Key("nuclei").Open('[');
        for (auto const & [x, y] : cells) {
            specimen.Trim();
            Nucleus const * const nucleus = specimen.NucleusOf(x, y);
            if (nucleus != nullptr && keep(*nucleus)) {
                WriteNucleus(json, *nucleus);
            }
        }
        json.Close(']');
    });
    json.Close('}');
    std::ofstream file(path, std::ios::binary);
    file << json.Text();
    return static_cast<bool>(file.flush());
}

std::mutex current_mutex;
Machine * current_machine = nullptr; // guarded by current_mutex

} // namespace

bool WriteTruth(Machine & machine, std::string const & path, Area const & area)
{
    Cells cells;
    for (long x = Specimen::CellOf(area.left); x <= Specimen::CellOf(area.right); ++x) {
        for (long y = Specimen::CellOf(area.top); y <= Specimen::CellOf(area.bottom); ++y) {
            cells.emplace_back(x, y);
        }
    }
    return Write(machine, path, std::move(cells),
                 [&](Nucleus const & nucleus) { return area.Contains(nucleus.centre.x, nucleus.centre.y); });
}

bool WriteTruthOfLitCells(Machine & machine, std::string const & path)
{
    Cells cells = machine.WithSlide([](Specimen &, Fading const & fading) { return fading.LitCells(); });
    return Write(machine, path, std::move(cells), [](Nucleus const &) { return true; });
}

void SetCurrentMachine(Machine & machine)
{
    std::lock_guard<std::mutex> const lock(current_mutex);
    current_machine = &machine;
}

void ForgetMachine(Machine const & machine)
{
    std::lock_guard<std::mutex> const lock(current_mutex);
    if (current_machine == &machine) {
        current_machine = nullptr;
    }
}

} // namespace velm::sim

int velm_sim_write_truth(char const * path, double left, double top, double right, double bottom)
{
    using namespace velm::sim;
    std::lock_guard<std::mutex> const lock(current_mutex);
    if (current_machine == nullptr || path == nullptr) {
        return -1;
    }
    return WriteTruth(*current_machine, path, {left, top, right, bottom}) ? 0 : -1;
}

unsigned int velm_sim_last_mean(float * electrons, unsigned int room, unsigned int * width)
{
    using namespace velm::sim;
    std::lock_guard<std::mutex> const lock(current_mutex);
    if (current_machine == nullptr) {
        return 0;
    }
    unsigned int frame_width = 0;
    std::vector<float> const mean = current_machine->LastMean(frame_width);
    if (width != nullptr) {
        *width = frame_width;
    }
    auto const count = static_cast<unsigned int>(mean.size());
    if (electrons != nullptr && room >= count) {
        std::copy(mean.begin(), mean.end(), electrons);
    }
    return count;
}
