#include "sim_renderer.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace velm::sim::test {

std::vector<float> Drawn(int first_x, int first_y, int width, int height,
                         std::function<void(BlobCanvas &)> const & draw)
{
    BlobCanvas canvas;
    canvas.Reset(first_x, first_y, width, height);
    draw(canvas);
    std::vector<float> picture;
    canvas.Finish(picture);
    return picture;
}

double Sum(std::vector<float> const & picture)
{
    return std::accumulate(picture.begin(), picture.end(), 0.0);
}

double At(std::vector<float> const & picture, int x, int y, int width)
{
    return static_cast<double>(picture[static_cast<std::size_t>(y * width + x)]);
}

TEST(SimBlobCanvas, AGaussianOfAnyWidthKeepsItsLight)
{
    for (double const sigma : {0.05, 0.3, 0.99, 1.01, 2.0, 5.9, 6.1, 11.0, 13.0, 40.0, 70.0}) {
        auto const picture = Drawn(
            0, 0, 600, 600, [&](BlobCanvas & canvas) { canvas.Add(299.3, 301.7, sigma, sigma, 1000.0); });
        EXPECT_NEAR(Sum(picture), 1000.0, 2.0) << sigma;
    }
}

TEST(SimBlobCanvas, AGaussianHasTheShapeOfItsFormula)
{
    for (double const sigma : {1.5, 5.0, 9.0, 30.0}) {
        auto const picture =
            Drawn(0, 0, 200, 200, [&](BlobCanvas & canvas) { canvas.Add(100.25, 99.5, sigma, sigma, 1.0); });
        double const variance = sigma * sigma + 1.0 / 12.0; // with the pixel's own
        double const peak = 1.0 / (2.0 * 3.14159265358979 * variance);
        for (int y = 60; y < 140; y += 7) {
            for (int x = 60; x < 140; x += 7) {
                double const d2 = (x - 100.25) * (x - 100.25) + (y - 99.5) * (y - 99.5);
                if (d2 < 9.0 * variance) {
                    EXPECT_NEAR(At(picture, x, y, 200) / peak, std::exp(-0.5 * d2 / variance), 4e-3)
                        << sigma << " " << x << " " << y;
                }
            }
        }
    }
}

TEST(SimBlobCanvas, NothingShinesFarFromAGaussian)
{
    for (double sigma = 0.2; sigma < 30.0; sigma *= 1.07) {
        auto const picture = Drawn(0, 0, 300, 300, [&](BlobCanvas & canvas) {
            canvas.Add(100.0 + 7.7 * sigma, 150.3, sigma, 1.2 * sigma, 1e6);
        });
        for (int y = 0; y < 300; ++y) {
            for (int x = 0; x < 300; ++x) {
                double const dx = (x - 100.0 - 7.7 * sigma) / (sigma + 0.5);
                double const dy = (y - 150.3) / (1.2 * sigma + 0.5);
                ASSERT_TRUE(At(picture, x, y, 300) < 1.0 || dx * dx + dy * dy < 50.0)
                    << sigma << " " << x << " " << y;
            }
        }
    }
}

TEST(SimBlobCanvas, ASpeckSmallerThanAPixelFallsIntoItsPixel)
{
    auto const picture =
        Drawn(0, 0, 9, 9, [](BlobCanvas & canvas) { canvas.Add(4.1, 3.9, 0.05, 0.05, 8.0); });
    EXPECT_NEAR(At(picture, 4, 4, 9), 8.0, 0.01);
}

TEST(SimBlobCanvas, APartOfThePictureIsTheSameBitForBit)
{
    auto const draw = [](BlobCanvas & canvas) {
        canvas.AddSmooth(20.0, [](double x, double y) { return 5.0 + std::sin(0.02 * x) + 0.01 * y; });
        for (int i = 0; i < 60; ++i) {
            double const sigma = 0.4 * std::pow(1.12, i);
            canvas.Add(37.7 * i - 300.0, 11.3 * i + 20.0, sigma, 1.3 * sigma, 100.0 * sigma);
        }
    };
    auto const whole = Drawn(0, 0, 700, 500, draw);
    for (auto const & [left, top] :
         std::vector<std::pair<int, int>>{{0, 0}, {33, 57}, {512, 64}, {101, 355}}) {
        auto const part = Drawn(left, top, 123, 99, draw);
        for (int y = 0; y < 99; ++y) {
            for (int x = 0; x < 123; ++x) {
                ASSERT_EQ(At(part, x, y, 123), At(whole, left + x, top + y, 700)) << left << " " << top;
            }
        }
    }
}

TEST(SimBlobCanvas, ACanvasForgetsWhatWasDrawnBefore)
{
    BlobCanvas canvas;
    std::vector<float> picture;
    canvas.Reset(0, 0, 50, 50);
    canvas.Add(25.0, 25.0, 20.0, 20.0, 1000.0);
    canvas.Add(25.0, 25.0, 1.0, 1.0, 1000.0);
    canvas.Finish(picture);
    canvas.Reset(0, 0, 50, 50);
    canvas.Finish(picture);
    EXPECT_EQ(Sum(picture), 0.0);
    EXPECT_EQ(picture.size(), 2500u);
}

std::vector<Shine> Lit(Marker const & marker, double seconds = 0.1)
{
    return {{&marker, seconds, [](long, long) { return 1.0; }}};
}

// One nucleus without neighbours on a slide without background, seen through an objective.
class SimRenderer : public testing::Test {
  protected:
    SimRenderer() : _specimen(Params()), _renderer(_specimen, Levels(), Vignetting{0.0, 0.0, 0.0})
    {
        _geometry.sensor_width = _geometry.width = 600;
        _geometry.sensor_height = _geometry.height = 600;
        _geometry.pixel_x_um = _geometry.pixel_y_um = 0.1;
        _nucleus = Lonely();
        _geometry.centre = _nucleus->centre;
    }

    static SpecimenParams Params()
    {
        SpecimenParams params;
        params.density = 0.12;
        params.spot_kinds = 1;
        return params;
    }

    static LightLevels Levels()
    {
        LightLevels levels;
        levels.background = 0.0;
        levels.haze = 0.0;
        return levels;
    }

    Nucleus const * Lonely()
    {
        for (long x = 0;; ++x) {
            Nucleus const * const nucleus = _specimen.NucleusOf(x, 0);
            int around = 0;
            for (long dy = -6; nucleus != nullptr && dy <= 6; ++dy) {
                for (long dx = -6; dx <= 6; ++dx) {
                    around += _specimen.NucleusOf(x + dx, dy) != nullptr ? 1 : 0;
                }
            }
            if (around == 1) {
                return nucleus;
            }
        }
    }

    // height: of the focus over the nucleus's centre, in microns.
    std::vector<float> Render(double height = 0.0, double seconds = 0.1)
    {
        FrameGeometry geometry = _geometry;
        geometry.centre.z += height;
        return _renderer.Render(geometry, _objective, Lit(_marker, seconds));
    }

    // Centre of mass, and standard deviation along x, in pixels.
    struct Shape {
        double x;
        double y;
        double sigma;
    };

    Shape ShapeOf(std::vector<float> const & picture) const
    {
        double sum = 0.0, sx = 0.0, sy = 0.0, sxx = 0.0;
        for (int y = 0; y < _geometry.height; ++y) {
            for (int x = 0; x < _geometry.width; ++x) {
                double const value = At(picture, x, y, _geometry.width);
                sum += value;
                sx += value * x;
                sy += value * y;
                sxx += value * x * x;
            }
        }
        double const mean = sx / sum;
        return {mean, sy / sum, std::sqrt(sxx / sum - mean * mean)};
    }

    Specimen _specimen;
    Renderer _renderer;
    FrameGeometry _geometry;
    Objective _objective = Objective::Of("63x/1.40", 63.0);
    Marker _marker;
    Nucleus const * _nucleus;
};

TEST_F(SimRenderer, AllTheLightOfANucleusArrives)
{
    EXPECT_NEAR(Sum(Render()) / (4.0e8 * 0.1 * _nucleus->strength), 1.0, 0.003);
}

TEST_F(SimRenderer, DefocusKeepsTheLight)
{
    double const sharp = Sum(Render());
    for (double const height : {-8.0, -4.0, -1.0, 1.0, 2.5, 6.0, 9.0}) {
        EXPECT_NEAR(Sum(Render(height)) / sharp, 1.0, 0.004) << height;
    }
}

TEST_F(SimRenderer, BlurGrowsAwayFromFocusOnBothSides)
{
    for (double const side : {-1.0, 1.0}) {
        double previous = ShapeOf(Render()).sigma;
        for (double const height : {1.5, 3.0, 4.5, 6.0, 7.5}) {
            double const sigma = ShapeOf(Render(side * height)).sigma;
            EXPECT_GT(sigma, previous) << side * height;
            previous = sigma;
        }
    }
}

TEST_F(SimRenderer, SpotsOutOfFocusAreAsWideAsTheOpticsSay)
{
    _marker.structure = Structure::SPOTS;
    ASSERT_FALSE(_nucleus->spots.empty());
    double const height = 7.0;
    double sum = 0.0, mean = 0.0, square = 0.0, depth = 0.0;
    for (Spot const & spot : _nucleus->spots) {
        double const out = _geometry.centre.z + height - spot.place.z;
        double const x = spot.place.x - _geometry.centre.x;
        sum += spot.strength;
        mean += spot.strength * x;
        square += spot.strength * (x * x + spot.sigma * spot.sigma);
        depth += spot.strength * out * out;
    }
    mean /= sum;
    double const sharp = _objective.SharpSigma(_marker.wavelength_um);
    double const spreading = _objective.Spreading();
    double const expected =
        std::sqrt(square / sum - mean * mean + sharp * sharp + spreading * spreading * depth / sum);
    EXPECT_NEAR(ShapeOf(Render(height)).sigma * 0.1 / expected, 1.0, 0.01);
}

TEST_F(SimRenderer, ChromaticShiftMovesThePicture)
{
    Shape const before = ShapeOf(Render());
    _marker.shift_x_um = 0.3;
    _marker.shift_y_um = -0.2;
    Shape const after = ShapeOf(Render());
    EXPECT_NEAR(after.x - before.x, 3.0, 0.01);
    EXPECT_NEAR(after.y - before.y, -2.0, 0.01);
}

TEST_F(SimRenderer, ChromaticScaleMovesWhatIsFarFromTheAxis)
{
    _geometry.centre.x -= 15.0;
    Shape const before = ShapeOf(Render());
    _marker.scale = 1.01;
    Shape const after = ShapeOf(Render());
    EXPECT_NEAR(before.x, 299.5 + 150.0, 20.0);
    EXPECT_NEAR(after.x - before.x, 0.01 * (before.x - 299.5), 0.02);
    EXPECT_NEAR(after.y - before.y, 0.0, 0.05);
}

TEST_F(SimRenderer, AFocusOffsetMovesTheSharpestHeight)
{
    std::vector<float> const sharp = Render(0.0);
    _marker.focus_offset_um = 2.0;
    std::vector<float> const same = Render(2.0);
    for (std::size_t i = 0; i < sharp.size(); i += 97) {
        double const value = static_cast<double>(sharp[i]);
        ASSERT_NEAR(static_cast<double>(same[i]), value, 1e-3 * value + 0.5);
    }
}

TEST_F(SimRenderer, LightIsProportionalToTimeAndBrightness)
{
    double const once = Sum(Render());
    EXPECT_NEAR(Sum(Render(0.0, 0.05)) / once, 0.5, 1e-3);
    _marker.brightness = 3.0;
    EXPECT_NEAR(Sum(Render()) / once, 3.0, 1e-3);
}

TEST_F(SimRenderer, TheOrientationsMirrorThePicture)
{
    std::vector<float> const straight = Render();
    _geometry.orientation_x = -1;
    _geometry.orientation_y = -1;
    std::vector<float> const turned = Render();
    double const peak = static_cast<double>(*std::max_element(straight.begin(), straight.end()));
    for (std::size_t i = 0; i < straight.size(); i += 31) {
        ASSERT_NEAR(static_cast<double>(turned[straight.size() - 1 - i]), static_cast<double>(straight[i]),
                    3e-3 * peak);
    }
}

// A part of an ordinary slide, in focus.
class SimRendererField : public testing::Test {
  protected:
    SimRendererField()
    {
        _geometry.sensor_width = _geometry.width = 480;
        _geometry.sensor_height = _geometry.height = 360;
        _geometry.centre = {50.0, 80.0, _specimen.Focus().At(50.0, 80.0)};
    }

    std::vector<float> Render(FrameGeometry const & geometry, Vignetting const & vignetting)
    {
        Renderer renderer(_specimen, LightLevels(), vignetting);
        return renderer.Render(geometry, Objective::Of("63x/1.40", 63.0), Lit(_marker));
    }

    Specimen _specimen{SpecimenParams()};
    FrameGeometry _geometry;
    Marker _marker;
};

TEST_F(SimRendererField, VignettingScalesEachPixel)
{
    Vignetting const vignetting{0.4, 0.1, -0.2};
    std::vector<float> const flat = Render(_geometry, Vignetting{0.0, 0.0, 0.0});
    std::vector<float> const shaded = Render(_geometry, vignetting);
    for (int y = 0; y < 360; y += 9) {
        for (int x = 0; x < 480; x += 13) {
            double const share = vignetting.At(x + 0.5, y + 0.5, 480.0, 360.0);
            ASSERT_NEAR(At(shaded, x, y, 480) / At(flat, x, y, 480), share, 1e-5);
        }
    }
}

TEST_F(SimRendererField, BinningSumsPixels)
{
    std::vector<float> const fine = Render(_geometry, Vignetting());
    FrameGeometry binned_geometry = _geometry;
    binned_geometry.bin_x = 4;
    binned_geometry.bin_y = 3;
    binned_geometry.width = 120;
    binned_geometry.height = 120;
    std::vector<float> const binned = Render(binned_geometry, Vignetting());
    double const brightest = 12.0 * static_cast<double>(*std::max_element(fine.begin(), fine.end()));
    ASSERT_GT(brightest, 1000.0);
    for (int y = 0; y < 120; ++y) {
        for (int x = 0; x < 120; ++x) {
            double sum = 0.0;
            for (int i = 0; i < 12; ++i) {
                sum += At(fine, 4 * x + i % 4, 3 * y + i / 4, 480);
            }
            ASSERT_NEAR(At(binned, x, y, 120), sum, 3e-3 * brightest);
        }
    }
}

TEST_F(SimRendererField, TheFieldIsFlatWhereCalibrationImagesAreTaken)
{
    _geometry.pixel_x_um = _geometry.pixel_y_um = 0.3; // 144 by 108 microns
    auto const contrast = [&](double height, Structure structure) {
        FrameGeometry geometry = _geometry;
        geometry.centre.z += height;
        _marker.structure = structure;
        std::vector<float> const picture = Render(geometry, Vignetting{0.0, 0.0, 0.0});
        auto const [low, high] = std::minmax_element(picture.begin(), picture.end());
        return static_cast<double>(*high) / static_cast<double>(*low);
    };
    EXPECT_GT(contrast(0.0, Structure::NUCLEI), 10.0);
    EXPECT_LT(contrast(-300.0, Structure::NUCLEI), 1.07);
    EXPECT_LT(contrast(-300.0, Structure::SPOTS), 1.15);
}

TEST_F(SimRendererField, TheLightOfTheWholeSlideStaysTheSameFarFromFocus)
{
    // Some 2.5 millimetres each way.
    FrameGeometry geometry = _geometry;
    geometry.sensor_width = geometry.width = 64;
    geometry.sensor_height = geometry.height = 64;
    geometry.pixel_x_um = geometry.pixel_y_um = 40.0;
    geometry.centre = {4000.0, 4000.0, _specimen.Focus().At(4000.0, 4000.0)};
    double const sharp = Sum(Render(geometry, Vignetting{0.0, 0.0, 0.0}));
    geometry.centre.z -= 1000.0;
    EXPECT_NEAR(Sum(Render(geometry, Vignetting{0.0, 0.0, 0.0})) / sharp, 1.0, 0.1);
}

} // namespace velm::sim::test
