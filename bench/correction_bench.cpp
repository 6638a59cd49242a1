// The corrections of a frame, each beside what else does the same. All on one core.

#include "camera_stack.h"
#include "side_by_side.h"
#include "vexaalgo/chromatic.h"
#include "vexaalgo/illumination.h"
#include "vexaalgo/spline_surface.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <fftw3.h>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace {

using namespace velm::bench;
using Frame = vexa::Image3d<unsigned short>;

// Whether two frames are the same but for some grey values.
bool AreAlike(Frame const & a, unsigned short const * b, int tolerance)
{
    return std::equal(a.begin(), a.end(), b, [&](int x, int y) { return std::abs(x - y) <= tolerance; });
}

// The homomorphic filter as one would write it over FFTW: all that doesn't change from frame to frame is made
// before, grey values are looked up in a table of logarithms.
class FftwFilter {
  public:
    FftwFilter(unsigned int width, unsigned int height, vexa::HomomorphicFilterParams const & p)
        : _columns(width / 2 + 1), _values(Allocate(width * height)),
          _spectrum(Allocate(2 * _columns * height)), _emphasis(_columns * height), _logarithms(65536)
    {
        auto * const frequencies = reinterpret_cast<fftwf_complex *>(_spectrum.get());
        auto const rows = static_cast<int>(height);
        auto const columns = static_cast<int>(width);
        _forward = fftwf_plan_dft_r2c_2d(rows, columns, _values.get(), frequencies, FFTW_ESTIMATE);
        _backward = fftwf_plan_dft_c2r_2d(rows, columns, frequencies, _values.get(), FFTW_ESTIMATE);
        for (std::size_t v = 0; v < height; ++v) {
            for (std::size_t u = 0; u < _columns; ++u) {
                auto const vertical = static_cast<double>(std::min(v, height - v));
                double const square = static_cast<double>(u * u) + vertical * vertical;
                double const share = 1.0 - std::exp(-p.c * square / (p.d0 * p.d0));
                _emphasis[v * _columns + u] =
                    static_cast<float>(((p.gamma_high - p.gamma_low) * share + p.gamma_low) /
                                       (static_cast<double>(width) * height));
            }
        }
        for (std::size_t v = 0; v < _logarithms.size(); ++v) {
            _logarithms[v] = static_cast<float>(std::log1p(static_cast<double>(v)));
        }
    }
    ~FftwFilter()
    {
        fftwf_destroy_plan(_forward);
        fftwf_destroy_plan(_backward);
    }
    FftwFilter(FftwFilter const &) = delete;
    FftwFilter & operator=(FftwFilter const &) = delete;

    void Filter(Frame const & in, Frame & out)
    {
        out.MakeRoom(in.size.x, in.size.y, 1);
        std::transform(in.begin(), in.end(), _values.get(), [&](unsigned short v) { return _logarithms[v]; });
        fftwf_execute(_forward);
        for (std::size_t i = 0; i < _emphasis.size(); ++i) {
            _spectrum[2 * i] *= _emphasis[i];
            _spectrum[2 * i + 1] *= _emphasis[i];
        }
        fftwf_execute(_backward);
        std::transform(_values.get(), _values.get() + out.GetCount(), out.begin(), [](float logarithm) {
            float const value = std::exp(logarithm) - 0.5F;
            return static_cast<unsigned short>(std::min(std::max(value, 0.0F), 65535.0F));
        });
    }

  private:
    struct Free {
        void operator()(float * values) const { fftwf_free(values); }
    };
    using Values = std::unique_ptr<float[], Free>;

    static Values Allocate(std::size_t count) { return Values(fftwf_alloc_real(count)); }

    std::size_t _columns;
    Values _values;
    Values _spectrum;
    std::vector<float> _emphasis;
    std::vector<float> _logarithms;
    fftwf_plan _forward;
    fftwf_plan _backward;
};

bool MeasureFilter(Table & table, char const * name, Frame const & frame)
{
    if (!table.Wants(name)) {
        return true;
    }
    vexa::HomomorphicFilterParams const params{0.6, 1.2, 1.0, 20.0};
    FftwFilter filter(frame.size.x, frame.size.y, params);
    Frame ours;
    Frame theirs;
    table.Row(
        name, AtLeast(1.5), [&] { vexa::homFilter(frame, ours, params); },
        [&] { filter.Filter(frame, theirs); });
    return AreAlike(ours, theirs.begin(), 1);
}

// The values of the B-splines that count at each pixel of an axis, and the first one's number.
struct PixelBasis {
    std::vector<std::size_t> first;
    std::vector<double> values;
    std::size_t terms;

    PixelBasis(vexa::SplineAxis const & axis, unsigned int size)
        : first(size), values(size * (axis.GetDegree() + 1)), terms(axis.GetDegree() + 1)
    {
        for (unsigned int i = 0; i < size; ++i) {
            first[i] = axis.Evaluate(i + 0.5, values.data() + i * terms);
        }
    }
};

// The sum of all products that aren't 0, for one pixel after the other, with the values of the B-splines at
// hand.
void SumDirectly(vexa::SplineSurface const & surface, PixelBasis const & xs, PixelBasis const & ys,
                 std::vector<float> & out)
{
    std::size_t const splines = surface.GetX().GetCount();
    double const * const coefficients = surface.GetCoefficients().data();
    float * value = out.data();
    for (std::size_t y = 0; y < ys.first.size(); ++y) {
        for (std::size_t x = 0; x < xs.first.size(); ++x) {
            double sum = 0.0;
            for (std::size_t j = 0; j < ys.terms; ++j) {
                for (std::size_t i = 0; i < xs.terms; ++i) {
                    sum += coefficients[xs.first[x] + i + (ys.first[y] + j) * splines] *
                           xs.values[x * xs.terms + i] * ys.values[y * ys.terms + j];
                }
            }
            *value++ = static_cast<float>(sum);
        }
    }
}

bool MeasureSpline(Table & table, unsigned int width, unsigned int height)
{
    vexa::SplineSurface surface(vexa::SplineAxis(width, 4, 3), vexa::SplineAxis(height, 4, 3));
    std::vector<double> coefficients(surface.GetCoefficients().size());
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        coefficients[i] = 1000.0 + 300.0 * std::sin(static_cast<double>(i));
    }
    surface.SetCoefficients(coefficients);
    PixelBasis const xs(surface.GetX(), width);
    PixelBasis const ys(surface.GetY(), height);
    std::vector<double> centres(width);
    for (unsigned int i = 0; i < width; ++i) {
        centres[i] = i + 0.5;
    }
    std::vector<float> ours(std::size_t{width} * height);
    std::vector<float> theirs(ours.size());
    char const * const name = "B-spline background of 2048 x 2048 / direct double sum";
    table.Row(
        name, AtLeast(10.0),
        [&] {
            vexa::SplineRows const rows(surface.GetX(), centres);
            for (unsigned int y = 0; y < height; ++y) {
                rows.Evaluate(surface, y + 0.5, ours.data() + std::size_t{y} * width);
            }
        },
        [&] { SumDirectly(surface, xs, ys, theirs); });
    return std::equal(ours.begin(), ours.end(), theirs.begin(),
                      [](float a, float b) { return std::abs(a - b) <= 0.001F; });
}

// OpenCV with its quickest form of maps, made before.
bool MeasureChromatic(Table & table, Frame & frame)
{
    vexa::ChromAberParams params;
    params.SetIdentity();
    params.x_plane[0] = 0.131;
    params.x_plane[1] = 1.0007;
    params.x_plane[2] = 0.0004;
    params.y_plane[0] = -0.087;
    params.y_plane[1] = -0.0003;
    params.y_plane[2] = 0.9994;
    cv::Size const size(static_cast<int>(frame.size.x), static_cast<int>(frame.size.y));
    cv::Mat xs(size, CV_32F);
    cv::Mat ys(size, CV_32F);
    double const scale = double{frame.resolution.GetRes().x};
    for (int j = 0; j < size.height; ++j) {
        for (int i = 0; i < size.width; ++i) {
            double const x = i / scale;
            double const y = j / scale;
            xs.at<float>(j, i) = static_cast<float>(
                scale * (params.x_plane[0] + params.x_plane[1] * x + params.x_plane[2] * y));
            ys.at<float>(j, i) = static_cast<float>(
                scale * (params.y_plane[0] + params.y_plane[1] * x + params.y_plane[2] * y));
        }
    }
    cv::Mat places;
    cv::Mat shares;
    cv::convertMaps(xs, ys, places, shares, CV_16SC2);
    cv::Mat const source(size, CV_16U, frame.GetFirstVoxelAddr());
    cv::Mat target;
    Frame ours;
    char const * const name = "chromatic resampling of 2048 x 2048 / OpenCV remap";
    table.Row(
        name, AtLeast(1.0), [&] { vexa::CorrectChromaticAberration(frame, ours, params, false); },
        [&] {
            cv::remap(source, target, places, shares, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
        });
    // Its places are rounded to 1/32 of a pixel, and what lies partly outside is blended with the border.
    std::size_t different = 0;
    for (std::size_t i = 0; i < ours.GetCount(); ++i) {
        different += std::abs(ours.GetVoxel(i) - target.ptr<unsigned short>()[i]) > 100 ? 1 : 0;
    }
    return !table.Wants(name) || different < ours.GetCount() / 500;
}

} // namespace

int main(int argc, char ** argv)
{
    Table table(argc, argv);
    vexa::SetThreadCount(1);
    cv::setNumThreads(1);
    Frame frame = CameraStack(2048, 2048, 1);
    bool right = MeasureFilter(table, "homomorphic filter of 2048 x 2048 / over FFTW", frame);
    Frame const sensor(frame, &static_cast<vexa::Box const &>(vexa::Box(0, 0, 0, 1392, 1040, 1)));
    right = MeasureFilter(table, "homomorphic filter of 1392 x 1040 / over FFTW", sensor) && right;
    right = MeasureSpline(table, 2048, 2048) && right;
    return MeasureChromatic(table, frame) && right ? 0 : 1;
}
