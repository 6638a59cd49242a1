#ifndef SIM_OPTICS_H
#define SIM_OPTICS_H

#include "sim_specimen.h"

#include <string>
#include <vector>

namespace velm::sim {

// What an objective does to light.
struct Objective {
    double magnification = 1.0;
    double aperture = 0.3; // numerical

    // Takes the numerical aperture from a description such as "63x/1.40 oil": the number behind the first
    // slash. Without one it is guessed from the magnification.
    static Objective Of(std::string const & description, double magnification);

    // Standard deviation of the point spread in focus at the wavelength, in microns: 0.21 wavelength / NA,
    // the usual Gaussian approximation of a wide-field microscope's lateral spread.
    double SharpSigma(double wavelength_um) const;

    // Growth of that standard deviation, in microns per micron out of focus: three tenths of the radius of
    // the cone of light. Half of it would be the standard deviation of an evenly filled cone, but most of the
    // light of a real one stays near its axis.
    double Spreading() const;

    // Share of the light collected, relative to an aperture of 1.4.
    double Collection() const;
};

// What a marker labels.
enum class Structure { NUCLEI, SPOTS };

// A fluorescent marker and how the optics treat its colour.
struct Marker {
    std::string name;
    Structure structure = Structure::NUCLEI;
    unsigned int spot_kind = 0;     // which spots of the specimen it labels, for Structure::SPOTS
    std::vector<long> ex_positions; // revolver positions of the filters that fit
    std::vector<long> em_positions;
    double brightness = 1.0;     // relative to the average dye
    double wavelength_um = 0.52; // of the emission
    double shift_x_um = 0.0;     // chromatic shift of the picture, at the specimen
    double shift_y_um = 0.0;
    double scale = 1.0;           // chromatic magnification about the optical axis
    double focus_offset_um = 0.0; // how much higher the marker is sharp
    double fade_s = 60.0;         // lit time after which the fading part has fallen to 1/e
    double fade_plateau = 0.5;    // share of the light that never fades

    bool IsExcitedBy(long ex_position) const;
    bool Passes(long em_position) const;

    // Share of the light that is left after a lit time, in seconds.
    double Remaining(double lit_s) const;
};

// Uneven illumination: 1 - strength * r², r being the distance from the brightest point of the field in units
// of half the sensor's diagonal.
struct Vignetting {
    double strength = 0.25;
    double centre_x = 0.04;  // of the brightest point, from the sensor's centre, in half widths
    double centre_y = -0.03; // in half heights

    // At a point of the sensor, in sensor pixels.
    double At(double x, double y, double width, double height) const;
};

// Which part of the slide lies on which pixels of a frame. The picture is the right way round: its columns
// and rows run as the stage's axes do, times the orientations.
struct FrameGeometry {
    int sensor_width = 0; // sensor pixels
    int sensor_height = 0;
    int first_x = 0; // sensor pixel of the region's corner; a multiple of the binning
    int first_y = 0;
    int bin_x = 1;
    int bin_y = 1;
    int width = 0; // frame pixels
    int height = 0;
    double pixel_x_um = 0.1; // sensor pixel at the specimen
    double pixel_y_um = 0.1;
    int orientation_x = 1; // +1 or -1
    int orientation_y = 1;
    Place centre; // what lies on the optical axis, and the height that is in focus

    // The binned pixel coordinate, over the whole sensor, of a place on the slide; the first pixel's centre
    // is 0.
    double Column(double x_um) const;
    double Row(double y_um) const;

    // What the whole sensor sees.
    Area Field() const;
};

} // namespace velm::sim

#endif
