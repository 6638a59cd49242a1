#include "vexaalgo/spline_surface.h"

#include "vexacore/cpu.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace vexa {

namespace {

constexpr std::size_t most_terms = SplineAxis::highest_degree + 1;

// Pivots below this part of the largest diagonal element multiply the errors of samples by some hundreds.
constexpr double singular = 1e-4;

// The values of an axis's B-splines at positions, of which few are not 0.
class Basis {
  public:
    Basis(SplineAxis const & axis, std::vector<double> const & positions)
        : _terms(axis.GetDegree() + 1), _first(positions.size()), _values(positions.size() * _terms)
    {
        for (std::size_t i = 0; i < positions.size(); ++i) {
            _first[i] = axis.Evaluate(positions[i], _values.data() + i * _terms);
        }
    }

    std::size_t GetTerms() const { return _terms; }
    std::size_t GetPositions() const { return _first.size(); }
    std::size_t GetFirst(std::size_t position) const { return _first[position]; }
    double const * GetValues(std::size_t position) const { return _values.data() + position * _terms; }

  private:
    std::size_t _terms;
    std::vector<std::size_t> _first;
    std::vector<double> _values;
};

// The normal equations of a fit along one axis, B'B c = B's, whose matrix has a band of 2 terms - 1.
class NormalEquations {
  public:
    NormalEquations(Basis const & basis, std::size_t unknowns)
        : _basis(&basis), _unknowns(unknowns), _terms(basis.GetTerms()), _band(unknowns * _terms)
    {
        for (std::size_t position = 0; position < basis.GetPositions(); ++position) {
            double const * const values = basis.GetValues(position);
            for (std::size_t i = 0; i < _terms; ++i) {
                for (std::size_t j = 0; j <= i; ++j) {
                    At(basis.GetFirst(position) + i, basis.GetFirst(position) + j) += values[i] * values[j];
                }
            }
        }
    }

    // Cholesky's decomposition, in place. False when the matrix is singular.
    bool Decompose()
    {
        double largest = 0.0;
        for (std::size_t i = 0; i < _unknowns; ++i) {
            largest = std::max(largest, At(i, i));
        }
        for (std::size_t i = 0; i < _unknowns; ++i) {
            for (std::size_t j = FirstOf(i); j <= i; ++j) {
                double sum = At(i, j);
                for (std::size_t k = FirstOf(i); k < j; ++k) {
                    sum -= At(i, k) * (k >= FirstOf(j) ? At(j, k) : 0.0);
                }
                if (j < i) {
                    At(i, j) = sum / At(j, j);
                } else if (sum > singular * largest) {
                    At(i, i) = std::sqrt(sum);
                } else {
                    return false;
                }
            }
        }
        return true;
    }

    // The coefficients of samples that lie stride values apart, after the decomposition.
    std::vector<double> Solve(double const * samples, std::size_t stride) const
    {
        std::vector<double> c(_unknowns);
        for (std::size_t position = 0; position < _basis->GetPositions(); ++position) {
            double const * const values = _basis->GetValues(position);
            for (std::size_t i = 0; i < _terms; ++i) {
                c[_basis->GetFirst(position) + i] += values[i] * samples[position * stride];
            }
        }
        for (std::size_t i = 0; i < _unknowns; ++i) {
            for (std::size_t k = FirstOf(i); k < i; ++k) {
                c[i] -= At(i, k) * c[k];
            }
            c[i] /= At(i, i);
        }
        for (std::size_t i = _unknowns; i-- > 0;) {
            c[i] /= At(i, i);
            for (std::size_t k = FirstOf(i); k < i; ++k) {
                c[k] -= At(i, k) * c[i];
            }
        }
        return c;
    }

  private:
    // The first column of a row's band.
    std::size_t FirstOf(std::size_t row) const { return row + 1 > _terms ? row + 1 - _terms : 0; }

    // Of the lower half.
    double & At(std::size_t row, std::size_t column) { return _band[row * _terms + (row - column)]; }
    double At(std::size_t row, std::size_t column) const { return _band[row * _terms + (row - column)]; }

    Basis const * _basis;
    std::size_t _unknowns;
    std::size_t _terms;
    std::vector<double> _band;
};

// row[i] (+)= the sum of so many terms, in their order.
template <std::size_t Terms, bool Adds>
VEXA_LOOP_BODY void SumTermsBody(float const * coefficients, float const * values, std::size_t stride,
                                 std::size_t count, float * __restrict row)
{
    for (std::size_t i = 0; i < count; ++i) {
        float sum = Adds ? row[i] : 0.0F;
        for (std::size_t term = 0; term < Terms; ++term) {
            sum += coefficients[term] * values[term * stride + i];
        }
        row[i] = sum;
    }
}

VEXA_LOOP_BODY void SumAllTermsBody(float const * coefficients, float const * values, std::size_t terms,
                                    std::size_t stride, std::size_t count, float * row)
{
    std::size_t term = 0;
    if (terms >= 4) { // the degree that is asked for most
        SumTermsBody<4, false>(coefficients, values, stride, count, row);
        term = 4;
    } else {
        SumTermsBody<1, false>(coefficients, values, stride, count, row);
        term = 1;
    }
    for (; term < terms; ++term) {
        SumTermsBody<1, true>(coefficients + term, values + term * stride, stride, count, row);
    }
}

#if VEXA_HAS_AVX2
VEXA_AVX2 void SumAllTermsAvx2(float const * coefficients, float const * values, std::size_t terms,
                               std::size_t stride, std::size_t count, float * row)
{
    SumAllTermsBody(coefficients, values, terms, stride, count, row);
}
#endif

void SumAllTerms(float const * coefficients, float const * values, std::size_t terms, std::size_t stride,
                 std::size_t count, float * row)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        SumAllTermsAvx2(coefficients, values, terms, stride, count, row);
        return;
    }
#endif
    SumAllTermsBody(coefficients, values, terms, stride, count, row);
}

// The means of an axis's B-splines over positions.
std::vector<double> MeansOf(SplineAxis const & axis, std::vector<double> const & positions)
{
    std::vector<double> means(axis.GetCount());
    std::array<double, most_terms> values;
    for (double const position : positions) {
        std::size_t const first = axis.Evaluate(position, values.data());
        for (std::size_t i = 0; i <= axis.GetDegree(); ++i) {
            means[first + i] += values[i] / static_cast<double>(positions.size());
        }
    }
    return means;
}

} // namespace

SplineAxis::SplineAxis(double length, unsigned int patches, unsigned int degree)
    : _length(length), _patches(patches), _degree(degree)
{
}

double SplineAxis::Knot(std::ptrdiff_t number) const
{
    auto const inside = std::clamp<std::ptrdiff_t>(number, 0, _patches);
    return static_cast<double>(inside) * _length / _patches;
}

// Cox's and de Boor's recurrence, as the algorithm A2.2 of Piegl and Tiller, The NURBS Book.
std::size_t SplineAxis::Evaluate(double position, double * values) const
{
    auto const patch = std::min(static_cast<std::size_t>(std::max(position, 0.0) * _patches / _length),
                                std::size_t{_patches} - 1);
    auto const knot = static_cast<std::ptrdiff_t>(patch);
    values[0] = 1.0;
    for (std::ptrdiff_t degree = 1; degree <= static_cast<std::ptrdiff_t>(_degree); ++degree) {
        double saved = 0.0;
        for (std::ptrdiff_t i = 0; i < degree; ++i) {
            double const right = Knot(knot + i + 1);
            double const left = Knot(knot + i + 1 - degree);
            double const share = values[i] / (right - left);
            values[i] = saved + (right - position) * share;
            saved = (position - left) * share;
        }
        values[degree] = saved;
    }
    return patch;
}

SplineSurface::SplineSurface(SplineAxis const & x, SplineAxis const & y)
    : _x(x), _y(y), _coefficients(x.GetCount() * y.GetCount())
{
}

// With a grid of samples the fit falls into fits along x, one for each row, and fits of their coefficients
// along y.
bool SplineSurface::Fit(std::vector<double> const & xs, std::vector<double> const & ys,
                        std::vector<double> samples)
{
    Basis const basis_x(_x, xs);
    Basis const basis_y(_y, ys);
    NormalEquations along_x(basis_x, _x.GetCount());
    NormalEquations along_y(basis_y, _y.GetCount());
    if (!along_x.Decompose() || !along_y.Decompose()) {
        return false;
    }
    std::vector<double> rows;
    rows.reserve(_x.GetCount() * ys.size());
    for (std::size_t j = 0; j < ys.size(); ++j) {
        std::vector<double> const row = along_x.Solve(samples.data() + j * xs.size(), 1);
        rows.insert(rows.end(), row.begin(), row.end());
    }
    for (std::size_t i = 0; i < _x.GetCount(); ++i) {
        std::vector<double> const column = along_y.Solve(rows.data() + i, _x.GetCount());
        for (std::size_t j = 0; j < column.size(); ++j) {
            _coefficients[i + j * _x.GetCount()] = column[j];
        }
    }
    return true;
}

double SplineSurface::At(double x, double y) const
{
    std::array<double, most_terms> values_x;
    std::array<double, most_terms> values_y;
    std::size_t const first_x = _x.Evaluate(x, values_x.data());
    std::size_t const first_y = _y.Evaluate(y, values_y.data());
    double sum = 0.0;
    for (std::size_t j = 0; j <= _y.GetDegree(); ++j) {
        for (std::size_t i = 0; i <= _x.GetDegree(); ++i) {
            sum += _coefficients[first_x + i + (first_y + j) * _x.GetCount()] * values_x[i] * values_y[j];
        }
    }
    return sum;
}

double SplineSurface::GetMean(std::vector<double> const & xs, std::vector<double> const & ys) const
{
    std::vector<double> const means_x = MeansOf(_x, xs);
    std::vector<double> const means_y = MeansOf(_y, ys);
    double sum = 0.0;
    for (std::size_t j = 0; j < means_y.size(); ++j) {
        for (std::size_t i = 0; i < means_x.size(); ++i) {
            sum += _coefficients[i + j * means_x.size()] * means_x[i] * means_y[j];
        }
    }
    return sum;
}

SplineRows::SplineRows(SplineAxis const & x, std::vector<double> const & xs)
    : _count(xs.size()), _terms(x.GetDegree() + 1), _values(_count * _terms)
{
    std::array<double, most_terms> values;
    for (std::size_t i = 0; i < _count; ++i) {
        std::size_t const first = x.Evaluate(xs[i], values.data());
        if (_runs.empty() || _runs.back().first_spline != first) {
            _runs.push_back({i, i, first});
        }
        _runs.back().end = i + 1;
        for (std::size_t term = 0; term < _terms; ++term) {
            _values[term * _count + i] = static_cast<float>(values[term]);
        }
    }
}

void SplineRows::Evaluate(SplineSurface const & surface, double y, float * row) const
{
    std::size_t const splines = surface.GetX().GetCount();
    std::array<double, most_terms> values;
    std::size_t const first = surface.GetY().Evaluate(y, values.data());
    std::array<float, most_terms> coefficients;
    for (Run const & run : _runs) {
        for (std::size_t i = 0; i < _terms; ++i) {
            double sum = 0.0;
            for (std::size_t j = 0; j <= surface.GetY().GetDegree(); ++j) {
                sum += surface.GetCoefficients()[run.first_spline + i + (first + j) * splines] * values[j];
            }
            coefficients[i] = static_cast<float>(sum);
        }
        SumAllTerms(coefficients.data(), _values.data() + run.begin, _terms, _count, run.end - run.begin,
                    row + run.begin);
    }
}

} // namespace vexa
