#include "sim_optics.h"

#include <cmath>

namespace velm::sim::test {

TEST(SimOptics, TheApertureIsTheNumberBehindTheSlash)
{
    EXPECT_DOUBLE_EQ(Objective::Of("63x/1.40 oil", 63.0).aperture, 1.4);
    EXPECT_DOUBLE_EQ(Objective::Of("Plan 10x/0.30", 10.0).aperture, 0.3);
}

TEST(SimOptics, AnApertureThatIsNotNamedIsGuessedFromTheMagnification)
{
    EXPECT_DOUBLE_EQ(Objective::Of("20x", 20.0).aperture, 0.56);
    EXPECT_DOUBLE_EQ(Objective::Of("100x/oil", 100.0).aperture, 1.4);
    EXPECT_DOUBLE_EQ(Objective::Of("100x/7.5", 100.0).aperture, 1.4);
}

TEST(SimOptics, AHigherApertureIsSharperBrighterAndLessDeep)
{
    Objective const low = Objective::Of("10x/0.30", 10.0);
    Objective const high = Objective::Of("63x/1.40", 63.0);
    EXPECT_GT(low.SharpSigma(0.5), high.SharpSigma(0.5));
    EXPECT_LT(low.Spreading(), high.Spreading());
    EXPECT_DOUBLE_EQ(high.Collection(), 1.0);
    EXPECT_NEAR(low.Collection(), 0.0459, 1e-4);
}

TEST(SimOptics, FadingFallsTowardsThePlateauAndNoFurther)
{
    Marker marker;
    marker.fade_s = 10.0;
    marker.fade_plateau = 0.4;
    EXPECT_DOUBLE_EQ(marker.Remaining(0.0), 1.0);
    EXPECT_NEAR(marker.Remaining(10.0), 0.4 + 0.6 / std::exp(1.0), 1e-12);
    EXPECT_NEAR(marker.Remaining(1e6), 0.4, 1e-12);
}

TEST(SimOptics, VignettingIsBrightestAtItsCentre)
{
    Vignetting const vignetting{0.3, 0.1, 0.0};
    EXPECT_DOUBLE_EQ(vignetting.At(110.0, 50.0, 200.0, 100.0), 1.0);
    double const corner2 = 110.0 * 110.0 + 50.0 * 50.0;
    EXPECT_NEAR(vignetting.At(0.0, 0.0, 200.0, 100.0), 1.0 - 0.3 * corner2 / 12500.0, 1e-12);
}

TEST(SimOptics, TheOpticalAxisMeetsTheMiddleOfTheSensor)
{
    FrameGeometry geometry;
    geometry.sensor_width = 100;
    geometry.sensor_height = 80;
    geometry.centre = {500.0, 300.0, 0.0};
    EXPECT_DOUBLE_EQ(geometry.Column(500.0), 49.5);
    EXPECT_DOUBLE_EQ(geometry.Row(300.0), 39.5);
    EXPECT_DOUBLE_EQ(geometry.Column(501.0), 59.5);
    geometry.orientation_x = -1;
    EXPECT_DOUBLE_EQ(geometry.Column(501.0), 39.5);
    geometry.bin_x = 2;
    EXPECT_DOUBLE_EQ(geometry.Column(500.0), 24.5);
    Area const field = geometry.Field();
    EXPECT_DOUBLE_EQ(field.left, 495.0);
    EXPECT_DOUBLE_EQ(field.bottom, 304.0);
}

} // namespace velm::sim::test
