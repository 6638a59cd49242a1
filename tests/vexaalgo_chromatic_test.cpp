#include "vexaalgo/chromatic.h"

#include "support/every_machine.h"
#include "support/voxels.h"

#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace velm::test {

using vexa::ChromAberParams;
using vexa::Resolution;
using Image = vexa::Image3d<unsigned short>;
using Sizes = vexa::Vector3d<unsigned int>;
using Floats = vexa::Vector3d<float>;
using Place = std::array<double, 3>;

constexpr double tolerance = 1.0 / 65536; // of a voxel, as the header says

Image Corrected(Image const & in, ChromAberParams const & params, bool cut = false)
{
    Image out;
    vexa::CorrectChromaticAberration(in, out, params, cut);
    return out;
}

struct CutBox {
    Sizes first;
    Sizes last;

    bool operator==(CutBox const & other) const { return first == other.first && last == other.last; }
    bool Holds(Sizes const & at) const
    {
        return first.x <= at.x && at.x <= last.x && first.y <= at.y && at.y <= last.y && first.z <= at.z &&
               at.z <= last.z;
    }
};

std::ostream & operator<<(std::ostream & out, CutBox const & box)
{
    return out << box.first << " to " << box.last;
}

CutBox CutFor(Image const & geometry, ChromAberParams const & params)
{
    CutBox box;
    vexa::GetCuttingPosition(geometry.offset, geometry.resolution, geometry.size, params, box.first,
                             box.last);
    return box;
}

ChromAberParams Identity()
{
    ChromAberParams params;
    params.SetIdentity();
    return params;
}

ChromAberParams Shift(double x, double y, double z)
{
    ChromAberParams params = Identity();
    params.x_plane[0] = x;
    params.y_plane[0] = y;
    params.z_surface[0] = z;
    return params;
}

// The polynomial as it is written down, in microns.
Place Mapped(ChromAberParams const & p, Place const & at)
{
    auto const [x, y, z] = at;
    return {p.x_plane[0] + p.x_plane[1] * x + p.x_plane[2] * y,
            p.y_plane[0] + p.y_plane[1] * x + p.y_plane[2] * y,
            z + p.z_surface[0] + p.z_surface[1] * x + p.z_surface[2] * y + p.z_surface[3] * x * x +
                p.z_surface[4] * x * y + p.z_surface[5] * y * y};
}

Place PlaceOf(Image const & image, Sizes const & voxel)
{
    Floats const res = image.resolution.GetRes();
    return {double{image.offset.x} + voxel.x / double{res.x},
            double{image.offset.y} + voxel.y / double{res.y},
            double{image.offset.z} + voxel.z / double{res.z}};
}

// Where a voxel comes from, in voxels.
Place SourceOf(Image const & image, ChromAberParams const & params, Sizes const & voxel)
{
    Place place = Mapped(params, PlaceOf(image, voxel));
    for (unsigned int i = 0; i < 3; ++i) {
        place[i] = (place[i] - double{image.offset[i]}) * double{image.resolution.GetRes()[i]};
    }
    place[2] = image.size.z == 1 ? 0.0 : place[2];
    return place;
}

bool IsInside(Image const & image, Place const & source, unsigned int axes)
{
    for (unsigned int i = 0; i < axes; ++i) {
        if (!(source[i] >= -tolerance && source[i] <= image.size[i] - 1.0 + tolerance)) {
            return false;
        }
    }
    return true;
}

// The weighted sum of all voxels: the definition of linear interpolation.
double Interpolated(Image const & image, Place const & source)
{
    auto const weight = [&](unsigned int axis, unsigned int voxel) {
        double const inside = std::min(std::max(source[axis], 0.0), image.size[axis] - 1.0);
        return std::max(0.0, 1.0 - std::abs(inside - voxel));
    };
    double sum = 0.0;
    for (unsigned int z = 0; z < image.size.z; ++z) {
        for (unsigned int y = 0; y < image.size.y; ++y) {
            for (unsigned int x = 0; x < image.size.x; ++x) {
                sum += weight(0, x) * weight(1, y) * weight(2, z) * image.GetVoxel(x, y, z);
            }
        }
    }
    return sum;
}

template <typename Use>
void ForEachVoxel(Sizes const & size, Use use)
{
    for (unsigned int z = 0; z < size.z; ++z) {
        for (unsigned int y = 0; y < size.y; ++y) {
            for (unsigned int x = 0; x < size.x; ++x) {
                use(Sizes(x, y, z));
            }
        }
    }
}

// Images and polynomials at random, the same on every run.
class Random {
  public:
    explicit Random(unsigned int seed) : _engine(seed) {}

    unsigned int Below(unsigned int limit) { return std::uniform_int_distribution<>(0, limit - 1)(_engine); }
    double Within(double limit) { return std::uniform_real_distribution<>(-limit, limit)(_engine); }

    Image MakeImage(unsigned int longest)
    {
        auto image = PatternImage<unsigned short>(1 + Below(longest), 1 + Below(longest),
                                                  1 + Below(longest / 2 + 1), Below(1000));
        image.offset = {static_cast<float>(Within(50.0)), static_cast<float>(Within(50.0)),
                        static_cast<float>(Within(5.0))};
        image.resolution =
            Resolution(static_cast<float>(5.0 + Within(3.0)), static_cast<float>(5.0 + Within(3.0)),
                       static_cast<float>(2.0 + Within(1.0)));
        return image;
    }

    // A polynomial that moves by some voxels within an image; turn: how far x and y may mix.
    ChromAberParams MakeParams(Image const & image, double turn)
    {
        ChromAberParams params = Identity();
        double const u = image.offset.x;
        double const v = image.offset.y;
        params.x_plane[1] += Within(turn);
        params.x_plane[2] = Within(turn);
        params.y_plane[1] = Within(turn);
        params.y_plane[2] += Within(turn);
        for (double & coefficient : params.z_surface) {
            coefficient = Within(turn);
        }
        // Coefficients of places far from the origin move a lot: the constants bring the image back.
        Place const moved = Mapped(params, {u, v, 0.0});
        params.x_plane[0] += u - moved[0] + Within(0.5);
        params.y_plane[0] += v - moved[1] + Within(0.5);
        params.z_surface[0] += Within(0.7) - moved[2];
        return params;
    }

  private:
    std::mt19937 _engine;
};

TEST(CorrectChromaticAberration, FollowsTheDefinitionForAnySizesAndPolynomials)
{
    Random random(1);
    for (int round = 0; round < 300; ++round) {
        Image const in = random.MakeImage(11);
        ChromAberParams const params = random.MakeParams(in, round % 3 == 0 ? 0.3 : 0.02);
        Image const out = Corrected(in, params);
        ASSERT_EQ(out.size, in.size);
        ForEachVoxel(in.size, [&](Sizes const & at) {
            Place const source = SourceOf(in, params, at);
            double const expected = IsInside(in, source, 3) ? Interpolated(in, source) : 0.0;
            ASSERT_NEAR(out.GetVoxel(at.x, at.y, at.z), expected, 0.52)
                << "round " << round << ", " << in.size << " at " << at;
        });
    }
}

TEST(CorrectChromaticAberration, IsTheSameOnAnyMachine)
{
    Random random(2);
    for (int round = 0; round < 6; ++round) {
        auto in = PatternImage<unsigned short>(131, 83, round % 2 == 0 ? 5 : 1, 7);
        in.resolution = Resolution(9.7F, 9.7F, 3.0F);
        in.offset = {3.0F, 40.0F, 0.0F};
        ChromAberParams const params = random.MakeParams(in, 0.004);
        vexa::SetThreadCount(1);
        vexa::SetInstructionSet(vexa::InstructionSet::Plain);
        std::vector<unsigned short> const expected = Voxels(Corrected(in, params));
        OnEveryMachine([&] { EXPECT_EQ(Voxels(Corrected(in, params)), expected); });
    }
}

TEST(CorrectChromaticAberration, LeavesTheImageAsItIsForTheIdentity)
{
    Random random(3);
    for (int round = 0; round < 100; ++round) {
        Image const in = random.MakeImage(20);
        EXPECT_EQ(Voxels(Corrected(in, Identity())), Voxels(in)) << in.size;
    }
    auto const unscaled = PatternImage<unsigned short>(17, 9, 3);
    EXPECT_EQ(Voxels(Corrected(unscaled, Identity())), Voxels(unscaled)) << "an undefined resolution";
}

TEST(CorrectChromaticAberration, ShiftsByWholeVoxelsExactlyAndIsBlackOutside)
{
    auto in = PatternImage<unsigned short>(23, 14, 6);
    in.resolution = Resolution(3.1F, 6.45F, 0.7F);
    in.offset = {123.4F, -56.7F, 8.9F};
    Floats const res = in.resolution.GetRes();
    Image const out = Corrected(in, Shift(3.0 / double{res.x}, -2.0 / double{res.y}, 1.0 / double{res.z}));
    ForEachVoxel(in.size, [&](Sizes const & at) {
        bool const inside = at.x + 3 < in.size.x && at.y >= 2 && at.z + 1 < in.size.z;
        EXPECT_EQ(out.GetVoxel(at.x, at.y, at.z), inside ? in.GetVoxel(at.x + 3, at.y - 2, at.z + 1) : 0)
            << at;
    });
}

// A smooth specimen: spots of some voxels' width, so that linear interpolation is good to a percent.
double SpecimenAt(Place const & at)
{
    Place const spots[] = {{6.0, 5.0, 2.0}, {2.0, 8.0, 3.5}, {8.5, 2.0, 4.5}, {4.5, 2.5, 3.0}};
    double sum = 200.0;
    for (Place const & spot : spots) {
        double const distance = std::hypot(at[0] - spot[0], at[1] - spot[1], at[2] - spot[2]);
        sum += 9000.0 * std::exp(-0.5 * distance * distance);
    }
    return sum;
}

TEST(CorrectChromaticAberration, UndoesAPolynomialShift)
{
    ChromAberParams params = Shift(-0.4, 0.3, 0.5);
    params.x_plane[1] = 1.004;
    params.x_plane[2] = 0.01;
    params.y_plane[1] = -0.008;
    params.y_plane[2] = 0.995;
    params.z_surface[1] = -0.05;
    params.z_surface[3] = 0.006;
    params.z_surface[4] = -0.004;
    params.z_surface[5] = 0.003;

    // The channel sees at the place P(a) what the specimen has at a: its own place leads back through P.
    Image channel = ConstantImage<unsigned short>(100, 100, 40, 0);
    channel.resolution = Resolution(10.0F, 10.0F, 5.0F);
    double const turn = params.x_plane[1] * params.y_plane[2] - params.x_plane[2] * params.y_plane[1];
    ForEachVoxel(channel.size, [&](Sizes const & at) {
        Place const seen = PlaceOf(channel, at);
        double const x = seen[0] - params.x_plane[0];
        double const y = seen[1] - params.y_plane[0];
        Place origin{(params.y_plane[2] * x - params.x_plane[2] * y) / turn,
                     (params.x_plane[1] * y - params.y_plane[1] * x) / turn, 0.0};
        origin[2] = seen[2] - Mapped(params, origin)[2];
        channel.SetVoxel(at.x, at.y, at.z, static_cast<unsigned short>(std::lround(SpecimenAt(origin))));
    });

    Image const out = Corrected(channel, params);
    CutBox const box = CutFor(channel, params);
    double worst = 0.0;
    ForEachVoxel(channel.size, [&](Sizes const & at) {
        if (box.Holds(at)) {
            worst = std::max(worst, std::abs(out.GetVoxel(at.x, at.y, at.z) - SpecimenAt(PlaceOf(out, at))));
        }
    });
    EXPECT_LT(worst, 90.0) << "one percent of a spot";
    EXPECT_GT(box.last.x - box.first.x, 85U);
    EXPECT_GT(box.last.y - box.first.y, 85U);
    EXPECT_GT(box.last.z - box.first.z, 30U);
}

TEST(CorrectChromaticAberration, TreatsAPartAsItIsWithinTheWhole)
{
    auto whole = PatternImage<unsigned short>(60, 50, 1);
    whole.resolution = Resolution(9.0F, 9.0F, 2.0F);
    ChromAberParams params = Shift(0.1, -0.2, 0.0);
    params.x_plane[2] = 0.02;
    vexa::Box const box(20, 10, 0, 30, 30, 1);
    Image const part(whole, &box);
    Image const out = Corrected(whole, params);
    Image const of_part = Corrected(part, params);
    CutBox const valid = CutFor(part, params);
    for (unsigned int y = valid.first.y; y <= valid.last.y; ++y) {
        for (unsigned int x = valid.first.x; x <= valid.last.x; ++x) {
            ASSERT_NEAR(of_part.GetVoxel(x, y, 0), out.GetVoxel(x + 20, y + 10, 0), 1) << x << ", " << y;
        }
    }
    EXPECT_GT(valid.last.x, valid.first.x + 20);
}

TEST(CorrectChromaticAberration, OfASingleSliceIsFlat)
{
    auto in = PatternImage<unsigned short>(31, 20, 1);
    in.resolution = Resolution(10.0F, 10.0F, 2.0F);
    ChromAberParams params = Shift(0.15, 0.0, 3.0);
    params.z_surface[4] = 1.0;
    EXPECT_EQ(Voxels(Corrected(in, params)), Voxels(Corrected(in, Shift(0.15, 0.0, 0.0))));
    EXPECT_EQ(CutFor(in, params), CutFor(in, Shift(0.15, 0.0, 0.0)));
}

TEST(CorrectChromaticAberration, IsBlackForAPolynomialThatIsNotOfNumbers)
{
    auto const in = ConstantImage<unsigned short>(9, 8, 3, 1000);
    double const bad[] = {std::nan(""), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::max()};
    for (double const value : bad) {
        for (unsigned int i = 0; i < 12; ++i) {
            ChromAberParams params = Identity();
            (i < 3 ? params.x_plane[i] : i < 6 ? params.y_plane[i - 3] : params.z_surface[i - 6]) = value;
            EXPECT_EQ(Voxels(Corrected(in, params)), std::vector<unsigned short>(in.GetCount(), 0));
            EXPECT_EQ(CutFor(in, params), (CutBox{in.size, Sizes()}));
            EXPECT_EQ(Corrected(in, params, true).GetCount(), 0U);
        }
    }
}

TEST(CorrectChromaticAberration, OfAllZeroCoefficientsShowsOneLine)
{
    // What a damaged description file gives: everything comes from the corner, z from itself.
    auto const in = PatternImage<unsigned short>(4, 3, 2);
    Image const out = Corrected(in, ChromAberParams());
    ForEachVoxel(in.size, [&](Sizes const & at) {
        EXPECT_EQ(out.GetVoxel(at.x, at.y, at.z), in.GetVoxel(0, 0, at.z));
    });
}

TEST(CorrectChromaticAberration, KeepsGeometryAndCutsWhenAsked)
{
    auto in = PatternImage<unsigned short>(20, 16, 4);
    in.resolution = Resolution(10.0F, 8.0F, 2.0F);
    in.offset = {1.0F, 2.0F, 3.0F};
    ChromAberParams const params = Shift(0.25, -0.125, 0.5);
    Image const out = Corrected(in, params);
    EXPECT_EQ(out.offset, in.offset);
    EXPECT_EQ(out.resolution.GetRes(), in.resolution.GetRes());
    CutBox const box = CutFor(in, params);
    EXPECT_EQ(box, (CutBox{{0, 1, 0}, {16, 15, 2}}));
    Image const cut = Corrected(in, params, true);
    EXPECT_EQ(cut.offset, Floats(1.0F, 2.125F, 3.0F));
    EXPECT_EQ(Voxels(cut), VoxelsOf(out, vexa::Box(0, 1, 0, 17, 15, 3)));
}

TEST(CorrectChromaticAberration, MayReplaceItsInputAndTakesEmptyImages)
{
    auto image = PatternImage<unsigned short>(12, 9, 2);
    ChromAberParams const params = Shift(0.5, 0.5, 0.25);
    std::vector<unsigned short> const expected = Voxels(Corrected(image, params));
    vexa::CorrectChromaticAberration(image, image, params, false);
    EXPECT_EQ(Voxels(image), expected);
    for (bool const cut : {false, true}) {
        EXPECT_EQ(Corrected(Image(), params, cut).GetCount(), 0U);
    }
    EXPECT_EQ(CutFor(Image(), params), (CutBox{Sizes(), Sizes()}));
}

// By trying all boxes.
CutBox FindCutByTrying(Image const & image, ChromAberParams const & params)
{
    std::vector<std::vector<char>> inside(image.size.x, std::vector<char>(image.size.y));
    for (unsigned int x = 0; x < image.size.x; ++x) {
        for (unsigned int y = 0; y < image.size.y; ++y) {
            inside[x][y] = static_cast<char>(IsInside(image, SourceOf(image, params, Sizes(x, y, 0)), 2));
        }
    }
    auto const all_inside = [&](CutBox const & box, auto const & is_inside) {
        for (unsigned int x = box.first.x; x <= box.last.x; ++x) {
            for (unsigned int y = box.first.y; y <= box.last.y; ++y) {
                if (!is_inside(x, y)) {
                    return false;
                }
            }
        }
        return true;
    };
    CutBox best{image.size, Sizes()};
    unsigned int area = 0;
    for (CutBox box{Sizes(), Sizes()}; box.first.x < image.size.x; ++box.first.x) {
        for (box.first.y = 0; box.first.y < image.size.y; ++box.first.y) {
            for (box.last.x = box.first.x; box.last.x < image.size.x; ++box.last.x) {
                for (box.last.y = box.first.y; box.last.y < image.size.y; ++box.last.y) {
                    unsigned int const size = (box.last.x - box.first.x + 1) * (box.last.y - box.first.y + 1);
                    if (size > area &&
                        all_inside(box, [&](unsigned int x, unsigned int y) { return inside[x][y] != 0; })) {
                        best = box;
                        area = size;
                    }
                }
            }
        }
    }
    best.first.z = image.size.z;
    for (unsigned int z = 0; z < image.size.z && area > 0; ++z) {
        if (all_inside(best, [&](unsigned int x, unsigned int y) {
                return IsInside(image, SourceOf(image, params, Sizes(x, y, z)), 3);
            })) {
            best.first.z = std::min(best.first.z, z);
            best.last.z = z;
        }
    }
    return best.first.z < image.size.z ? best : CutBox{image.size, Sizes()};
}

TEST(GetCuttingPosition, AgreesWithTryingAllBoxes)
{
    Random random(4);
    int empty = 0;
    for (int round = 0; round < 3000; ++round) {
        Image const image = random.MakeImage(9);
        ChromAberParams const params = random.MakeParams(image, round % 4 == 0   ? 1.5
                                                                : round % 4 == 1 ? 0.2
                                                                                 : 0.01);
        CutBox const expected = FindCutByTrying(image, params);
        ASSERT_EQ(CutFor(image, params), expected) << "round " << round << ", " << image.size;
        empty += expected.first == image.size ? 1 : 0;
    }
    EXPECT_GT(empty, 300);
    EXPECT_LT(empty, 2000) << "most polynomials leave something";
}

TEST(GetCuttingPosition, AgreesForShiftsOfWholeAndHalfVoxels)
{
    auto image = ConstantImage<unsigned short>(7, 5, 4, 0);
    image.offset = {17.3F, 4.4F, 0.0F};
    image.resolution = Resolution(9.1F, 9.1F, 3.3F);
    Floats const res = image.resolution.GetRes();
    for (int x = -16; x <= 16; ++x) {
        for (int y = -12; y <= 12; y += 3) {
            for (int z = -9; z <= 9; ++z) {
                ChromAberParams const params =
                    Shift(x / 2.0 / double{res.x}, y / 2.0 / double{res.y}, z / 2.0 / double{res.z});
                ASSERT_EQ(CutFor(image, params), FindCutByTrying(image, params)) << x << ' ' << y << ' ' << z;
            }
        }
    }
}

TEST(GetCuttingPosition, HoldsOnlyWhatTheCorrectionFillsAndCannotGrow)
{
    Random random(5);
    for (int round = 0; round < 60; ++round) {
        auto image = ConstantImage<unsigned short>(40 + random.Below(90), 40 + random.Below(90),
                                                   1 + random.Below(9), 1000);
        image.resolution = Resolution(9.3F, 8.7F, 2.0F);
        image.offset = {20.0F, 60.0F, 0.0F};
        ChromAberParams const params = random.MakeParams(image, round % 2 == 0 ? 0.001 : 0.01);
        Image const out = Corrected(image, params);
        CutBox const box = CutFor(image, params);
        auto const is_full = [&](CutBox const & part) {
            bool full = true;
            for (unsigned int z = part.first.z; z <= part.last.z; ++z) {
                for (unsigned int y = part.first.y; y <= part.last.y; ++y) {
                    unsigned short const * const row = out.GetVoxelAddr(0, y, z);
                    full = full && std::all_of(row + part.first.x, row + part.last.x + 1,
                                               [](unsigned short voxel) { return voxel == 1000; });
                }
            }
            return full;
        };
        if (box.first == image.size) {
            continue;
        }
        EXPECT_TRUE(is_full(box)) << box;
        for (unsigned int axis = 0; axis < 3; ++axis) {
            CutBox grown = box;
            if (box.first[axis] > 0) {
                --grown.first[axis];
                EXPECT_FALSE(is_full(grown)) << box << " in " << image.size;
            }
            grown = box;
            if (box.last[axis] + 1 < image.size[axis]) {
                ++grown.last[axis];
                EXPECT_FALSE(is_full(grown)) << box << " in " << image.size;
            }
        }
    }
}

TEST(GetCuttingPosition, OfTheIdentityIsTheWholeImage)
{
    Random random(6);
    for (int round = 0; round < 100; ++round) {
        Image const image = random.MakeImage(30);
        EXPECT_EQ(CutFor(image, Identity()),
                  (CutBox{Sizes(), Sizes(image.size.x - 1, image.size.y - 1, image.size.z - 1)}));
    }
}

TEST(GetCuttingPosition, MakesWhoCutsByItCutEverythingWhereNothingIsValid)
{
    for (Sizes const & size : {Sizes(1, 1, 1), Sizes(5, 1, 2), Sizes(64, 48, 7)}) {
        auto image = ConstantImage<unsigned short>(size.x, size.y, size.z, 0);
        image.resolution = Resolution(10.0F, 10.0F, 10.0F);
        CutBox const box = CutFor(image, Shift(100.0, 0.0, 0.0));
        for (unsigned int axis = 0; axis < 3; ++axis) {
            unsigned int const low = box.first[axis];
            unsigned int const high = size[axis] - box.last[axis] - 1;
            EXPECT_GE(low + high, size[axis]);
            EXPECT_GT(low, size[axis] - 1 - high);
        }
    }
}

TEST(GetCuttingPosition, TakesLargeImages)
{
    // Trying all pairs of a million rows would not end.
    auto const cut = [](unsigned int side, double turn) {
        ChromAberParams params = Identity();
        params.x_plane[2] = turn;
        params.y_plane[1] = -turn;
        CutBox box;
        vexa::GetCuttingPosition(Floats(), Resolution(1.0F, 1.0F, 1.0F), Sizes(side, side, 1), params,
                                 box.first, box.last);
        return box;
    };
    CutBox const box = cut(1U << 20, 1e-4);
    EXPECT_GT(box.last.x - box.first.x, (1U << 20) - 300);
    EXPECT_GT(cut(2048, 0.5).last.x, 500U);
}

} // namespace velm::test
