#ifndef SIM_CONFIG_H
#define SIM_CONFIG_H

#include "sim_faults.h"
#include "sim_motion.h"
#include "sim_optics.h"
#include "sim_renderer.h"
#include "sim_specimen.h"

#include <string>
#include <vector>

class wxFileConfig;

namespace velm {

class VELM_Database;

} // namespace velm

namespace velm::sim {

// The sensor and its electronics, at a gain of 1.
struct CameraParams {
    int width = 1392; // sensor pixels
    int height = 1040;
    int pixel_x_nm = 6450; // physical size
    int pixel_y_nm = 6450;
    int bit_depth = 12;
    double full_well = 18000.0; // electrons
    double offset = 100.0;      // units
    double read_noise = 6.0;    // electrons
    double dark_current = 0.5;  // electrons a second and sensor pixel, at 0 degrees
    int hot_pixels = 120;       // sensor pixels with a dark current some hundred times as high
    double megapixels_s = 20.0; // read-out rate, frame pixels
    bool noise = true;

    int binning = 1;                 // of a new setting
    unsigned long exposure = 100000; // of a new setting, in microseconds
};

// Everything that can be said about the simulated microscope, in the units of its ini entries unless noted.
struct SimConfig {
    unsigned long seed = 1;
    double time_scale = 1.0; // real seconds in a simulated one; 0: nothing takes time
    std::string truth_file;  // empty for none
    std::string frame_dir;   // where every frame that the camera delivers is kept; empty for nowhere
    std::string state_file;  // what the machine was left in when it is switched off; empty for none

    SpecimenParams specimen;
    Vignetting vignetting;
    LightLevels light;
    std::vector<Marker> markers;
    CameraParams camera;

    double pixel_x_nm = 6450.0; // at the specimen, at magnification 1
    double pixel_y_nm = 6450.0;
    int orientation_x = 1; // +1 or -1: how the stage's axes lie in the picture
    int orientation_y = 1;

    struct ObjectiveEntry {
        std::string description;
        double magnification;
        long position;
    };
    std::vector<ObjectiveEntry> objectives; // in the order of the catalogue
    long objective = -1;                    // position that is in the light at the start; -1: the first
    bool starts_at_eyepiece = false;

    long z_lower = 0; // all positions in tenths of a micron
    long z_upper = 10000;
    long z_start = 5000;
    long calib_offset = 3000;
    AxisParams z_axis{10000.0, 100000.0, 10000.0, 2.0};
    long stage_limit = 500000; // travel to each side of 0
    AxisParams stage_axis{200000.0, 2000000.0, 20000.0, 0.0};

    Microseconds shutter_time = 10000.0; // from closed to open
    Microseconds filter_time = 60000.0;  // from one position to the next
    long filter_positions = 12;          // 0 to this

    std::vector<std::pair<std::string, std::string>> faults; // entry and text
};

// Reads the section of the ini file on which the path stands; scale and orientations come from its root,
// filters, markers and objectives from the catalogue. Throws VELM_HWError with a sentence that names the
// entry that makes no sense.
SimConfig ReadConfig(wxFileConfig & config, VELM_Database const & db);

} // namespace velm::sim

#endif
