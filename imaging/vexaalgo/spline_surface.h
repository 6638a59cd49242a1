#ifndef VEXAALGO_SPLINE_SURFACE_H
#define VEXAALGO_SPLINE_SURFACE_H

// Tensor-product B-splines over a picture. Internal to the image libraries.

#include "vexacore/export.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace vexa {

// The B-splines of one degree along an axis from 0 to a length: patches with evenly spaced knots between
// them, and knots of full multiplicity at both ends.
class VEXA_API SplineAxis {
  public:
    static constexpr unsigned int highest_degree = 15;

    // length above 0, patches at least 1, degree at most the highest.
    SplineAxis(double length, unsigned int patches, unsigned int degree);

    // Number of B-splines.
    std::size_t GetCount() const { return std::size_t{_patches} + _degree; }
    unsigned int GetPatches() const { return _patches; }
    unsigned int GetDegree() const { return _degree; }

    // Values at a position from 0 to the length: those of the degree + 1 B-splines that needn't be 0 there.
    // Returns the number of the first of them.
    std::size_t Evaluate(double position, double * values) const;

  private:
    double Knot(std::ptrdiff_t number) const; // 0 at the axis's begin; negative ones lie there, too

    double _length;
    unsigned int _patches;
    unsigned int _degree;
};

// A sum of products of the B-splines of two axes.
class VEXA_API SplineSurface {
  public:
    SplineSurface(SplineAxis const & x, SplineAxis const & y);

    // Takes the coefficients, that of the i-th B-spline in x and the j-th in y at i + j * count in x.
    void SetCoefficients(std::vector<double> coefficients) { _coefficients = std::move(coefficients); }
    std::vector<double> const & GetCoefficients() const { return _coefficients; }

    // Fits the surface by least squares to samples on a grid: that at (xs[i], ys[j]) is samples[i + j *
    // xs.size()]. False when the positions don't determine the surface, or hardly do so: where errors of the
    // samples would come out hundreds of times as large. It is then as it was.
    bool Fit(std::vector<double> const & xs, std::vector<double> const & ys, std::vector<double> samples);

    // The value at one place, summed up one by one.
    double At(double x, double y) const;

    // The mean over all places (xs[i], ys[j]).
    double GetMean(std::vector<double> const & xs, std::vector<double> const & ys) const;

    SplineAxis const & GetX() const { return _x; }
    SplineAxis const & GetY() const { return _y; }

  private:
    SplineAxis _x;
    SplineAxis _y;
    std::vector<double> _coefficients;
};

// Evaluates surfaces along rows of the same positions, in single precision.
class VEXA_API SplineRows {
  public:
    // xs: ascending.
    SplineRows(SplineAxis const & x, std::vector<double> const & xs);

    // row: a value for each position. The surface must have the axis.
    void Evaluate(SplineSurface const & surface, double y, float * row) const;

  private:
    // Positions for which the same B-splines count.
    struct Run {
        std::size_t begin;
        std::size_t end;
        std::size_t first_spline;
    };

    std::size_t _count;
    std::size_t _terms;
    std::vector<Run> _runs;
    std::vector<float> _values; // of the first B-spline that counts at all positions, then of the second, ...
};

} // namespace vexa

#endif
