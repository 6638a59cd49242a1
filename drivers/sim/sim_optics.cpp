#include "sim_optics.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace velm::sim {

namespace {

// The number at the start of a text in C form, or 0.
double LeadingNumber(std::string const & text)
{
    double value = 0.0;
    double unit = 1.0;
    bool behind_point = false;
    for (char const c : text) {
        if (c == '.' && !behind_point) {
            behind_point = true;
        } else if (c >= '0' && c <= '9') {
            unit *= behind_point ? 0.1 : 1.0;
            value = behind_point ? value + unit * (c - '0') : 10.0 * value + (c - '0');
        } else {
            break;
        }
    }
    return value;
}

bool Holds(std::vector<long> const & positions, long position)
{
    return std::find(positions.begin(), positions.end(), position) != positions.end();
}

} // namespace

Objective Objective::Of(std::string const & description, double magnification)
{
    Objective objective;
    objective.magnification = magnification;
    std::size_t const slash = description.find('/');
    double const named = slash == std::string::npos ? 0.0 : LeadingNumber(description.substr(slash + 1));
    bool const possible = named > 0.01 && named < 1.5;
    objective.aperture = possible ? named : std::clamp(0.028 * magnification, 0.05, 1.4);
    return objective;
}

double Objective::SharpSigma(double wavelength_um) const
{
    return 0.21 * wavelength_um / aperture;
}

double Objective::Spreading() const
{
    double const index = aperture < 0.96 ? 1.0 : 1.518; // dry or oil
    return 0.3 * std::tan(std::asin(aperture / index));
}

double Objective::Collection() const
{
    return aperture * aperture / (1.4 * 1.4);
}

bool Marker::IsExcitedBy(long ex_position) const
{
    return Holds(ex_positions, ex_position);
}

bool Marker::Passes(long em_position) const
{
    return Holds(em_positions, em_position);
}

double Marker::Remaining(double lit_s) const
{
    return fade_plateau + (1.0 - fade_plateau) * std::exp(-lit_s / fade_s);
}

double Vignetting::At(double x, double y, double width, double height) const
{
    double const dx = x - 0.5 * width * (1.0 + centre_x);
    double const dy = y - 0.5 * height * (1.0 + centre_y);
    double const reach2 = 0.25 * (width * width + height * height);
    return std::max(0.0, 1.0 - strength * (dx * dx + dy * dy) / reach2);
}

double FrameGeometry::Column(double x_um) const
{
    double const sensor = orientation_x * (x_um - centre.x) / pixel_x_um + 0.5 * sensor_width;
    return sensor / bin_x - 0.5;
}

double FrameGeometry::Row(double y_um) const
{
    double const sensor = orientation_y * (y_um - centre.y) / pixel_y_um + 0.5 * sensor_height;
    return sensor / bin_y - 0.5;
}

Area FrameGeometry::Field() const
{
    double const half_x = 0.5 * sensor_width * pixel_x_um;
    double const half_y = 0.5 * sensor_height * pixel_y_um;
    return {centre.x - half_x, centre.y - half_y, centre.x + half_x, centre.y + half_y};
}

} // namespace velm::sim
