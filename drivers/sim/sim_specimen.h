#ifndef SIM_SPECIMEN_H
#define SIM_SPECIMEN_H

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace velm::sim {

// A place on the slide, in microns; z grows with the position of the Z drive.
struct Place {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

// A rectangle of the slide, in microns.
struct Area {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;

    bool Contains(double x, double y) const { return x >= left && x < right && y >= top && y < bottom; }
};

// A Gaussian share of a body's light. x, y, z: centre, in microns from the body's own; sigma: its standard
// deviation across the optical axis; depth: that of the shares that were merged into it along the axis, 0 for
// a single one; weight: its share of the body's light.
struct Blob {
    float x;
    float y;
    float z;
    float sigma;
    float depth;
    float weight;
};

// A small bright spot of one marker inside a nucleus.
struct Spot {
    unsigned int kind; // which of the specimen's spot kinds
    Place place;
    double sigma;    // microns
    double strength; // relative to the average spot
};

// The blobs of a nucleus at one grade of detail.
struct Grade {
    double spread; // standard deviation that merging into its blobs bridged, microns
    std::vector<Blob> blobs;
};

// A nucleus: an ellipsoid of textured light.
//
// The texture is a sum of Gaussian blobs, because those can be blurred exactly and drawn at any focus. They
// are held at three grades of detail, each with the same total light and the same second moments, so that a
// far defocused nucleus doesn't cost as much as a sharp one.
struct Nucleus {
    long cell_x;
    long cell_y;
    Place centre;
    std::array<double, 3> semi_axes;               // microns
    std::array<std::array<double, 3>, 3> rotation; // columns: the directions of the semi-axes
    double strength;                               // relative to the average nucleus
    std::vector<Grade> grades;                     // from the finest to a single blob
    std::vector<Spot> spots;

    // The roughest grade that looks the same under a blur, in microns, on pixels of a size, in microns.
    std::vector<Blob> const & BlobsFor(double blur, double pixel) const;
};

// What the outline of an ellipsoid looks like from above.
struct Outline {
    double semi_major; // microns
    double semi_minor;
    double angle; // of the major axis to the x axis, radians
};

Outline ProjectedOutline(Nucleus const & nucleus);

// The height of best focus over the slide: a tilted plane with gentle waves.
class FocusSurface {
  public:
    struct Wave {
        double amplitude; // microns
        double kx;        // radians per micron
        double ky;
        double phase;
    };

    // height: at the origin without waves, microns; tilt: microns per millimetre; wave: the largest
    // deviation from the plane, microns.
    FocusSurface(std::uint64_t seed, double height, double tilt, double wave);

    double At(double x, double y) const;

    double Height() const { return _height; }
    double TiltX() const { return _tilt_x; } // microns per micron
    double TiltY() const { return _tilt_y; }
    std::array<Wave, 3> const & Waves() const { return _waves; }

  private:
    double _height;
    double _tilt_x;
    double _tilt_y;
    std::array<Wave, 3> _waves;
};

struct SpecimenParams {
    std::uint64_t seed = 1;
    double density = 1.0;               // 1: one to three dozen nuclei in a field of 140 by 105 microns
    unsigned int spot_kinds = 0;        // markers that label spots
    double focus_height = 500.0;        // microns
    double focus_tilt = 1.0;            // microns per millimetre
    double focus_wave = 1.5;            // microns
    double background_unevenness = 1.0; // 0: as of a film of dye; 1: half the average to half as much again
};

// A slide that goes on in every direction, the same for the same seed. It is made cell by cell when somebody
// looks, and kept for a while; what is made doesn't depend on when or in what order. Not locked.
class Specimen {
  public:
    // Side of the square cells, in microns; a cell holds one nucleus at most, and fading is kept by cell.
    static constexpr double CELL = 12.0;

    static long CellOf(double coordinate);

    explicit Specimen(SpecimenParams const & params);

    FocusSurface const & Focus() const { return _focus; }

    // The nucleus that belongs to the cell, or null; it may reach over the cell's border. Valid until Trim.
    Nucleus const * NucleusOf(long cell_x, long cell_y);

    // Nuclei to a square micron, on average over a large part of the slide.
    double AverageDensity();

    // Spots of one kind to a nucleus, on average.
    static constexpr double AVERAGE_SPOTS = 2.5;

    // Forgets what hasn't been looked at for long, if there is much; it comes back the same.
    void Trim();

    // How much of the average faint light there is at a place, 1 on average.
    double Background(double x, double y) const;

    // The finest structure of Background, in microns.
    static constexpr double BACKGROUND_LATTICE = 60.0;

  private:
    // The chance that a cell holds a nucleus: slow waves of crowded and of empty parts.
    double Occupancy(double x, double y) const;

    // What a cell would hold if its neighbours left it room.
    struct Candidate {
        double x;
        double y;
        double luck; // it exists where this is below the occupancy
        std::uint64_t rank;
    };
    Candidate CandidateOf(long cell_x, long cell_y) const;
    bool Grows(Candidate const & candidate, long cell_x, long cell_y) const;
    std::unique_ptr<Nucleus> Make(long cell_x, long cell_y) const;

    SpecimenParams _params;
    FocusSurface _focus;
    // What was made, null for an empty cell. A cell that is looked at again moves from the older ones to the
    // others; when these are many, the older ones go.
    using Cells = std::unordered_map<std::uint64_t, std::unique_ptr<Nucleus>>;
    Cells _cells;
    Cells _older_cells;
    double _average_density = -1.0; // below 0 until it is asked for
};

} // namespace velm::sim

#endif
