#ifndef SIM_RENDERER_H
#define SIM_RENDERER_H

#include "sim_optics.h"
#include "sim_specimen.h"

#include <functional>
#include <vector>

namespace velm::sim {

// A picture made of Gaussians of any width, drawn in a time that hardly depends on the width: a wide one is
// drawn on a grid of pixels twice, four times, ... as far apart, and the grids are interpolated and added up
// at the end.
//
// Coordinates are pixel coordinates of the whole sensor, with the centre of pixel 0 at 0; the canvas holds
// the window of them that is asked for, and its pixels are the same bit for bit whatever the window.
class BlobCanvas {
  public:
    // Starts an empty picture of the window.
    void Reset(int first_x, int first_y, int width, int height);

    // Adds a Gaussian, integrated over the pixels. light: the sum over all pixels. The sigmas are in pixels.
    void Add(double x, double y, double sigma_x, double sigma_y, double light);

    // Adds something smooth: value is asked on a grid of points no more than spacing pixels apart and
    // interpolated.
    void AddSmooth(double spacing, std::function<double(double x, double y)> const & value);

    // Ends the drawing: width * height values, row by row, take the place of what the vector held.
    void Finish(std::vector<float> & picture);

    // How many standard deviations from its centre a Gaussian is cut off.
    static constexpr double CUT = 3.5;

  private:
    // Every 2^level-th pixel of a window that reaches far enough beyond the picture for the interpolation.
    struct Grid {
        int first_x = 0; // in its own steps
        int first_y = 0;
        int width = 0;
        int height = 0;
        bool used = false;
        std::vector<float> values;
    };

    static constexpr std::size_t LEVELS = 11;

    Grid & Use(std::size_t level);

    // Adds the outer product of the two profiles, the first value of each lying at (x, y) of the grid.
    void AddProduct(Grid & grid, int x, int y);
    static void Refine(Grid const & coarse, Grid & fine, std::vector<float> & rows);

    std::vector<Grid> _grids;
    std::vector<float> _columns; // profiles of the Gaussian being drawn
    std::vector<float> _rows;
    std::vector<float> _refined; // rows of a grid, interpolated along x
};

// The light of one marker as it falls on the sensor.
struct Shine {
    Marker const * marker;
    double seconds; // how long it is lit
    // Share of the light that is left at a cell of the slide.
    std::function<double(long cell_x, long cell_y)> remaining;
};

// Light levels of the simulation, all for an aperture of 1.4, a marker of brightness 1 and nothing faded.
struct LightLevels {
    double nucleus = 4.0e8;    // electrons a second from an average nucleus, in all
    double spot = 1.0e6;       // electrons a second from an average spot, in all
    double haze = 3.0e7;       // electrons a second around a nucleus from a marker of spots
    double background = 4.0e4; // electrons a second from a square micron, on average
};

// Draws what falls on the sensor, in electrons, without noise.
class Renderer {
  public:
    Renderer(Specimen & specimen, LightLevels const & levels, Vignetting const & vignetting);

    // The expected electrons of each pixel, the right way round, dark current not included; valid until the
    // next call.
    std::vector<float> const & Render(FrameGeometry const & geometry, Objective const & objective,
                                      std::vector<Shine> const & shines);

    // Beyond this blur, in microns, nuclei are blurred no further. Their light is instead replaced more and
    // more by the slide's average, which comes from farther away.
    static constexpr double MOST_BLUR = 80.0;

  private:
    // How one marker's light maps to pixels in one frame.
    struct View {
        FrameGeometry const * geometry;
        Marker const * marker;
        double sharp_sigma; // microns
        double spreading;   // microns per micron
        double light;       // electrons for a light level of 1 electron a second
    };

    // Share of the light that comes from nuclei near enough to be drawn.
    double NearbyShare(View const & view) const;
    void DrawFarLight(View const & view);
    void DrawMarker(View const & view, Shine const & shine);
    // pixel: the size of the pixels that the grade of detail is chosen for, in microns.
    void DrawNucleus(View const & view, Nucleus const & nucleus, double pixel, double light);
    void DrawHaze(View const & view, Nucleus const & nucleus, double light);
    void DrawSpots(View const & view, Nucleus const & nucleus, double light);
    void DrawBackground(View const & view);
    void DrawBlob(View const & view, Place const & place, double sigma, double depth, double light);
    double Blur(View const & view, double z, double depth) const;
    void ApplyVignetting(FrameGeometry const & geometry);

    Specimen * _specimen;
    LightLevels _levels;
    Vignetting _vignetting;
    BlobCanvas _canvas;
    std::vector<float> _picture;
    std::vector<float> _falloff; // the vignetting along one row
};

} // namespace velm::sim

#endif
