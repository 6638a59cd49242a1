#include "sim/kept_frames.h"
#include "truth.h"
#include "truth_rig.h"
#include "velm_calib_img.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace velm::bench {

namespace {

using Method = VELM_IlluminationCorrectionMethod;

constexpr std::size_t block = 8; // pixels to a side
constexpr int binning = 2;
constexpr long calibration_frames = 9;

// The rig's own setting on a slide whose background shines so brightly and so evenly, as a film of dye does.
std::string EvenSlide(char const * light)
{
    return std::string("Binning=2\nExposure=40000\nBackgroundUnevenness=0\nBackgroundLight=") + light + "\n";
}

// Two frames of one place that differ by their noise alone, and what they would show without noise and
// under even light.
struct Field {
    std::array<Image, 2> frames;
    Picture scene;
};

Field TakeField(Rig & rig, VELM_Channel & channel, double x, double y)
{
    rig.GoTo(x, y, rig.GetZ());
    rig.Use(channel);
    Field field;
    field.frames[0] = rig.TakeStack(channel, 1, 0.0);
    field.frames[1] = rig.TakeStack(channel, 1, 0.0);
    field.scene = rig.LastScene(binning);
    rig.Base().Camera_SetDefaultSetting();
    return field;
}

// Which blocks count, by the block's column and row.
using Choice = std::function<bool(std::size_t, std::size_t)>;

bool Everywhere(std::size_t, std::size_t)
{
    return true;
}

// The means over whole blocks of an image over the scene.
std::vector<double> BlockMeans(Image const & image, Picture const & scene, Choice const & counts)
{
    std::vector<double> means;
    for (std::size_t row = 0; row < scene.height / block; ++row) {
        for (std::size_t column = 0; column < scene.width / block; ++column) {
            if (!counts(column, row)) {
                continue;
            }
            double sum = 0.0;
            for (std::size_t i = 0; i < block * block; ++i) {
                std::size_t const at = (row * block + i / block) * scene.width + column * block + i % block;
                sum += image.GetVoxel(at) / scene.values[at];
            }
            means.push_back(sum / (block * block));
        }
    }
    return means;
}

double MeanOf(std::vector<double> const & values)
{
    double sum = 0.0;
    for (double const value : values) {
        sum += value;
    }
    return sum / static_cast<double>(values.size());
}

// The standard deviation of what two pictures share, in percent of their mean: noise is what they don't
// share, and drops out of the covariance.
double SharedVariation(Image const & one, Image const & other, Picture const & scene, Choice const & counts)
{
    std::vector<double> const a = BlockMeans(one, scene, counts);
    std::vector<double> const b = BlockMeans(other, scene, counts);
    if (a.size() < 100) {
        throw std::runtime_error("too few blocks to tell a variation");
    }
    double const mean_a = MeanOf(a);
    double const mean_b = MeanOf(b);
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += (a[i] - mean_a) * (b[i] - mean_b);
    }
    double const covariance = sum / static_cast<double>(a.size());
    return 100.0 * std::sqrt(std::max(0.0, covariance) / (mean_a * mean_b));
}

double Variation(Field const & field, Choice const & counts)
{
    return SharedVariation(field.frames[0], field.frames[1], field.scene, counts);
}

// The variation that is left when the method has corrected both frames.
double CorrectedVariation(Store & store, VELM_Channel const & channel, Field field, Method::Method method,
                          Choice const & counts)
{
    VELM_CorrectionSettings corrections;
    corrections.GetIlluminationCorrection()->SetMethod(Method(method));
    corrections.GetIlluminationCorrection()->Apply(true);
    for (Image & frame : field.frames) {
        long const id = store.Save({{&channel, &frame, corrections}});
        frame = store.Corrected(id, {channel.GetId()}, channel.GetId());
    }
    return Variation(field, counts);
}

// The blocks with hardly more light in them than the background's, which is the scene's least.
Choice BackgroundOf(Picture const & scene)
{
    double const most = 1.05 * *std::min_element(scene.values.begin(), scene.values.end());
    return [&scene, most](std::size_t column, std::size_t row) {
        for (std::size_t i = 0; i < block * block; ++i) {
            std::size_t const at = (row * block + i / block) * scene.width + column * block + i % block;
            if (scene.values[at] > most) {
                return false;
            }
        }
        return true;
    };
}

// The first marker's channel with a calibration image of so many frames, taken where the rig stands.
VELM_Channel Calibrated(Rig & rig, long frames, VELM_CalibMethod method)
{
    VELM_Channel channel = rig.ChannelOf(0);
    channel.SetCalibType(CALIBRATION_YES);
    channel.TakeCalibImage(new VELM_Calibration_Image);
    rig.Use(channel);
    rig.Base().Calibrate(channel, nullptr, frames, method);
    return channel;
}

void ScoreUniformField(unsigned long seed, Report & report)
{
    Rig rig(seed, EvenSlide("4e6") + "Density=0\n");
    Store store(rig);
    VELM_Channel channels[] = {Calibrated(rig, calibration_frames, CALIB_MEAN),
                               Calibrated(rig, calibration_frames, CALIB_MEDIAN)};
    for (VELM_Channel & channel : channels) {
        store.Add(channel);
    }
    Field const field = TakeField(rig, channels[0], 700.0, -400.0); // elsewhere than the calibration's frames
    auto const corrected = [&](VELM_Channel const & channel, Method::Method method) {
        return CorrectedVariation(store, channel, field, method, Everywhere);
    };
    report.Number("uniform field: variation before correction", Variation(field, Everywhere), "%");
    report.Row("uniform field: variation after calibration, mean of 9 frames",
               corrected(channels[0], Method::CALIBRATION_IMAGE), "%", AtMost(1.0));
    report.Row("uniform field: variation after calibration, median of 9 frames",
               corrected(channels[1], Method::CALIBRATION_IMAGE), "%", AtMost(1.0));
    report.Row("uniform field: variation after the B-spline", corrected(channels[0], Method::BSPLINE), "%",
               AtMost(3.0));
    rig.CheckLog();
}

void ScoreFieldOfNuclei(unsigned long seed, Report & report)
{
    Rig rig(seed, EvenSlide("2e6"));
    VELM_Channel channel = rig.ChannelOf(0);
    Store store(rig);
    store.Add(channel);
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> place(-150.0, 150.0); // where there are always nuclei
    Field const field = TakeField(rig, channel, place(random), place(random));
    Choice const background = BackgroundOf(field.scene);
    report.Number("field of nuclei: variation of the background before correction",
                  Variation(field, background), "%");
    report.Row("field of nuclei: variation of the background after the B-spline",
               CorrectedVariation(store, channel, field, Method::BSPLINE, background), "%", AtMost(3.0));
    rig.CheckLog();
}

// The pixels of a calibration image that aren't what its frames make.
std::size_t DifferingPixels(Rig & rig, wxString const & frames, int first, int count, VELM_CalibMethod method)
{
    VELM_Channel const channel = Calibrated(rig, count, method);
    sim::test::FramePixels const expected = sim::test::JoinKeptFrames(frames, first, count, method);
    Image const & image = *channel.GetCalibImage()->GetFullImage();
    if (expected.size() != image.GetCount()) {
        throw std::runtime_error("a calibration image has not the size of its frames");
    }
    return expected.size() - static_cast<std::size_t>(std::inner_product(
                                 expected.begin(), expected.end(), image.begin(), 0L, std::plus<>(),
                                 [](unsigned short a, unsigned short b) { return a == b ? 1L : 0L; }));
}

} // namespace

void ScoreIllumination(unsigned long seed, Report & report)
{
    ScoreUniformField(seed, report);
    ScoreFieldOfNuclei(seed, report);
}

void ScoreCalibrationFrames(unsigned long seed, Report & report)
{
    sim::test::TempDirectory const frames;
    Rig rig(seed, "FrameDir=" + frames.GetPath().utf8_string() + "\n");
    int taken = 0;
    for (VELM_CalibMethod const method : {CALIB_MEAN, CALIB_MEDIAN}) {
        std::size_t differing = 0;
        for (int const count : {4, 5, 9}) {
            differing += DifferingPixels(rig, frames.GetPath(), taken + 1, count, method);
            taken += count;
        }
        report.Row(method == CALIB_MEAN ? "mean of 4, 5 and 9 frames: differing pixels"
                                        : "median of 4, 5 and 9 frames: differing pixels",
                   static_cast<double>(differing), "", AtMost(0.0));
    }
    rig.CheckLog();
}

} // namespace velm::bench
