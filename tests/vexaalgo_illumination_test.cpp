#include "vexaalgo/illumination.h"

#include "support/every_machine.h"
#include "support/voxels.h"

#include <cmath>
#include <complex>
#include <functional>
#include <limits>

namespace velm::test {

using vexa::HomomorphicFilterParams;
using vexa::Resolution;
using Image = vexa::Image3d<unsigned short>;
using Floats = vexa::Vector3d<float>;

bool Flatten(Image const & in, Image & out, int percentile = 10, int patches_x = 4, int patches_y = 4,
             int degree = 3)
{
    return vexa::correctIlluminationBsplineAprox(in, out, percentile, patches_x, patches_y, degree);
}

Image Flattened(Image const & in, int percentile = 10, int patches_x = 4, int patches_y = 4, int degree = 3)
{
    Image out;
    EXPECT_TRUE(Flatten(in, out, percentile, patches_x, patches_y, degree));
    return out;
}

using Picture = std::function<double(double, double)>; // of x and y, from 0 to 1 along each axis

Image Drawn(unsigned int width, unsigned int height, Picture const & picture)
{
    Image image = ConstantImage<unsigned short>(width, height, 1, 0);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            image.SetVoxel(
                x, y, 0,
                static_cast<unsigned short>(std::lround(picture((x + 0.5) / width, (y + 0.5) / height))));
        }
    }
    return image;
}

// Light that falls off from a place beside the centre, to half in the farthest corner.
double LightAt(double x, double y)
{
    double const dx = x - 0.42;
    double const dy = y - 0.55;
    return 1.0 - 0.8 * (dx * dx + dy * dy);
}

// Round nuclei of several sizes all over the field, a sixth of it, on an even background.
double NucleiAt(double x, double y)
{
    double light = 400.0;
    unsigned int state = 11;
    auto const next = [&] {
        state = state * 1664525U + 1013904223U;
        return (state >> 8) / 16777216.0;
    };
    for (int nucleus = 0; nucleus < 60; ++nucleus) {
        double const dx = x - next();
        double const dy = y - next();
        double const radius = 0.02 + 0.02 * next();
        light = std::max(light, dx * dx + dy * dy < radius * radius ? 1500.0 + 2500.0 * next() : 0.0);
    }
    return light;
}

// The largest deviation of the means of 8 x 8 blocks from their mean, as a part of it.
double VariationOf(unsigned int width, unsigned int height,
                   std::function<double(unsigned int, unsigned int)> const & value)
{
    std::vector<double> sums(64);
    std::vector<double> counts(64);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            unsigned int const block = x * 8 / width + 8 * (y * 8 / height);
            sums[block] += value(x, y);
            counts[block] += 1.0;
        }
    }
    double mean = 0.0;
    for (unsigned int block = 0; block < 64; ++block) {
        sums[block] /= counts[block];
        mean += sums[block] / 64.0;
    }
    double worst = 0.0;
    for (double const sum : sums) {
        worst = std::max(worst, std::abs(sum / mean - 1.0));
    }
    return worst;
}

double VariationOf(Image const & image)
{
    return VariationOf(image.size.x, image.size.y, [&](unsigned int x, unsigned int y) {
        return static_cast<double>(image.GetVoxel(x, y, 0));
    });
}

// Adds what the shot noise of so many electrons a grey value does, the same on every call.
void AddNoise(Image & image, double electrons)
{
    unsigned int state = 5;
    for (unsigned short & voxel : image) {
        double sum = -6.0; // twelve chances, of which the sum is almost normal
        for (int i = 0; i < 12; ++i) {
            state = state * 1664525U + 1013904223U;
            sum += (state >> 8) / 16777216.0;
        }
        double const noisy = voxel + sum * std::sqrt(voxel / electrons);
        voxel = static_cast<unsigned short>(std::lround(std::max(0.0, noisy)));
    }
}

TEST(CorrectIlluminationBspline, FlattensAnUnevenBackground)
{
    Image const in = Drawn(696, 520, [](double x, double y) { return 3000.0 * LightAt(x, y); });
    EXPECT_GT(VariationOf(in), 0.3);
    EXPECT_LT(VariationOf(Flattened(in)), 0.01);
}

TEST(CorrectIlluminationBspline, FlattensThroughShotNoise)
{
    Image in = Drawn(696, 520, [](double x, double y) { return 150.0 * LightAt(x, y); });
    AddNoise(in, 1.0);
    EXPECT_LT(VariationOf(Flattened(in)), 0.03);
}

TEST(CorrectIlluminationBspline, FlattensAFieldOfNuclei)
{
    Image in = Drawn(696, 520, [](double x, double y) { return NucleiAt(x, y) * LightAt(x, y); });
    AddNoise(in, 4.0);
    Image const out = Flattened(in);
    double const variation = VariationOf(in.size.x, in.size.y, [&](unsigned int x, unsigned int y) {
        return out.GetVoxel(x, y, 0) / NucleiAt((x + 0.5) / in.size.x, (y + 0.5) / in.size.y);
    });
    EXPECT_LT(variation, 0.03);
}

TEST(CorrectIlluminationBspline, IsNotLedAstrayByANucleusInTheCorner)
{
    auto const specimen = [](double x, double y) { return std::hypot(x - 1.0, y) < 0.14 ? 3000.0 : 400.0; };
    Image const in = Drawn(696, 520, [&](double x, double y) { return specimen(x, y) * LightAt(x, y); });
    Image const out = Flattened(in);
    double const variation = VariationOf(in.size.x, in.size.y, [&](unsigned int x, unsigned int y) {
        return out.GetVoxel(x, y, 0) / specimen((x + 0.5) / in.size.x, (y + 0.5) / in.size.y);
    });
    EXPECT_LT(variation, 0.08) << "the nucleus is seven times as bright as the background";
}

TEST(CorrectIlluminationBspline, KeepsTheMeanOfTheBackground)
{
    Image const in = Drawn(300, 200, [](double x, double y) { return 2000.0 * LightAt(x, y); });
    double mean = 0.0;
    for (unsigned short const voxel : in) {
        mean += voxel / static_cast<double>(in.GetCount());
    }
    for (unsigned short const voxel : Flattened(in)) {
        ASSERT_NEAR(voxel, mean, 0.03 * mean);
    }
}

TEST(CorrectIlluminationBspline, LeavesAnEvenImageAsItIs)
{
    for (unsigned int const grey : {1U, 777U, 65535U}) {
        Image const in = ConstantImage<unsigned short>(61, 47, 2, static_cast<unsigned short>(grey));
        EXPECT_EQ(Voxels(Flattened(in)), Voxels(in));
    }
}

TEST(CorrectIlluminationBspline, LeavesABlackImageBlack)
{
    Image const in = ConstantImage<unsigned short>(40, 30, 3, 0);
    EXPECT_EQ(Voxels(Flattened(in)), Voxels(in));
}

TEST(CorrectIlluminationBspline, GivesAllSlicesTheSameGain)
{
    Image const slice = Drawn(120, 90, [](double x, double y) { return 1000.0 * LightAt(x, y); });
    Image stack;
    stack.MakeRoom(120, 90, 4);
    for (unsigned int z = 0; z < 4; ++z) { // the first one is blank
        std::transform(slice.begin(), slice.end(), stack.GetVoxelAddr(0, 0, z),
                       [&](unsigned short voxel) { return static_cast<unsigned short>(voxel * 8 * z); });
    }
    Image const out = Flattened(stack);
    for (unsigned int y = 0; y < 90; ++y) {
        for (unsigned int x = 0; x < 120; ++x) {
            ASSERT_EQ(out.GetVoxel(x, y, 0), 0);
            ASSERT_NEAR(out.GetVoxel(x, y, 2), 2.0 * out.GetVoxel(x, y, 1), 2.0);
            ASSERT_NEAR(out.GetVoxel(x, y, 3), 3.0 * out.GetVoxel(x, y, 1), 3.0);
        }
    }
    EXPECT_LT(VariationOf(Image(out, &static_cast<vexa::Box const &>(vexa::Box(0, 0, 3, 120, 90, 1)))), 0.02);
}

TEST(CorrectIlluminationBspline, Saturates)
{
    Image in = Drawn(200, 200, [](double x, double y) { return 20000.0 * LightAt(x, y); });
    in.SetVoxel(199, 0, 0, 65535);
    EXPECT_EQ(Flattened(in).GetVoxel(199, 0, 0), 65535) << "where the gain is above 1";
}

TEST(CorrectIlluminationBspline, TakesThePercentileThatIsAskedFor)
{
    // Two thirds of each small neighbourhood are bright: the lower percentile sees the dark third, which is
    // even, and the upper one the bright part, which isn't.
    Image const in = Drawn(96, 96, [](double x, double y) {
        bool const dark = static_cast<int>(x * 96) % 3 == 0;
        return dark ? 100.0 : 1000.0 * LightAt(x, y);
    });
    EXPECT_EQ(Voxels(Flattened(in, 20)), Voxels(in));
    EXPECT_NE(Voxels(Flattened(in, 80)), Voxels(in));
}

TEST(CorrectIlluminationBspline, FollowsFinerBackgroundsWithMorePatches)
{
    Image const in = Drawn(
        400, 400, [](double x, double y) { return 2000.0 + 500.0 * std::sin(12.0 * x) * std::cos(9.0 * y); });
    EXPECT_GT(VariationOf(Flattened(in, 50, 2, 2, 1)), 0.1);
    EXPECT_LT(VariationOf(Flattened(in, 50, 12, 12, 3)), 0.01);
}

// The result is false and nothing is written.
void ExpectRefused(Image const & in, int percentile, int patches_x, int patches_y, int degree)
{
    Image out = PatternImage<unsigned short>(3, 2, 1);
    EXPECT_FALSE(Flatten(in, out, percentile, patches_x, patches_y, degree))
        << percentile << ' ' << patches_x << ' ' << patches_y << ' ' << degree;
    EXPECT_EQ(out.size, vexa::Vector3d<unsigned int>(3, 2, 1));
    EXPECT_EQ(Voxels(out), Voxels(PatternImage<unsigned short>(3, 2, 1)));
}

TEST(CorrectIlluminationBspline, RefusesImagesThatAreSmallerThanTheGrid)
{
    EXPECT_EQ(Voxels(Flattened(ConstantImage<unsigned short>(12, 12, 1, 9))),
              std::vector<unsigned short>(144, 9));
    ExpectRefused(ConstantImage<unsigned short>(11, 12, 1, 9), 10, 4, 4, 3);
    ExpectRefused(ConstantImage<unsigned short>(12, 11, 1, 9), 10, 4, 4, 3);
    ExpectRefused(ConstantImage<unsigned short>(1, 1, 1, 9), 10, 1, 1, 0);
    ExpectRefused(Image(), 10, 4, 4, 3);
    Image no_slices;
    no_slices.MakeRoom(30, 30, 0);
    ExpectRefused(no_slices, 10, 4, 4, 3);
}

TEST(CorrectIlluminationBspline, RefusesAFitThatIsSingular)
{
    // A polynomial of so high a degree is hardly determined by evenly spaced samples.
    ExpectRefused(ConstantImage<unsigned short>(100, 100, 1, 500), 10, 1, 1, 15);
}

TEST(CorrectIlluminationBspline, RefusesArgumentsOutOfRange)
{
    Image const in = ConstantImage<unsigned short>(100, 100, 1, 500);
    int const largest = std::numeric_limits<int>::max();
    int const bad[][4] = {{-1, 4, 4, 3},       {101, 4, 4, 3},      {10, 0, 4, 3},     {10, 4, 0, 3},
                          {10, -4, 4, 3},      {10, 4, 4, -1},      {10, 4, 4, 16},    {10, largest, 4, 3},
                          {10, 4, largest, 3}, {10, 4, 4, largest}, {largest, 4, 4, 3}};
    for (auto const & arguments : bad) {
        ExpectRefused(in, arguments[0], arguments[1], arguments[2], arguments[3]);
    }
}

TEST(CorrectIlluminationBspline, RefusesABackgroundThatCannotBeDividedBy)
{
    ExpectRefused(Drawn(100, 100, [](double x, double) { return x < 0.5 ? 0.0 : 1000.0; }), 10, 4, 4, 3);
    Image few = ConstantImage<unsigned short>(100, 100, 1, 0);
    few.SetVoxel(50, 50, 0, 1000);
    ExpectRefused(few, 10, 4, 4, 3);
}

TEST(CorrectIlluminationBspline, KeepsTheGeometryAndMayReplaceItsInput)
{
    Image in = Drawn(64, 50, [](double x, double y) { return 900.0 * LightAt(x, y); });
    in.offset = {1.0F, 2.0F, 3.0F};
    in.resolution = Resolution(10.0F, 11.0F, 12.0F);
    Image const out = Flattened(in);
    EXPECT_EQ(out.offset, in.offset);
    EXPECT_EQ(out.resolution.GetRes(), in.resolution.GetRes());
    EXPECT_TRUE(Flatten(in, in));
    EXPECT_EQ(Voxels(in), Voxels(out));
}

TEST(CorrectIlluminationBspline, IsTheSameOnAnyMachine)
{
    Image in = Drawn(331, 207, [](double x, double y) { return NucleiAt(x, y) * LightAt(x, y); });
    AddNoise(in, 1.0);
    for (int const degree : {1, 3, 4}) {
        std::vector<unsigned short> const expected = Voxels(Flattened(in, 10, 4, 3, degree));
        OnEveryMachine([&] { EXPECT_EQ(Voxels(Flattened(in, 10, 4, 3, degree)), expected); });
    }
}

Image Filtered(Image const & in, HomomorphicFilterParams const & params)
{
    Image out;
    vexa::homFilter(in, out, params);
    return out;
}

// Sizes that the transform treats in different ways: small ones, powers, primes, long and flat ones.
std::vector<Image> ImagesOfAllKinds()
{
    std::vector<Image> images;
    for (unsigned int const x : {1U, 2U, 3U, 16U, 37U, 100U}) {
        for (unsigned int const y : {1U, 2U, 5U, 32U, 61U}) {
            images.push_back(PatternImage<unsigned short>(x, y, 1 + x % 3, x + y));
            images.back().SetVoxel(0, 0);
            images.back().SetVoxel(images.back().GetCount() - 1, 65535);
        }
    }
    return images;
}

TEST(HomomorphicFilter, LeavesTheImageAsItIsWithAllParamsOne)
{
    for (Image const & in : ImagesOfAllKinds()) {
        Image const out = Filtered(in, {1.0, 1.0, 1.0, 1.0});
        ASSERT_EQ(out.size, in.size);
        for (std::size_t i = 0; i < in.GetCount(); ++i) {
            ASSERT_NEAR(out.GetVoxel(i), in.GetVoxel(i), 1) << in.size << " at " << i;
        }
    }
    Image const field = Drawn(512, 384, [](double x, double y) { return NucleiAt(x, y) * LightAt(x, y); });
    EXPECT_EQ(Voxels(Filtered(field, {1.0, 1.0, 1.0, 1.0})), Voxels(field));
}

// By the definition: every frequency is a sum over all pixels, and every pixel one over all frequencies.
std::vector<double> FilteredSlowly(Image const & in, unsigned int z, HomomorphicFilterParams const & p)
{
    constexpr double pi = 3.14159265358979323846;
    unsigned int const width = in.size.x;
    unsigned int const height = in.size.y;
    auto const turn = [&](unsigned int a, unsigned int b, double sign) {
        double const angle =
            static_cast<double>(a % width) / width + static_cast<double>(b % height) / height;
        return std::polar(1.0, sign * 2.0 * pi * angle);
    };
    std::vector<std::complex<double>> spectrum(std::size_t{width} * height);
    for (unsigned int v = 0; v < height; ++v) {
        for (unsigned int u = 0; u < width; ++u) {
            std::complex<double> sum = 0.0;
            for (unsigned int y = 0; y < height; ++y) {
                for (unsigned int x = 0; x < width; ++x) {
                    sum += std::log(1.0 + in.GetVoxel(x, y, z)) * turn(u * x, v * y, -1.0);
                }
            }
            double const du = std::min(u, width - u);
            double const dv = std::min(v, height - v);
            double const share = 1.0 - std::exp(-p.c * (du * du + dv * dv) / (p.d0 * p.d0));
            spectrum[u + v * width] = sum * ((p.gamma_high - p.gamma_low) * share + p.gamma_low);
        }
    }
    std::vector<double> result;
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            std::complex<double> sum = 0.0;
            for (unsigned int v = 0; v < height; ++v) {
                for (unsigned int u = 0; u < width; ++u) {
                    sum += spectrum[u + v * width] * turn(u * x, v * y, 1.0);
                }
            }
            double const value = std::exp(sum.real() / (width * height)) - 1.0;
            result.push_back(std::min(std::max(value, 0.0), 65535.0));
        }
    }
    return result;
}

TEST(HomomorphicFilter, FollowsTheDefinition)
{
    HomomorphicFilterParams const params[] = {{0.4, 1.3, 1.0, 2.0},
                                              {0.9, 1.1, 0.5, -1.5},
                                              {1.2, 0.7, 2.0, 4.0},
                                              {0.5, 2.0, 0.0, 3.0},
                                              {0.0, 0.8, 1e6, 1.0}};
    for (vexa::Vector3d<unsigned int> const & size :
         {vexa::Vector3d<unsigned int>(8, 6, 1), vexa::Vector3d<unsigned int>(7, 5, 2),
          vexa::Vector3d<unsigned int>(9, 1, 1), vexa::Vector3d<unsigned int>(1, 8, 1),
          vexa::Vector3d<unsigned int>(1, 1, 2), vexa::Vector3d<unsigned int>(18, 21, 1)}) {
        Image const in = PatternImage<unsigned short>(size.x, size.y, size.z, size.x);
        for (HomomorphicFilterParams const & p : params) {
            Image const out = Filtered(in, p);
            for (unsigned int z = 0; z < size.z; ++z) {
                std::vector<double> const expected = FilteredSlowly(in, z, p);
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    ASSERT_NEAR(out.GetVoxel(i + z * expected.size()), expected[i], 0.51 + 2e-5 * expected[i])
                        << size << ", gammas " << p.gamma_low << " and " << p.gamma_high << ", at " << i;
                }
            }
        }
    }
}

TEST(HomomorphicFilter, WithEqualGammasRaisesToThatPower)
{
    Image const in = PatternImage<unsigned short>(40, 30, 1);
    Image const out = Filtered(in, {0.5, 0.5, 1.0, 3.0});
    for (std::size_t i = 0; i < in.GetCount(); ++i) {
        ASSERT_NEAR(out.GetVoxel(i), std::sqrt(1.0 + in.GetVoxel(i)) - 1.0, 0.51);
    }
}

TEST(HomomorphicFilter, WeakensSlowChangesAndKeepsQuickOnes)
{
    auto const texture = [](double x, double y) {
        return (static_cast<int>(x * 256) + static_cast<int>(y * 256)) % 2 == 0 ? 1.5 : 0.5;
    };
    Image const in = Drawn(256, 256, [&](double x, double y) {
        return 25000.0 * (1.0 + 0.5 * std::cos(6.283185307 * x)) * texture(x, y);
    });
    Image const out = Filtered(in, {0.5, 1.0, 1.0, 8.0});
    EXPECT_GT(VariationOf(in), 0.4);
    EXPECT_LT(VariationOf(out), 0.6 * VariationOf(in));
    double const before = static_cast<double>(in.GetVoxel(128, 128, 0)) / in.GetVoxel(129, 128, 0);
    double const after = static_cast<double>(out.GetVoxel(128, 128, 0)) / out.GetVoxel(129, 128, 0);
    EXPECT_NEAR(before, 3.0, 0.01);
    EXPECT_NEAR(after, 3.0, 0.1);
}

TEST(HomomorphicFilter, SaturatesAndNeverGoesBelowZero)
{
    EXPECT_EQ(Voxels(Filtered(ConstantImage<unsigned short>(9, 9, 1, 5000), {2.0, 2.0, 1.0, 1.0})),
              std::vector<unsigned short>(81, 65535));
    EXPECT_EQ(Voxels(Filtered(ConstantImage<unsigned short>(9, 9, 1, 5000), {-1.0, -1.0, 1.0, 1.0})),
              std::vector<unsigned short>(81, 0));
}

TEST(HomomorphicFilter, TreatsEachSliceByItself)
{
    Image const in = PatternImage<unsigned short>(33, 21, 3);
    HomomorphicFilterParams const params{0.5, 1.2, 1.0, 4.0};
    Image const out = Filtered(in, params);
    for (int z = 0; z < 3; ++z) {
        vexa::Box const slice(0, 0, z, 33, 21, 1);
        EXPECT_EQ(Voxels(Filtered(Image(in, &slice), params)), VoxelsOf(out, slice));
    }
}

TEST(HomomorphicFilter, RefusesParamsThatMakeNoSense)
{
    double const nan = std::nan("");
    double const infinite = std::numeric_limits<double>::infinity();
    Image const in = PatternImage<unsigned short>(5, 4, 1);
    HomomorphicFilterParams const bad[] = {
        {nan, 1.0, 1.0, 1.0},  {1.0, nan, 1.0, 1.0}, {1.0, 1.0, nan, 1.0},      {1.0, 1.0, 1.0, nan},
        {1.0, 1.0, -0.1, 1.0}, {1.0, 1.0, 1.0, 0.0}, {1.0, infinite, 1.0, 1.0}, HomomorphicFilterParams()};
    for (HomomorphicFilterParams const & params : bad) {
        Image out = PatternImage<unsigned short>(3, 2, 1);
        EXPECT_THROW(vexa::homFilter(in, out, params), vexa::InternalException);
        EXPECT_EQ(Voxels(out), Voxels(PatternImage<unsigned short>(3, 2, 1)));
    }
}

TEST(HomomorphicFilter, TakesParamsOfAnySize)
{
    Image const in = PatternImage<unsigned short>(16, 12, 1);
    for (double const huge : {1e300, -1e300, 1e20}) {
        EXPECT_EQ(Filtered(in, {huge, 1.0, 1.0, 1.0}).size, in.size);
        EXPECT_EQ(Filtered(in, {1.0, huge, 1.0, 1.0}).size, in.size);
        EXPECT_EQ(Filtered(in, {-huge, huge, 1.0, 1.0}).size, in.size);
        // d0 so far out that nothing is emphasised, and so near that everything is.
        EXPECT_EQ(Voxels(Filtered(in, {1.0, 5.0, 1.0, huge})), Voxels(Filtered(in, {1.0, 5.0, 0.0, 1.0})));
    }
    EXPECT_EQ(Voxels(Filtered(in, {1.0, 0.5, 1.0, 1e-300})), Voxels(Filtered(in, {1.0, 0.5, 1e300, 1.0})));
}

TEST(HomomorphicFilter, KeepsTheGeometryMayReplaceItsInputAndTakesEmptyImages)
{
    HomomorphicFilterParams const params{0.5, 1.2, 1.0, 4.0};
    Image image = PatternImage<unsigned short>(50, 41, 2);
    image.offset = {1.0F, 2.0F, 3.0F};
    image.resolution = Resolution(10.0F, 11.0F, 12.0F);
    Image const out = Filtered(image, params);
    EXPECT_EQ(out.offset, image.offset);
    EXPECT_EQ(out.resolution.GetRes(), image.resolution.GetRes());
    vexa::homFilter(image, image, params);
    EXPECT_EQ(Voxels(image), Voxels(out));
    EXPECT_EQ(Filtered(Image(), params).GetCount(), 0U);
}

TEST(HomomorphicFilter, IsTheSameOnAnyMachine)
{
    HomomorphicFilterParams const params{0.5, 1.2, 1.0, 4.0};
    for (Image const & in :
         {PatternImage<unsigned short>(131, 96, 2), PatternImage<unsigned short>(64, 67, 1)}) {
        std::vector<unsigned short> const expected = Voxels(Filtered(in, params));
        OnEveryMachine([&] { EXPECT_EQ(Voxels(Filtered(in, params)), expected); });
    }
}

} // namespace velm::test
