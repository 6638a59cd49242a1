#include "sim_config.h"

#include "drivers/base/hw_control.h"
#include "velm_db.h"

#include <wx/fileconf.h>
#include <wx/utils.h>

namespace velm::sim {

namespace {

// Reads checked numbers; a missing entry leaves the value as it is.
class Entries {
  public:
    explicit Entries(wxFileConfig & config) : _config(&config) {}

    template <typename T>
    void Read(wxString const & key, T & value, double low, double high) const
    {
        wxString text;
        if (_config->Read(key, &text)) {
            Convert(key, text, value, low, high);
        }
    }

    // The same from a variable of the environment, which is how a program can overrule an entry for one run.
    template <typename T>
    void FromEnvironment(wxString const & variable, T & value, double low, double high) const
    {
        wxString text;
        if (wxGetEnv(variable, &text)) {
            Convert(variable, text, value, low, high);
        }
    }

    // A number that the file gives in units as many times as large.
    void Scaled(wxString const & key, double & value, double unit, double low, double high) const
    {
        double number = value / unit;
        Read(key, number, low, high);
        value = number * unit;
    }

    void Flag(wxString const & key, bool & value) const
    {
        int number = value ? 1 : 0;
        Read(key, number, 0, 1);
        value = number != 0;
    }

    wxString Text(wxString const & key) const
    {
        wxString text;
        _config->Read(key, &text);
        return text;
    }

  private:
    template <typename T>
    static void Convert(wxString const & key, wxString const & text, T & value, double low, double high)
    {
        double number = 0.0;
        bool const whole = std::is_integral_v<T>;
        bool const numeric = text.ToCDouble(&number) && number >= low && number <= high;
        if (!numeric || (whole && number != static_cast<double>(static_cast<long long>(number)))) {
            throw VELM_HWError(wxString::Format(
                "Error in the simulated microscope's entry '%s' (%s): must be a%s number from %s to %s", key,
                text, whole ? " whole" : "", wxString::FromCDouble(low), wxString::FromCDouble(high)));
        }
        value = static_cast<T>(number);
    }

    wxFileConfig * _config;
};

void ReadCamera(Entries const & entries, CameraParams & camera)
{
    entries.Read("SensorWidth", camera.width, 16, 8192);
    entries.Read("SensorHeight", camera.height, 16, 8192);
    entries.Read("PixelSizeX", camera.pixel_x_nm, 100, 65535);
    entries.Read("PixelSizeY", camera.pixel_y_nm, 100, 65535);
    entries.Read("BitDepth", camera.bit_depth, 8, 16);
    entries.Read("FullWell", camera.full_well, 100, 1e7);
    entries.Read("Offset", camera.offset, 0, 65535);
    entries.Read("ReadNoise", camera.read_noise, 0, 1000);
    entries.Read("DarkCurrent", camera.dark_current, 0, 1e6);
    entries.Read("HotPixels", camera.hot_pixels, 0, 100000);
    entries.Read("ReadoutRate", camera.megapixels_s, 0.01, 10000);
    entries.Flag("Noise", camera.noise);
    entries.Read("Binning", camera.binning, 1, 16);
    entries.Read("Exposure", camera.exposure, 1, 1e9);
}

void ReadMechanics(Entries const & entries, SimConfig & sim)
{
    entries.Read("ZLower", sim.z_lower, -1e8, 1e8);
    entries.Read("ZUpper", sim.z_upper, -1e8, 1e8);
    entries.Read("ZStart", sim.z_start, -1e8, 1e8);
    entries.Read("CalibOffset", sim.calib_offset, 0, 1e8);
    entries.Read("ZSpeed", sim.z_axis.speed, 1, 1e9);
    entries.Read("ZAcceleration", sim.z_axis.acceleration, 1, 1e12);
    entries.Scaled("ZSettling", sim.z_axis.settling, 1000.0, 0, 1e6);
    entries.Read("ZBacklash", sim.z_axis.backlash, 0, 10000);
    entries.Read("StageLimit", sim.stage_limit, 1, 1e9);
    entries.Read("StageSpeed", sim.stage_axis.speed, 1, 1e9);
    entries.Read("StageAcceleration", sim.stage_axis.acceleration, 1, 1e12);
    entries.Scaled("StageSettling", sim.stage_axis.settling, 1000.0, 0, 1e6);
    entries.Scaled("ShutterTime", sim.shutter_time, 1000.0, 0, 1e6);
    entries.Scaled("FilterTime", sim.filter_time, 1000.0, 0, 1e6);
    entries.Read("FilterPositions", sim.filter_positions, 0, 999);
    entries.Flag("StartsAtEyepiece", sim.starts_at_eyepiece);
    if (sim.z_lower > sim.z_upper || sim.z_start < sim.z_lower || sim.z_start > sim.z_upper) {
        throw VELM_HWError(
            wxString::Format("Error in the simulated microscope's entry 'ZStart' (%ld): must lie "
                             "between ZLower (%ld) and ZUpper (%ld)",
                             sim.z_start, sim.z_lower, sim.z_upper));
    }
}

void ReadSpecimen(Entries const & entries, SimConfig & sim)
{
    entries.Read("Seed", sim.seed, 0, 1e15);
    entries.FromEnvironment("VELM_SIM_SEED", sim.seed, 0, 1e15);
    sim.specimen.seed = sim.seed;
    entries.Read("Density", sim.specimen.density, 0, 10);
    entries.Read("FocusHeight", sim.specimen.focus_height, -1e6, 1e6);
    entries.Read("FocusTilt", sim.specimen.focus_tilt, 0, 100);
    entries.Read("FocusWave", sim.specimen.focus_wave, 0, 100);
    entries.Read("BackgroundUnevenness", sim.specimen.background_unevenness, 0, 1);
    entries.Read("Vignetting", sim.vignetting.strength, 0, 1);
    entries.Read("NucleusLight", sim.light.nucleus, 0, 1e15);
    entries.Read("SpotLight", sim.light.spot, 0, 1e15);
    entries.Read("HazeLight", sim.light.haze, 0, 1e15);
    entries.Read("BackgroundLight", sim.light.background, 0, 1e15);
}

// Positions of the filters of the given descriptions. get_desc, get_pos: the catalogue's, for ids below
// count.
template <typename GetDesc, typename GetPos>
std::vector<long> PositionsOf(wxArrayString const & descs, unsigned int count, GetDesc get_desc,
                              GetPos get_pos)
{
    std::vector<long> positions;
    for (unsigned int id = 0; id < count; ++id) {
        if (descs.Index(get_desc(id)) != wxNOT_FOUND) {
            positions.push_back(get_pos(id));
        }
    }
    return positions;
}

// What a marker is when its section says nothing: the first stains nuclei, the others label spots; the
// farther from the first, the more its colour is off.
Marker DefaultMarker(unsigned int index)
{
    Marker marker;
    double const off = index;
    marker.structure = index == 0 ? Structure::NUCLEI : Structure::SPOTS;
    marker.spot_kind = index == 0 ? 0 : index - 1;
    marker.wavelength_um = 0.46 + 0.06 * off;
    marker.shift_x_um = 0.12 * off;
    marker.shift_y_um = -0.08 * off;
    marker.scale = 1.0 + 0.0005 * off;
    marker.focus_offset_um = 0.2 * off;
    return marker;
}

Marker ReadMarker(Entries const & entries, VELM_Database const & db, unsigned int index)
{
    Marker marker = DefaultMarker(index);
    wxString const name = db.GetMarkerName(index);
    marker.name = name.utf8_string();
    wxString const structure = entries.Text(name + "/Structure");
    if (structure == "nuclei" || structure == "spots") {
        marker.structure = structure == "nuclei" ? Structure::NUCLEI : Structure::SPOTS;
    } else if (!structure.empty()) {
        throw VELM_HWError(wxString::Format(
            "Error in the simulated microscope's entry '%s/Structure' (%s): must be nuclei or spots", name,
            structure));
    }
    entries.Read(name + "/SpotKind", marker.spot_kind, 0, 15);
    entries.Read(name + "/Brightness", marker.brightness, 0, 1e6);
    entries.Read(name + "/Wavelength", marker.wavelength_um, 0.2, 2);
    entries.Read(name + "/ShiftX", marker.shift_x_um, -100, 100);
    entries.Read(name + "/ShiftY", marker.shift_y_um, -100, 100);
    entries.Read(name + "/Scale", marker.scale, 0.5, 2);
    entries.Read(name + "/FocusOffset", marker.focus_offset_um, -100, 100);
    entries.Read(name + "/FadeTime", marker.fade_s, 1e-6, 1e9);
    entries.Read(name + "/FadePlateau", marker.fade_plateau, 0, 1);
    wxArrayString ex_filters;
    wxArrayString em_filters;
    db.GetSuitableExFilterDescs(index, ex_filters);
    db.GetSuitableEmFilterDescs(index, em_filters);
    marker.ex_positions = PositionsOf(
        ex_filters, db.GetNumExFilterDescs(), [&](long id) { return db.GetExFilterDesc(id); },
        [&](long id) { return db.GetExFilterPos(id); });
    marker.em_positions = PositionsOf(
        em_filters, db.GetNumEmFilterDescs(), [&](long id) { return db.GetEmFilterDesc(id); },
        [&](long id) { return db.GetEmFilterPos(id); });
    return marker;
}

void ReadOptics(Entries const & entries, VELM_Database const & db, SimConfig & sim)
{
    for (unsigned int i = 0; i < db.GetNumMarkers(); ++i) {
        sim.markers.push_back(ReadMarker(entries, db, i));
        if (sim.markers.back().structure == Structure::SPOTS) {
            sim.specimen.spot_kinds = std::max(sim.specimen.spot_kinds, sim.markers.back().spot_kind + 1);
        }
    }
    for (VELM_ObjectiveInfo const & objective : db.GetObjectiveList()) {
        auto const magnification = static_cast<double>(objective.magnification);
        if (magnification <= 0.0) {
            throw VELM_HWError(wxString::Format("The objective '%s' magnifies nothing", objective.desc));
        }
        sim.objectives.push_back({objective.desc.utf8_string(), magnification, objective.pos});
    }
    entries.Read("Objective", sim.objective, -1, 1e6);
    entries.Read("/MicResX", sim.pixel_x_nm, 1, 1e9);
    entries.Read("/MicResY", sim.pixel_y_nm, 1, 1e9);
    long orientation_x = 1;
    long orientation_y = 1;
    entries.Read("/StageOrientationX", orientation_x, -1e9, 1e9);
    entries.Read("/StageOrientationY", orientation_y, -1e9, 1e9);
    sim.orientation_x = orientation_x > 0 ? 1 : -1;
    sim.orientation_y = orientation_y > 0 ? 1 : -1;
}

void ReadFaults(wxFileConfig & config, SimConfig & sim)
{
    FaultScript check;
    for (int i = 1;; ++i) {
        wxString const key = wxString::Format("Fault%d", i);
        wxString text;
        if (!config.Read(key, &text)) {
            return;
        }
        try {
            check.Add(key.utf8_string(), text.utf8_string());
        } catch (std::invalid_argument const & error) {
            throw VELM_HWError(wxString::FromUTF8(error.what()));
        }
        sim.faults.emplace_back(key.utf8_string(), text.utf8_string());
    }
}

} // namespace

SimConfig ReadConfig(wxFileConfig & config, VELM_Database const & db)
{
    SimConfig sim;
    Entries const entries(config);
    entries.Read("TimeScale", sim.time_scale, 0, 1000);
    sim.truth_file = entries.Text("TruthFile").utf8_string();
    sim.frame_dir = entries.Text("FrameDir").utf8_string();
    sim.state_file = entries.Text("StateFile").utf8_string();
    ReadSpecimen(entries, sim);
    ReadOptics(entries, db, sim);
    ReadCamera(entries, sim.camera);
    ReadMechanics(entries, sim);
    ReadFaults(config, sim);
    return sim;
}

} // namespace velm::sim
