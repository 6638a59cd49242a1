#include "drivers/base/velm_base.h"

#include "drivers/base/velm_base_autofocus_steps.h"
#include "velm_channel.h"
#include "velm_focus_kernels.h"
#include "velm_frame_buffer.h"
#include "velm_log_macros.h"
#include "velm_prompt.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <wx/utils.h>

namespace velm {

// ---- Steps

namespace {

// How much further the software bins; 0 when there is nothing that it could bin so.
std::size_t SoftwareFactor(VELM_FrameBuffer const * buffer, int bin)
{
    wxASSERT(buffer);
    if (buffer == nullptr) {
        return 0; // going on after a failed assertion must not crash
    }
    // The condition's own spelling is what a log of assertions shows.
    // clang-format off
    wxASSERT(buffer -> GetSBin() == buffer -> GetPBin());
    // clang-format on
    bool const has_frame = buffer->GetAddr() != nullptr && buffer->GetSBin() >= 1;
    return has_frame && bin >= 1 ? static_cast<std::size_t>(bin / buffer->GetSBin()) : 0;
}

} // namespace

double OneEnvironsSqrFCE(VELM_FrameBuffer * buffer, int bin)
{
    std::size_t const k = SoftwareFactor(buffer, bin);
    return k >= 1 ? SumOfSquaredSteps(buffer->GetAddr(), buffer->GetSizeX(), buffer->GetSizeY(), k) : 0.0;
}

void Binning(VELM_FrameBuffer * buffer, int bin)
{
    std::size_t const f = SoftwareFactor(buffer, bin);
    if (f >= 1) {
        BinInPlace(buffer->GetAddr(), buffer->GetSizeX(), buffer->GetSizeY(), f);
    }
}

void SnapFrame(VELM_BaseControl & velm, VELM_FrameBuffer & buffer)
{
    velm.Camera_StartSnap(&buffer);
    while (velm.Camera_GetStatus(nullptr) != CAMERA_FRAME_READY &&
           velm.Camera_GetStatus(nullptr) != CAMERA_IDLE) {
    }
}

void TakeSnap(VELM_BaseControl * velm, VELM_FrameBuffer * buffer, int bin)
{
    wxASSERT(velm);
    wxASSERT(buffer);
    if (velm != nullptr && buffer != nullptr) {
        SnapFrame(*velm, *buffer);
        Binning(buffer, bin);
    }
}

double FitParabola(double n, double sum_x, double sum_x2, double sum_x3, double sum_x4, double sum_f,
                   double sum_xf, double sum_x2f, double * a, double * b, double * c)
{
    // Cramer's rule on the normal equations; their matrix is symmetric, and so are its cofactors.
    double const c11 = sum_x2 * sum_x4 - sum_x3 * sum_x3;
    double const c12 = sum_x2 * sum_x3 - sum_x * sum_x4;
    double const c13 = sum_x * sum_x3 - sum_x2 * sum_x2;
    double const c22 = n * sum_x4 - sum_x2 * sum_x2;
    double const c23 = sum_x * sum_x2 - n * sum_x3;
    double const c33 = n * sum_x2 - sum_x * sum_x;
    double const determinant = n * c11 + sum_x * c12 + sum_x2 * c13;
    *c = (c11 * sum_f + c12 * sum_xf + c13 * sum_x2f) / determinant;
    *b = (c12 * sum_f + c22 * sum_xf + c23 * sum_x2f) / determinant;
    *a = (c13 * sum_f + c23 * sum_xf + c33 * sum_x2f) / determinant;
    return -*b / (2.0 * *a);
}

// ---- The search

namespace {

constexpr double HIGHEST_RATIO = 1.003; // of two measures in a row, when the light has settled
constexpr double LOWEST_RATIO = 0.997;
constexpr unsigned long FADING_PAUSE = 170; // milliseconds
constexpr double MOST_SAMPLES = 100.0;

// The binning at which the measure works.
int MeasureBinning(VELM_AutoFocusParams const & params)
{
    return 1 << std::clamp(params.binning_exp, 0L, 15L);
}

// The camera's share of it: what the shorter exposure loses is made up by larger pixels, a doubling of the
// binning for each factor of four.
int CameraBinning(VELM_CameraSetting const & setting, long exposure, VELM_AutoFocusParams const & params)
{
    std::uint32_t const light = static_cast<std::uint32_t>(setting.GetExposure()) *
                                static_cast<std::uint32_t>(setting.GetSBin()) *
                                static_cast<std::uint32_t>(setting.GetPBin());
    double const doublings = std::log10(light / static_cast<double>(exposure)) / std::log10(4.0);
    int const most = MeasureBinning(params);
    int binning = 1;
    for (int done = 1; done <= doublings && binning < most; ++done) {
        binning *= 2;
    }
    return binning;
}

// The nearest integer that there is; the lowest for what isn't a number, as processors convert it.
long ToInteger(double value)
{
    constexpr double limit = 9.2e18;
    if (value >= limit) {
        return std::numeric_limits<long>::max();
    }
    return value > -limit ? static_cast<long>(value) : std::numeric_limits<long>::min();
}

// The sums over samples (x, F), x being a plane's distance from the start in tenths of a micron, F the
// measure there.
class FocusSums {
  public:
    void Add(long position, double f)
    {
        double const x = static_cast<double>(position);
        _n += 1.0;
        _x += x;
        _x2 += x * x;
        _x3 += x * x * x;
        _x4 += x * x * x * x;
        _f += f;
        _xf += x * f;
        _x2f += x * x * f;
    }

    double GetCount() const { return _n; }

    // Of the regression line.
    double GetSlope() const { return (_xf - _x * _f / _n) / (_x2 - _x * _x / _n); }

    double GetVertex() const
    {
        double a = 0.0;
        double b = 0.0;
        double c = 0.0;
        return FitParabola(_n, _x, _x2, _x3, _x4, _f, _xf, _x2f, &a, &b, &c);
    }

  private:
    double _n = 0.0;
    double _x = 0.0;
    double _x2 = 0.0;
    double _x3 = 0.0;
    double _x4 = 0.0;
    double _f = 0.0;
    double _xf = 0.0;
    double _x2f = 0.0;
};

// The search, in the order in which its operations are called.
class FocusSearch {
  public:
    FocusSearch(VELM_BaseControl & velm, VELM_AutoFocusParams const & params)
        : _velm(velm), _params(params), _bin(MeasureBinning(params)),
          _buffer(velm.GetImgFlipX(), velm.GetImgFlipY())
    {
    }

    // Keeps the light on the sample until the measure changes no more.
    void LetFade();

    void GoToStart();
    void FindDirection();
    void WalkOverFocus();
    void GoToFocus();

  private:
    // Takes a sample here and sets out for the next plane, so that the drive moves while the measure is
    // computed; the position is always read, since nobody waits for the drive.
    void TakeSample(long step);

    VELM_BaseControl & _velm;
    VELM_AutoFocusParams const & _params;
    int _bin;
    VELM_FrameBuffer _buffer;
    FocusSums _sums;
    long _start = 0;           // the lowest plane; logical position
    long _step = 0;            // the walk's, with its direction
    double _first_slope = 0.0; // of the measure, before the walk
};

void FocusSearch::LetFade()
{
    VELM_LOG_MESSAGE("VELM_BaseControl::AutoFocus: Fading cycle has started...");
    TakeSnap(&_velm, &_buffer, _bin);
    double previous = OneEnvironsSqrFCE(&_buffer, _bin);
    double ratio = 0.0;
    do {
        wxMilliSleep(FADING_PAUSE);
        TakeSnap(&_velm, &_buffer, _bin);
        double const measure = OneEnvironsSqrFCE(&_buffer, _bin);
        ratio = previous / measure;
        previous = measure;
    } while (ratio < LOWEST_RATIO || ratio > HIGHEST_RATIO); // two black frames, 0 / 0, have settled
    VELM_LOG_MESSAGE("VELM_BaseCorntol::AutoFocus: Fading cycle has finished.");
}

void FocusSearch::GoToStart()
{
    _velm.ZDrive_SetRelPos(-(_params.dir_samples / 2) * _params.step);
    _velm.ZDrive_WaitPos();
    _start = _velm.ZDrive_GetCurPos();
}

void FocusSearch::TakeSample(long step)
{
    long const position = _velm.ZDrive_GetCurPos() - _start;
    TakeSnap(&_velm, &_buffer, _bin);
    _velm.ZDrive_SetRelPos(step);
    _sums.Add(position, OneEnvironsSqrFCE(&_buffer, _bin));
}

void FocusSearch::FindDirection()
{
    VELM_LOG_MESSAGE("Finding of the direction of focusing has started...");
    for (long i = 0; i < _params.dir_samples; ++i) {
        TakeSample(_params.step);
    }
    _first_slope = _sums.GetSlope();
    VELM_LOG_MESSAGE("Finding of the direction of focusing has finished...");
    if (_first_slope < 0.0) {
        _step = -_params.step;
        _velm.ZDrive_SetRelPos(_step * _params.dir_samples); // back to the start
    } else {
        _step = _params.step;
        _velm.ZDrive_SetRelPos(_step);
    }
}

void FocusSearch::WalkOverFocus()
{
    VELM_LOG_MESSAGE("VELM_BaseControl::AutoFocus: Data acquiring loop has started...");
    do {
        TakeSample(_step);
    } while (!(_sums.GetSlope() * _first_slope <= 0.0) && _sums.GetCount() < MOST_SAMPLES);
    VELM_LOG_MESSAGE("VELM_BaseControl::AutoFocus: Data acquiring loop has finished.");
}

void FocusSearch::GoToFocus()
{
    // Upwards, two steps are the half of five planes: the window's centre is where the search began.
    long const centre = 2 * _step;
    long vertex = ToInteger(std::floor(_sums.GetVertex() + 0.5));
    vertex = std::min(vertex, centre + _params.max_shift);
    vertex = std::max(vertex, centre - _params.max_shift);
    _velm.ZDrive_SetRelPos(_start + vertex - _velm.ZDrive_GetCurPos());
    _velm.ZDrive_WaitPos();
}

} // namespace

void VELM_BaseControl::AutoFocus(VELM_Database const * db, VELM_Channel & channel,
                                 VELM_AutoFocusParams const & params, wxWindow * parent)
{
    VELM_CameraSetting * const setting = channel.GetCameraSetting();
    if (setting == nullptr) {
        throw VELM_BaseControlError(
            wxString::Format("Channel '%s' has no camera setting to focus with.", channel.GetName()));
    }
    prompt::BusyBox const busy("Please wait, auto focusing...", parent);
    FocusSearch search(*this, params);

    long const exposure = params.exposure_passes * _spin_disk_time;
    int const binning = CameraBinning(*setting, exposure, params);
    setting->SetExposure(static_cast<unsigned long>(exposure));
    setting->SetBinning(binning, binning);
    Channel_Set(channel, db);
    Camera_Set(setting, nullptr);
    Camera_SetFullFrame();
    Shutter_Open();

    search.LetFade();
    search.GoToStart();
    search.FindDirection();
    search.WalkOverFocus();
    Shutter_RequestClose();
    search.GoToFocus();
}

} // namespace velm
