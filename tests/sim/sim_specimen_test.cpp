#include "sim_specimen.h"

#include <algorithm>
#include <cmath>

namespace velm::sim::test {

SpecimenParams Params(std::uint64_t seed)
{
    SpecimenParams params;
    params.seed = seed;
    params.spot_kinds = 2;
    return params;
}

std::vector<Nucleus const *> NucleiIn(Specimen & specimen, long first, long last)
{
    std::vector<Nucleus const *> nuclei;
    for (long y = first; y <= last; ++y) {
        for (long x = first; x <= last; ++x) {
            if (Nucleus const * const nucleus = specimen.NucleusOf(x, y)) {
                nuclei.push_back(nucleus);
            }
        }
    }
    return nuclei;
}

// Everything that makes a slide what it is, as numbers.
std::vector<double> Fingerprint(std::vector<Nucleus const *> const & nuclei)
{
    std::vector<double> numbers;
    auto const add = [&](std::initializer_list<double> more) { numbers.insert(numbers.end(), more); };
    for (Nucleus const * const nucleus : nuclei) {
        add({nucleus->centre.x, nucleus->centre.y, nucleus->centre.z, nucleus->strength});
        for (Blob const & blob : nucleus->grades.front().blobs) {
            add({static_cast<double>(blob.x), static_cast<double>(blob.z), static_cast<double>(blob.weight)});
        }
        for (Spot const & spot : nucleus->spots) {
            add({spot.place.x, spot.place.y, spot.place.z, spot.strength});
        }
    }
    return numbers;
}

TEST(SimSpecimen, TheSameSeedGivesTheSameSlide)
{
    Specimen one(Params(7));
    Specimen other(Params(7));
    EXPECT_EQ(Fingerprint(NucleiIn(one, -20, 20)), Fingerprint(NucleiIn(other, -20, 20)));
    EXPECT_EQ(one.Background(1234.5, -99.0), other.Background(1234.5, -99.0));
    EXPECT_EQ(one.Focus().At(500.0, 700.0), other.Focus().At(500.0, 700.0));
}

TEST(SimSpecimen, TheBackgroundIsAsUnevenAsTold)
{
    SpecimenParams params = Params(7);
    auto const range = [&](double unevenness) {
        params.background_unevenness = unevenness;
        Specimen const specimen(params);
        double least = specimen.Background(0.0, 0.0);
        double most = least;
        for (int i = 0; i < 2000; ++i) {
            double const value = specimen.Background(37.0 * i, -11.0 * i);
            least = std::min(least, value);
            most = std::max(most, value);
        }
        return std::pair(least, most);
    };
    EXPECT_EQ(range(0.0), std::pair(1.0, 1.0));
    auto const [least, most] = range(1.0);
    auto const [half_least, half_most] = range(0.5);
    EXPECT_LT(least, 0.75);
    EXPECT_GT(most, 1.25);
    EXPECT_NEAR(half_most - half_least, 0.5 * (most - least), 1e-12);
}

TEST(SimSpecimen, OtherSeedsGiveOtherSlides)
{
    Specimen one(Params(7));
    Specimen other(Params(8));
    EXPECT_NE(Fingerprint(NucleiIn(one, -20, 20)), Fingerprint(NucleiIn(other, -20, 20)));
    EXPECT_NE(one.Focus().At(500.0, 700.0), other.Focus().At(500.0, 700.0));
}

TEST(SimSpecimen, WhatIsSeenDoesNotDependOnWhatWasSeenBefore)
{
    Specimen straight(Params(3));
    auto const expected = Fingerprint(NucleiIn(straight, 0, 12));
    Specimen wandering(Params(3));
    NucleiIn(wandering, 5, 60);
    NucleiIn(wandering, -400, -260);
    wandering.Trim();
    EXPECT_EQ(Fingerprint(NucleiIn(wandering, 0, 12)), expected);
}

TEST(SimSpecimen, TheSlideGoesOnFarFromTheOrigin)
{
    Specimen specimen(Params(5));
    EXPECT_GT(NucleiIn(specimen, 4100, 4160).size(), 100u);
    EXPECT_GT(NucleiIn(specimen, -4160, -4100).size(), 100u);
}

TEST(SimSpecimen, FieldsHoldAFewDozenNucleiAndSomeAreEmpty)
{
    Specimen specimen(Params(1));
    int empty = 0;
    int crowded = 0;
    std::size_t most = 0;
    for (long field = 0; field < 400; ++field) {
        std::size_t count = 0;
        for (long y = 0; y < 9; ++y) {
            for (long x = 0; x < 12; ++x) {
                count +=
                    specimen.NucleusOf(200 + field % 20 * 12 + x, field / 20 * 9 + y) != nullptr ? 1u : 0u;
            }
        }
        empty += count == 0 ? 1 : 0;
        crowded += count >= 10 ? 1 : 0;
        most = std::max(most, count);
        specimen.Trim();
    }
    EXPECT_GT(empty, 2);
    EXPECT_GT(crowded, 200);
    EXPECT_LE(most, 60u);
}

TEST(SimSpecimen, ThereIsSomethingToSeeAtTheOriginOfEverySlide)
{
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        Specimen specimen(Params(seed));
        std::size_t const count = NucleiIn(specimen, -5, 4).size();
        EXPECT_GE(count, 10u) << seed;
        EXPECT_LE(count, 60u) << seed;
    }
}

TEST(SimSpecimen, NucleiAreEightToTwelveMicronsWideAndAFewThick)
{
    Specimen specimen(Params(1));
    for (Nucleus const * const nucleus : NucleiIn(specimen, 0, 60)) {
        Outline const outline = ProjectedOutline(*nucleus);
        EXPECT_GE(2.0 * outline.semi_minor, 7.5);
        EXPECT_LE(2.0 * outline.semi_major, 12.0);
        EXPECT_GE(2.0 * nucleus->semi_axes[2], 3.0);
        EXPECT_LE(2.0 * nucleus->semi_axes[2], 6.0);
    }
}

TEST(SimSpecimen, NucleiTouchButDoNotLieInEachOther)
{
    Specimen specimen(Params(1));
    auto const nuclei = NucleiIn(specimen, 0, 60);
    double closest = 1000.0;
    for (std::size_t i = 0; i < nuclei.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            Place const & a = nuclei[i]->centre;
            Place const & b = nuclei[j]->centre;
            closest = std::min(closest, std::hypot(a.x - b.x, a.y - b.y));
        }
    }
    EXPECT_GE(closest, 8.5);
    EXPECT_LT(closest, 10.0);
}

TEST(SimSpecimen, NucleiLieOnTheFocusSurface)
{
    Specimen specimen(Params(2));
    for (Nucleus const * const nucleus : NucleiIn(specimen, 0, 60)) {
        EXPECT_NEAR(nucleus->centre.z, specimen.Focus().At(nucleus->centre.x, nucleus->centre.y), 1.0);
    }
}

TEST(SimSpecimen, TheFocusSurfaceIsTiltedAndWavesGently)
{
    FocusSurface const surface(4, 500.0, 2.0, 1.5);
    EXPECT_NEAR(std::hypot(surface.TiltX(), surface.TiltY()), 0.002, 1e-12);
    double most = 0.0;
    for (double x = -5000.0; x < 5000.0; x += 50.0) {
        double const plane = 500.0 + surface.TiltX() * x;
        most = std::max(most, std::abs(surface.At(x, 0.0) - plane));
    }
    EXPECT_LE(most, 1.5);
    EXPECT_GT(most, 0.75);
}

TEST(SimSpecimen, EveryGradeOfDetailHasTheSameLightCentreAndSpread)
{
    Specimen specimen(Params(9));
    Nucleus const & nucleus = *NucleiIn(specimen, 0, 20).front();
    Blob const & whole = nucleus.grades.back().blobs.front();
    ASSERT_EQ(nucleus.grades.back().blobs.size(), 1u);
    std::size_t fewer = 100000;
    for (Grade const & grade : nucleus.grades) {
        double weight = 0.0, x = 0.0, square = 0.0;
        for (Blob const & blob : grade.blobs) {
            double const w = static_cast<double>(blob.weight);
            double const dx = static_cast<double>(blob.x - whole.x);
            double const dy = static_cast<double>(blob.y - whole.y);
            double const sigma = static_cast<double>(blob.sigma);
            weight += w;
            x += w * dx;
            square += w * (0.5 * (dx * dx + dy * dy) + sigma * sigma);
        }
        EXPECT_NEAR(weight, 1.0, 1e-4);
        EXPECT_NEAR(x, 0.0, 1e-4);
        EXPECT_NEAR(square, static_cast<double>(whole.sigma) * static_cast<double>(whole.sigma), 1e-3);
        EXPECT_LT(grade.blobs.size(), fewer);
        fewer = grade.blobs.size();
    }
}

TEST(SimSpecimen, RougherGradesAreTakenForBlurAndForLargePixels)
{
    Specimen specimen(Params(9));
    Nucleus const & nucleus = *NucleiIn(specimen, 0, 20).front();
    EXPECT_EQ(&nucleus.BlobsFor(0.1, 0.1), &nucleus.grades.front().blobs);
    EXPECT_EQ(&nucleus.BlobsFor(30.0, 0.1), &nucleus.grades.back().blobs);
    EXPECT_EQ(&nucleus.BlobsFor(0.1, 10.0), &nucleus.grades.back().blobs);
    EXPECT_LT(nucleus.BlobsFor(1.3, 0.1).size(), nucleus.grades.front().blobs.size());
}

// How far out a place lies in an ellipsoid: 0 in the centre, 1 on the surface.
double DepthIn(Nucleus const & nucleus, Place const & place)
{
    std::array<double, 3> const d = {place.x - nucleus.centre.x, place.y - nucleus.centre.y,
                                     place.z - nucleus.centre.z};
    double square = 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double along = 0.0;
        for (std::size_t row = 0; row < 3; ++row) {
            along += nucleus.rotation[row][axis] * d[row];
        }
        square += along * along / (nucleus.semi_axes[axis] * nucleus.semi_axes[axis]);
    }
    return std::sqrt(square);
}

TEST(SimSpecimen, SpotsLieInsideTheirNucleus)
{
    Specimen specimen(Params(9));
    std::size_t spots = 0;
    for (Nucleus const * const nucleus : NucleiIn(specimen, 0, 30)) {
        for (Spot const & spot : nucleus->spots) {
            EXPECT_LT(DepthIn(*nucleus, spot.place), 0.9);
            EXPECT_LT(spot.kind, 2u);
            ++spots;
        }
    }
    EXPECT_GT(spots, 100u);
}

TEST(SimSpecimen, TheOutlineOfALeaningEllipsoidIsItsShadow)
{
    Specimen specimen(Params(9));
    Nucleus const & nucleus = *NucleiIn(specimen, 0, 20).front();
    Outline const outline = ProjectedOutline(nucleus);
    // The farthest that any point of the ellipsoid reaches along a direction of the picture.
    for (double angle = 0.0; angle < 3.0; angle += 0.25) {
        double reach2 = 0.0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double const along =
                std::cos(angle) * nucleus.rotation[0][axis] + std::sin(angle) * nucleus.rotation[1][axis];
            reach2 += along * along * nucleus.semi_axes[axis] * nucleus.semi_axes[axis];
        }
        double const c = outline.semi_major * std::cos(angle - outline.angle);
        double const s = outline.semi_minor * std::sin(angle - outline.angle);
        EXPECT_NEAR(std::sqrt(reach2), std::hypot(c, s), 1e-9);
    }
}

} // namespace velm::sim::test
