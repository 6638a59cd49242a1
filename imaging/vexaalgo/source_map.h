#ifndef VEXAALGO_SOURCE_MAP_H
#define VEXAALGO_SOURCE_MAP_H

// Where the voxels of a resampled image come from. Internal to the image libraries.

#include "vexaalgo/correction_params.h"
#include "vexacore/geometry.h"

namespace vexa {

// Positions along an axis from first up to before end; empty when they are equal.
struct Stretch {
    unsigned int first = 0;
    unsigned int end = 0;

    bool IsEmpty() const { return first >= end; }
    unsigned int GetLength() const { return IsEmpty() ? 0 : end - first; }
};

// A chromatic polynomial in voxels, for images of one offset, resolution and size.
//
// The positions are rounded as any sum of products is; but each of x and y still rises, or falls, all along
// each axis, since rounding keeps the order of numbers. So what lies between two voxels with a source inside
// has its source inside, too, exactly.
class SourceMap {
  public:
    // Resolutions that aren't positive numbers count one voxel per micron.
    SourceMap(Vector3d<float> const & offset, Resolution const & resolution,
              Vector3d<unsigned int> const & size, ChromAberParams const & params);

    // False when a coefficient isn't a finite number, or so large that positions might not be: then nothing
    // has a source, and nothing below may be asked for.
    bool IsUsable() const;

    // Whether all of z comes from where it is.
    bool KeepsZ() const;

    // The position along one axis as a function of x along the row of one y: constant + x (linear + x
    // square).
    struct Row {
        double constant;
        double linear;
        double square;

        double At(double x) const { return constant + x * (linear + square * x); }
    };
    Row GetRowX(double y) const { return {_x.constant + _x.along_y * y, _x.along_x, 0.0}; }
    Row GetRowY(double y) const { return {_y.constant + _y.along_y * y, _y.along_x, 0.0}; }

    // What is added to z.
    Row GetRowZ(double y) const
    {
        return {_z.constant + y * (_z.along_y + _z.along_yy * y), _z.along_x + _z.along_xy * y, _z.along_xx};
    }

    // How far outside the outermost voxel centres still counts as on them, in voxels: sources that are meant
    // to lie there come out beside them by rounding.
    static constexpr double tolerance = 1.0 / 65536;

    // Whether the position lies inside an axis of that size.
    static bool IsInside(double position, unsigned int size)
    {
        return position >= -tolerance && position <= (size - 1.0) + tolerance;
    }

    // The voxels of a row, or of a column, whose sources lie inside in x and y.
    Stretch GetValidX(unsigned int y) const;
    Stretch GetValidY(unsigned int x) const;

    // See GetCuttingPosition. False when nothing stays valid; the vectors are then untouched.
    bool FindValidBox(Vector3d<unsigned int> & first, Vector3d<unsigned int> & last) const;

  private:
    struct Plane {
        double constant = 0.0;
        double along_x = 0.0;
        double along_y = 0.0;

        // In the same order as along a row.
        double At(double x, double y) const { return (constant + along_y * y) + along_x * x; }
    };

    struct Surface {
        double constant = 0.0;
        double along_x = 0.0;
        double along_y = 0.0;
        double along_xx = 0.0;
        double along_xy = 0.0;
        double along_yy = 0.0;
    };

    void FindShiftsOfZ(Stretch const & x, Stretch const & y, double & lowest, double & highest) const;

    Vector3d<unsigned int> _size;
    Plane _x;
    Plane _y;
    Surface _z; // of what is added to z
};

} // namespace vexa

#endif
