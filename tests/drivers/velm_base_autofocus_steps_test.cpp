// What the search for focus is made of; the search itself is in velm_base_autofocus_test.

#include "drivers/base/velm_base_autofocus_steps.h"

#include "support/assert_recorder.h"
#include "support/every_machine.h"
#include "support/stub_microscope.h"
#include "support/voxels.h"
#include "velm_frame_buffer.h"

#include <cmath>

namespace velm::test {

namespace {

using Pixels = std::vector<unsigned short>;
using Strings = std::vector<std::string>;

// A frame of the camera with that binning.
class Frame {
  public:
    Frame(unsigned int width, unsigned int height, int bin, Pixels const & pixels)
        : _buffer(width, height, bin, bin, 0, 0, false, false)
    {
        std::copy(pixels.begin(), pixels.end(), _buffer.GetAddr());
    }

    VELM_FrameBuffer * Get() { return &_buffer; }
    Pixels GetPixels() const { return {_buffer.GetAddr(), _buffer.GetAddr() + _buffer.GetSize()}; }

  private:
    VELM_FrameBuffer _buffer;
};

// Pixels of so many bits.
Pixels Pattern(unsigned int width, unsigned int height, int bits = 16)
{
    Pixels pixels = Voxels(PatternImage<unsigned short>(width, height, 1, width + height));
    for (unsigned short & pixel : pixels) {
        pixel = static_cast<unsigned short>(pixel >> (16 - bits));
    }
    return pixels;
}

// Both as their definitions say.
double PlainMeasure(Pixels const & pixels, std::size_t width, std::size_t height, std::size_t k)
{
    double sum = 0.0;
    for (std::size_t y = k; y + k < height; y += k) {
        for (std::size_t x = k; x + k < width; x += k) {
            double const step = double{1} * pixels[y * width + x + k] - pixels[y * width + x - k];
            sum += step * step;
        }
    }
    return sum;
}

Pixels PlainBinning(Pixels pixels, std::size_t width, std::size_t height, std::size_t f)
{
    for (std::size_t y = 0; y < height; y += f) {
        for (std::size_t x = 0; x < width; x += f) {
            double sum = 0.0;
            for (std::size_t i = 0; i < f * f; ++i) {
                sum += pixels[(y + i / f) * width + x + i % f];
            }
            pixels[y * width + x] = static_cast<unsigned short>(sum / static_cast<double>(f * f));
        }
    }
    return pixels;
}

class FocusSteps : public testing::Test {
  protected:
    StubMicroscope microscope;
    VELM_BaseControl & control = microscope.Start();
    StubSetting setting;
};

} // namespace

// ---- The measure

TEST(FocusMeasure, IsTheSumOfTheSquaredHorizontalStepsFromPixelToPixelButOne)
{
    // Rows and columns at the frame's edge have no neighbours on both sides.
    Frame frame(4, 3, 1, {9, 9, 9, 9, 1, 7, 4, 17, 1, 1, 4, 6});
    EXPECT_EQ(OneEnvironsSqrFCE(frame.Get(), 1), 3.0 * 3.0 + 10.0 * 10.0);
}

TEST(FocusMeasure, ReadsOnlyTheCornersOfTheBlocksThatWereBinned)
{
    Pixels pixels(12 * 6, 999);
    pixels[2 * 12 + 0] = 10;
    pixels[2 * 12 + 2] = 20;
    pixels[2 * 12 + 4] = 40;
    pixels[2 * 12 + 6] = 80;
    pixels[2 * 12 + 8] = 160;
    pixels[2 * 12 + 10] = 320;
    Frame frame(12, 6, 4, pixels);
    EXPECT_EQ(OneEnvironsSqrFCE(frame.Get(), 8), 30.0 * 30 + 60.0 * 60 + 120.0 * 120 + 240.0 * 240);
}

TEST(FocusMeasure, OfAFrameTooSmallForOneRowIsZero)
{
    EXPECT_EQ(OneEnvironsSqrFCE(Frame(9, 2, 1, Pattern(9, 2)).Get(), 1), 0.0);
    EXPECT_EQ(OneEnvironsSqrFCE(Frame(2, 9, 1, Pattern(2, 9)).Get(), 1), 0.0);
    EXPECT_EQ(OneEnvironsSqrFCE(Frame(16, 16, 1, Pattern(16, 16)).Get(), 16), 0.0);
    EXPECT_EQ(OneEnvironsSqrFCE(Frame(1, 1, 1, {5}).Get(), 1), 0.0);
}

TEST(FocusMeasure, OfABufferWithoutAFrameOrBinnedTooFarIsZero)
{
    VELM_FrameBuffer empty(false, false);
    EXPECT_EQ(OneEnvironsSqrFCE(&empty, 1), 0.0);
    EXPECT_EQ(OneEnvironsSqrFCE(Frame(9, 9, 4, Pattern(9, 9)).Get(), 2), 0.0);
}

TEST(FocusMeasure, IsTheSameOnAnyMachine)
{
    for (unsigned int const width : {3U, 16U, 17U, 34U, 35U, 64U, 131U, 514U}) {
        for (unsigned int const k : {1U, 2U, 3U, 4U, 8U, 16U}) {
            for (int const bits : {12, 15, 16}) {
                unsigned int const height = 3 * k + 2;
                Pixels const pixels = Pattern(width, height, bits);
                double const expected = PlainMeasure(pixels, width, height, k);
                OnEveryMachine([&] {
                    Frame frame(width, height, 2, pixels);
                    ASSERT_EQ(OneEnvironsSqrFCE(frame.Get(), 2 * static_cast<int>(k)), expected)
                        << width << ", " << k;
                });
            }
        }
    }
}

TEST(FocusMeasure, OfTheHighestStepsOfAnyBitDepthIsTheSameOnAnyMachine)
{
    for (int const value : {16383, 16384, 32767, 32768, 65535}) {
        Pixels pixels;
        for (int i = 0; i < 300 * 3; ++i) {
            pixels.push_back(static_cast<unsigned short>(i / 2 % 2 == 0 ? 0 : value));
        }
        double const expected = PlainMeasure(pixels, 300, 3, 1);
        ASSERT_EQ(expected, 298.0 * value * value);
        OnEveryMachine(
            [&] { ASSERT_EQ(OneEnvironsSqrFCE(Frame(300, 3, 1, pixels).Get(), 1), expected) << value; });
    }
}

TEST(FocusMeasure, OfSingleBrightPixelsIsTheSameOnAnyMachine)
{
    for (std::size_t bright = 0; bright < 3 * 100; ++bright) {
        for (int const value : {32767, 32768, 65535}) {
            Pixels pixels(3 * 100, 0);
            pixels[bright] = static_cast<unsigned short>(value);
            double const expected = PlainMeasure(pixels, 100, 3, 1);
            OnEveryMachine(
                [&] { ASSERT_EQ(OneEnvironsSqrFCE(Frame(100, 3, 1, pixels).Get(), 1), expected) << bright; });
        }
    }
}

TEST(FocusMeasure, OfTheHighestContrastIsWhatAddingUpInDoublePrecisionGives)
{
    constexpr int side = 2000; // steps from black to white add up beyond what is exact
    Pixels pixels;
    for (int i = 0; i < side * side; ++i) {
        pixels.push_back(static_cast<unsigned short>(i / 2 % 2 == 0 ? 0 : 65535 - i % 7));
    }
    double const expected = PlainMeasure(pixels, side, side, 1);
    ASSERT_GT(expected, 9007199254740992.0);
    OnEveryMachine([&] {
        Frame frame(side, side, 1, pixels);
        ASSERT_EQ(OneEnvironsSqrFCE(frame.Get(), 1), expected);
    });
}

// ---- Binning

TEST(FocusBinning, PutsTheTruncatedMeanOfEachBlockIntoItsCornerAndLeavesTheRest)
{
    Frame frame(4, 4, 1, {1, 2, 10, 20, 3, 5, 30, 41, 0, 0, 65535, 65535, 0, 3, 65535, 65534});
    Binning(frame.Get(), 2);
    EXPECT_EQ(frame.GetPixels(),
              (Pixels{2, 2, 25, 20, 3, 5, 30, 41, 0, 0, 65534, 65535, 0, 3, 65535, 65534}));
}

TEST(FocusBinning, OfAFrameThatHasThatBinningDoesNothing)
{
    Pixels const pixels = Pattern(8, 8);
    Frame frame(8, 8, 4, pixels);
    Binning(frame.Get(), 4);
    EXPECT_EQ(frame.GetPixels(), pixels);
    Binning(frame.Get(), 2);
    EXPECT_EQ(frame.GetPixels(), pixels);
    VELM_FrameBuffer empty(false, false);
    Binning(&empty, 16);
    EXPECT_EQ(empty.GetAddr(), nullptr);
}

TEST(FocusBinning, IsTheSameOnAnyMachine)
{
    for (unsigned int const f : {2U, 3U, 4U, 5U, 8U, 16U, 32U}) {
        for (unsigned int const blocks : {1U, 2U, 3U, 5U, 9U, 17U, 40U}) {
            Pixels const pixels = Pattern(f * blocks, 2 * f);
            Pixels const expected = PlainBinning(pixels, f * blocks, std::size_t{2} * f, f);
            OnEveryMachine([&] {
                Frame frame(f * blocks, 2 * f, 2, pixels);
                Binning(frame.Get(), 2 * static_cast<int>(f));
                ASSERT_TRUE(frame.GetPixels() == expected) << f << ", " << blocks;
            });
        }
    }
}

TEST(FocusBinning, OfWhiteBlocksDoesNotOverflow)
{
    for (unsigned int const side : {16U, 64U, 512U}) {
        Pixels const white(side * side, 65535);
        OnEveryMachine([&] {
            Frame frame(side, side, 1, white);
            Binning(frame.Get(), static_cast<int>(side));
            ASSERT_TRUE(frame.GetPixels() == white);
        });
    }
}

TEST(FocusBinning, ABlockAtTheRightEdgeReadsOnAlongTheMemory)
{
    Frame frame(3, 3, 1, {1, 1, 2, 4, 1, 6, 8, 1, 1});
    Binning(frame.Get(), 2);
    EXPECT_EQ(frame.GetPixels(), (Pixels{1, 1, (2 + 4 + 6 + 8) / 4, 4, 1, 6, 8, 1, 1}));
}

TEST(FocusBinning, ABlockThatWouldReadBehindTheFrameStaysAsItIs)
{
    for (unsigned int const width : {17U, 33U, 100U}) {
        for (unsigned int const height : {1U, 15U, 17U, 33U}) {
            Pixels const pixels = Pattern(width, height);
            OnEveryMachine([&] {
                Frame frame(width, height, 1, pixels);
                Binning(frame.Get(), 16);
                Pixels const binned = frame.GetPixels();
                for (std::size_t i = 0; i < binned.size(); ++i) {
                    bool const corner = i / width % 16 == 0 && i % width % 16 == 0;
                    bool const inside = i + std::size_t{15} * width + 15 < binned.size();
                    ASSERT_TRUE((corner && inside) || binned[i] == pixels[i]) << i;
                }
            });
        }
    }
}

// ---- Snap

TEST_F(FocusSteps, ASnapTestsForAFrameThatIsReadyAndThenForAnIdleCamera)
{
    setting.SetRegion(0, 0, 9, 4);
    control.Camera_Set(&setting, nullptr);
    Rig().TakeCalls();
    VELM_FrameBuffer buffer(false, true);
    // The answers to the first and the second question of each round.
    Rig().camera_status = {CAMERA_EXPOSING,    CAMERA_READING, CAMERA_FAILED, CAMERA_FAILED,  CAMERA_IDLE,
                           CAMERA_FRAME_READY, CAMERA_READING, CAMERA_IDLE,   CAMERA_EXPOSING};
    TakeSnap(&control, &buffer, 1);
    EXPECT_EQ(Rig().camera_status.size(), 1U);
    Strings expected(9, "camera.GetStatus(null)");
    expected[0] = "camera.StartFrameCapture(50,0,1)";
    EXPECT_EQ(Rig().TakeCalls(), expected);

    Rig().camera_status = {CAMERA_FRAME_READY};
    TakeSnap(&control, &buffer, 1);
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"camera.StartFrameCapture(50,0,1)", "camera.GetStatus(null)"}));
}

TEST_F(FocusSteps, ASnapIsBinned)
{
    setting.SetRegion(0, 0, 3, 1);
    control.Camera_Set(&setting, nullptr);
    Rig().expose = [](unsigned short * pixels, unsigned int) {
        Pixels const frame{1, 2, 10, 20, 3, 4, 30, 41};
        std::copy(frame.begin(), frame.end(), pixels);
    };
    VELM_FrameBuffer buffer(false, false);
    TakeSnap(&control, &buffer, 2);
    EXPECT_EQ(buffer.GetAddr()[0], 2);
    EXPECT_EQ(buffer.GetAddr()[2], 25);
}

TEST_F(FocusSteps, MissingArgumentsTripAssertions)
{
    VELM_FrameBuffer buffer(false, false);
    EXPECT_EQ(VELM_TRIPPED_BY(OneEnvironsSqrFCE(nullptr, 1)), "buffer");
    EXPECT_EQ(VELM_TRIPPED_BY(Binning(nullptr, 1)), "buffer");
    EXPECT_EQ(VELM_TRIPPED_BY(TakeSnap(nullptr, &buffer, 1)), "velm");
    EXPECT_EQ(VELM_TRIPPED_BY(TakeSnap(&control, nullptr, 1)), "buffer");
    AssertRecorder const asserts; // lets the program go on
    EXPECT_EQ(OneEnvironsSqrFCE(nullptr, 1), 0.0);
    Binning(nullptr, 1);
    TakeSnap(nullptr, nullptr, 1);
    EXPECT_EQ(asserts.Conditions(), (Strings{"buffer", "buffer", "velm", "buffer"}));
}

TEST_F(FocusSteps, PixelsThatAreNotSquareTripAnAssertion)
{
    VELM_FrameBuffer buffer(4, 4, 1, 2, 0, 0, false, false);
    char const * const condition = "buffer -> GetSBin() == buffer -> GetPBin()";
    EXPECT_EQ(VELM_TRIPPED_BY(OneEnvironsSqrFCE(&buffer, 2)), condition);
    EXPECT_EQ(VELM_TRIPPED_BY(Binning(&buffer, 2)), condition);
}

// ---- The parabola

namespace {

struct Parabola {
    double a;
    double b;
    double c;
    double vertex;
};

// The fit through values at 0, 10, 20, ...
Parabola Fit(std::vector<double> const & values)
{
    double sums[8] = {};
    for (std::size_t i = 0; i < values.size(); ++i) {
        double const x = 10.0 * static_cast<double>(i);
        for (int power = 0; power < 5; ++power) {
            sums[power] += std::pow(x, power);
        }
        for (int power = 0; power < 3; ++power) {
            sums[5 + power] += values[i] * std::pow(x, power);
        }
    }
    Parabola fit{};
    fit.vertex = FitParabola(sums[0], sums[1], sums[2], sums[3], sums[4], sums[5], sums[6], sums[7], &fit.a,
                             &fit.b, &fit.c);
    return fit;
}

} // namespace

TEST(FocusParabola, ThroughPointsOfAParabolaIsThatParabola)
{
    std::vector<double> values;
    for (int x = 0; x < 80; x += 10) {
        values.push_back(-3.0 * (x - 32) * (x - 32) + 7000.0);
    }
    Parabola const fit = Fit(values);
    EXPECT_NEAR(fit.a, -3.0, 1e-9);
    EXPECT_NEAR(fit.b, 192.0, 1e-7);
    EXPECT_NEAR(fit.c, 3928.0, 1e-5);
    EXPECT_NEAR(fit.vertex, 32.0, 1e-8);
}

TEST(FocusParabola, ThroughOtherPointsIsTheOneOfLeastSquares)
{
    // Worked out in fractions.
    Parabola const fit = Fit({3.0, 3.0, 1.0, 2.0, 2.0});
    EXPECT_NEAR(fit.a, 3.0 / 1400.0, 1e-12);
    EXPECT_NEAR(fit.b, -81.0 / 700.0, 1e-12);
    EXPECT_NEAR(fit.c, 113.0 / 35.0, 1e-12);
    EXPECT_NEAR(fit.vertex, 27.0, 1e-9);
}

TEST(FocusParabola, OfALevelMeasureHasNoVertex)
{
    EXPECT_FALSE(std::isfinite(Fit({0.0, 0.0, 0.0, 0.0, 0.0, 0.0}).vertex));
    EXPECT_FALSE(std::isfinite(Fit({5.0}).vertex));
}

} // namespace velm::test
