#include "vexaalgo/spline_surface.h"

#include "support/every_machine.h"

#include <cmath>
#include <random>

namespace velm::test {

using vexa::SplineAxis;
using vexa::SplineRows;
using vexa::SplineSurface;

std::vector<double> Evenly(double from, double to, std::size_t count)
{
    std::vector<double> positions(count);
    for (std::size_t i = 0; i < count; ++i) {
        positions[i] = from + (to - from) * (static_cast<double>(i) + 0.5) / static_cast<double>(count);
    }
    return positions;
}

// All B-splines of an axis at a position.
std::vector<double> AllAt(SplineAxis const & axis, double position)
{
    std::vector<double> values(axis.GetDegree() + 1);
    std::size_t const first = axis.Evaluate(position, values.data());
    std::vector<double> all(axis.GetCount());
    std::copy(values.begin(), values.end(), all.begin() + static_cast<std::ptrdiff_t>(first));
    return all;
}

SplineSurface RandomSurface(SplineAxis const & x, SplineAxis const & y)
{
    SplineSurface surface(x, y);
    std::mt19937 engine(7);
    std::uniform_real_distribution<> coefficient(10.0, 20.0);
    std::vector<double> coefficients(x.GetCount() * y.GetCount());
    for (double & value : coefficients) {
        value = coefficient(engine);
    }
    surface.SetCoefficients(coefficients);
    return surface;
}

std::vector<double> Sampled(SplineSurface const & surface, std::vector<double> const & xs,
                            std::vector<double> const & ys)
{
    std::vector<double> samples;
    for (double const y : ys) {
        for (double const x : xs) {
            samples.push_back(surface.At(x, y));
        }
    }
    return samples;
}

TEST(SplineAxis, SplitsOneAmongSplinesThatAreNowhereNegative)
{
    for (unsigned int degree = 0; degree <= SplineAxis::highest_degree; ++degree) {
        for (unsigned int const patches : {1U, 2U, 4U, 9U}) {
            SplineAxis const axis(50.0, patches, degree);
            ASSERT_EQ(axis.GetCount(), patches + degree);
            for (double position = 0.0; position <= 50.0; position += 0.625) {
                double sum = 0.0;
                for (double const value : AllAt(axis, position)) {
                    EXPECT_GE(value, -1e-12);
                    sum += value;
                }
                EXPECT_NEAR(sum, 1.0, 1e-12) << degree << ' ' << patches << ' ' << position;
            }
        }
    }
}

TEST(SplineAxis, HasTheWellKnownCubicValues)
{
    // In the middle of many patches: 1/6, 2/3, 1/6 at a knot, and 1/48, 23/48, 23/48, 1/48 between two.
    SplineAxis const axis(10.0, 10, 3);
    std::vector<double> const at_knot = AllAt(axis, 5.0);
    EXPECT_NEAR(at_knot[5], 1.0 / 6.0, 1e-12);
    EXPECT_NEAR(at_knot[6], 2.0 / 3.0, 1e-12);
    EXPECT_NEAR(at_knot[7], 1.0 / 6.0, 1e-12);
    std::vector<double> const between = AllAt(axis, 4.5);
    EXPECT_NEAR(between[4], 1.0 / 48.0, 1e-12);
    EXPECT_NEAR(between[5], 23.0 / 48.0, 1e-12);
    EXPECT_NEAR(AllAt(axis, 0.0)[0], 1.0, 1e-12) << "the first and the last spline reach the ends";
    EXPECT_NEAR(AllAt(axis, 10.0)[12], 1.0, 1e-12);
}

TEST(SplineSurface, FindsTheSurfaceThatTheSamplesComeFrom)
{
    for (unsigned int const degree : {0U, 1U, 2U, 3U, 5U}) {
        SplineAxis const x(64.0, 4, degree);
        SplineAxis const y(40.0, 3, degree);
        SplineSurface const original = RandomSurface(x, y);
        std::vector<double> const xs = Evenly(0.0, 64.0, 5 + degree);
        std::vector<double> const ys = Evenly(0.0, 40.0, 9 + degree);
        SplineSurface fitted(x, y);
        ASSERT_TRUE(fitted.Fit(xs, ys, Sampled(original, xs, ys)));
        for (std::size_t i = 0; i < original.GetCoefficients().size(); ++i) {
            EXPECT_NEAR(fitted.GetCoefficients()[i], original.GetCoefficients()[i], 1e-6) << degree;
        }
    }
}

TEST(SplineSurface, FitsWithLeastSquares)
{
    // At the least sum of squares the residuals are orthogonal to every product of B-splines.
    SplineAxis const x(30.0, 2, 3);
    SplineAxis const y(20.0, 3, 3);
    std::vector<double> const xs = Evenly(0.0, 30.0, 11);
    std::vector<double> const ys = Evenly(0.0, 20.0, 8);
    std::mt19937 engine(3);
    std::vector<double> samples(xs.size() * ys.size());
    for (double & sample : samples) {
        sample = std::uniform_real_distribution<>(0.0, 100.0)(engine);
    }
    SplineSurface surface(x, y);
    ASSERT_TRUE(surface.Fit(xs, ys, samples));
    for (std::size_t a = 0; a < x.GetCount(); ++a) {
        for (std::size_t b = 0; b < y.GetCount(); ++b) {
            double sum = 0.0;
            for (std::size_t j = 0; j < ys.size(); ++j) {
                for (std::size_t i = 0; i < xs.size(); ++i) {
                    sum += (samples[i + j * xs.size()] - surface.At(xs[i], ys[j])) * AllAt(x, xs[i])[a] *
                           AllAt(y, ys[j])[b];
                }
            }
            EXPECT_NEAR(sum, 0.0, 1e-9);
        }
    }
}

TEST(SplineSurface, IsNotFittedToPositionsThatDoNotDetermineIt)
{
    SplineAxis const x(30.0, 4, 3);
    SplineSurface surface = RandomSurface(x, x);
    std::vector<double> const before = surface.GetCoefficients();
    std::vector<double> const enough = Evenly(0.0, 30.0, 8);
    for (auto const & bad : {Evenly(0.0, 30.0, 6), Evenly(0.0, 10.0, 12), std::vector<double>(9, 15.0)}) {
        EXPECT_FALSE(surface.Fit(bad, enough, std::vector<double>(bad.size() * enough.size(), 1.0)));
        EXPECT_FALSE(surface.Fit(enough, bad, std::vector<double>(bad.size() * enough.size(), 1.0)));
        EXPECT_EQ(surface.GetCoefficients(), before);
    }
}

TEST(SplineSurface, KnowsItsMean)
{
    SplineSurface const surface = RandomSurface(SplineAxis(12.0, 3, 2), SplineAxis(9.0, 2, 3));
    std::vector<double> const xs = Evenly(0.0, 12.0, 12);
    std::vector<double> const ys = Evenly(0.0, 9.0, 9);
    double mean = 0.0;
    for (double const sample : Sampled(surface, xs, ys)) {
        mean += sample / 108.0;
    }
    EXPECT_NEAR(surface.GetMean(xs, ys), mean, 1e-9);
}

TEST(SplineRows, AgreeWithSingleValuesOnAnyMachine)
{
    for (unsigned int degree = 0; degree <= SplineAxis::highest_degree; ++degree) {
        SplineAxis const x(203.0, 5, degree);
        SplineSurface const surface = RandomSurface(x, SplineAxis(17.0, 2, 3));
        std::vector<double> const xs = Evenly(0.0, 203.0, 203);
        SplineRows const rows(x, xs);
        std::vector<float> expected(xs.size());
        rows.Evaluate(surface, 4.5, expected.data());
        for (std::size_t i = 0; i < xs.size(); ++i) {
            EXPECT_NEAR(double{expected[i]}, surface.At(xs[i], 4.5), 1e-4) << degree << ' ' << xs[i];
        }
        OnEveryMachine([&] {
            std::vector<float> row(xs.size());
            rows.Evaluate(surface, 4.5, row.data());
            EXPECT_EQ(row, expected);
        });
    }
}

} // namespace velm::test
