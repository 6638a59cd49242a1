#include "sim_renderer.h"

#include "sim_vectorised.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velm::sim {

namespace {

// Below this many pixels a Gaussian has to be integrated over each pixel; above, its value at the pixel's
// centre will do once the pixel's own variance is added.
constexpr double NARROW = 1.0;

// A Gaussian of this many grid steps or more goes to the next coarser grid, where it has half as many: the
// interpolation is then off by less than a thousandth of the peak.
constexpr double WIDE = 6.0;

constexpr double ROOT_2_PI = 2.50662827463100050242;

// Share of a Gaussian's light, along one axis, that lies within the cut.
double const KEPT = std::erf(BlobCanvas::CUT / std::sqrt(2.0));

int FloorHalf(int value)
{
    return value >= 0 ? value / 2 : -((1 - value) / 2);
}

// Whole numbers below and above; the standard functions cost a call each.
int Floor(double value)
{
    int const whole = static_cast<int>(value);
    return whole - (value < whole ? 1 : 0);
}

int Ceil(double value)
{
    int const whole = static_cast<int>(value);
    return whole + (value > whole ? 1 : 0);
}

int RoundUp(int count)
{
    return (count + 7) / 8 * 8;
}

// The cumulative normal distribution, by linear interpolation in a table that is exact to 2e-7.
class Cumulative {
  public:
    Cumulative()
    {
        for (std::size_t i = 0; i < _table.size(); ++i) {
            double const x = static_cast<double>(i) / PER_UNIT - END;
            _table[i] = static_cast<float>(0.5 * (1.0 + std::erf(x / std::sqrt(2.0))));
        }
    }

    double At(double x) const
    {
        double const place = std::clamp((x + END) * PER_UNIT, 0.0, LAST);
        auto const index = std::min(static_cast<std::size_t>(place), _table.size() - 2);
        double const part = place - static_cast<double>(index);
        double const low = static_cast<double>(_table[index]);
        return low + part * (static_cast<double>(_table[index + 1]) - low);
    }

  private:
    static constexpr double END = 5.0;
    static constexpr double PER_UNIT = 512.0;
    static constexpr double LAST = 2.0 * END * PER_UNIT;
    std::array<float, static_cast<std::size_t>(LAST) + 1> _table{};
};

// peak * exp(-scale * t²) for t = start, start + 1, ... The exponential is the 16th power of its own series,
// which is off by less than 3e-6 of the peak.
SIM_VECTORISED void SampleGaussian(float start, float scale, float peak, int count, float * values)
{
    for (int i = 0; i < count; ++i) {
        float const t = start + static_cast<float>(i);
        float const far = t * t * scale * 0.0625f;
        float const v = far < 1.2f ? far : 1.2f; // the series turns up again where nothing is left of it
        float power = 1.0f - v * (1.0f - v * (0.5f - v * (1.0f / 6.0f - v * (1.0f / 24.0f))));
        power *= power;
        power *= power;
        power *= power;
        values[i] = peak * power * power;
    }
}

// A Gaussian along one axis at the whole numbers from first to last: its integral over each step when it is
// narrow, its value otherwise; steps is the number of pixels to a step of the grid, sigma is in steps, and
// light the sum over all pixels.
void MakeProfile(double centre, double sigma, double steps, double light, int first, int last,
                 std::vector<float> & profile)
{
    static Cumulative const cumulative;
    int const count = last - first + 1;
    profile.resize(static_cast<std::size_t>(count));
    if (steps == 1.0 && sigma < NARROW) {
        double below = cumulative.At((first - 0.5 - centre) / sigma);
        for (int i = 0; i < count; ++i) {
            double const above = cumulative.At((first + i + 0.5 - centre) / sigma);
            profile[static_cast<std::size_t>(i)] = static_cast<float>(light * (above - below) / KEPT);
            below = above;
        }
        return;
    }
    SampleGaussian(static_cast<float>(first - centre), static_cast<float>(0.5 / (sigma * sigma)),
                   static_cast<float>(light / (ROOT_2_PI * sigma * steps * KEPT)), count, profile.data());
}

// target[i] += factor * source[i]
SIM_VECTORISED void AddScaled(float * target, float const * source, float factor, int count)
{
    for (int i = 0; i < count; ++i) {
        target[i] += factor * source[i];
    }
}

// Adds the outer product of a column and a row of profile values.
SIM_VECTORISED void AddOuter(float * target, std::ptrdiff_t stride, float const * columns, int width,
                             float const * rows, int height)
{
    for (int y = 0; y < height; ++y) {
        float const factor = rows[y];
        for (int x = 0; x < width; ++x) {
            target[x] += factor * columns[x];
        }
        target += stride;
    }
}

// The four-point interpolation half way between the middle two.
inline float Between(float a, float b, float c, float d)
{
    return 0.5625f * (b + c) - 0.0625f * (a + d);
}

// Interpolates one row to steps half as wide. first: the index of the first fine value; source points to the
// coarse value of index 0, which may lie outside the row.
SIM_VECTORISED void RefineRow(float const * source, int first, int count, float * target)
{
    int i = 0;
    if ((first & 1) != 0 && count > 0) {
        int const k = FloorHalf(first);
        target[i++] = Between(source[k - 1], source[k], source[k + 1], source[k + 2]);
    }
    float const * s = source + FloorHalf(first + i);
    int const pairs = (count - i) / 2;
    float * t = target + i;
    for (int p = 0; p < pairs; ++p) {
        t[2 * p] = s[p];
        t[2 * p + 1] = Between(s[p - 1], s[p], s[p + 1], s[p + 2]);
    }
    if (i + 2 * pairs < count) {
        t[2 * pairs] = s[pairs];
    }
}

SIM_VECTORISED void AddBetween(float * target, float const * a, float const * b, float const * c,
                               float const * d, int count)
{
    for (int i = 0; i < count; ++i) {
        target[i] += Between(a[i], b[i], c[i], d[i]);
    }
}

SIM_VECTORISED void Attenuate(float * row, float const * falloff, float peak, int count)
{
    for (int i = 0; i < count; ++i) {
        float const share = peak - falloff[i];
        row[i] *= share > 0.0f ? share : 0.0f;
    }
}

} // namespace

void BlobCanvas::Reset(int first_x, int first_y, int width, int height)
{
    _grids.resize(LEVELS);
    int left = first_x, top = first_y, right = first_x + width - 1, bottom = first_y + height - 1;
    for (Grid & grid : _grids) {
        grid.first_x = left;
        grid.first_y = top;
        grid.width = right - left + 1;
        grid.height = bottom - top + 1;
        grid.used = false;
        left = FloorHalf(left) - 1;
        top = FloorHalf(top) - 1;
        right = FloorHalf(right) + 2;
        bottom = FloorHalf(bottom) + 2;
    }
    Use(0);
}

BlobCanvas::Grid & BlobCanvas::Use(std::size_t level)
{
    Grid & grid = _grids[level];
    if (!grid.used) {
        grid.used = true;
        grid.values.assign(static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height),
                           0.0f);
    }
    return grid;
}

void BlobCanvas::Add(double x, double y, double sigma_x, double sigma_y, double light)
{
    // A narrow Gaussian is integrated over each pixel; a wide one gets the pixel's variance instead.
    auto const widen = [](double sigma) {
        return sigma < NARROW ? sigma : std::sqrt(sigma * sigma + 1.0 / 12.0);
    };
    double const wide_x = widen(sigma_x);
    double const wide_y = sigma_y == sigma_x ? wide_x : widen(sigma_y);
    std::size_t level = 0;
    double steps = 1.0;
    while (std::min(wide_x, wide_y) >= WIDE * steps && level + 1 < LEVELS) {
        steps *= 2.0;
        ++level;
    }
    Grid const & window = _grids[level];
    double const scale = 1.0 / steps;
    double const u = x * scale;
    double const v = y * scale;
    // A narrow Gaussian's light reaches half a pixel farther than its cut.
    double const beyond = level == 0 ? 0.5 : 0.0;
    double const reach_x = CUT * scale * wide_x + beyond;
    double const reach_y = CUT * scale * wide_y + beyond;
    // Whole registers are drawn faster than parts of one, and beyond the cut there is next to no light.
    int const left = Ceil(u - reach_x);
    int const right = left + RoundUp(Floor(u + reach_x) - left + 1) - 1;
    int const top = Ceil(v - reach_y);
    int const bottom = Floor(v + reach_y);
    if (right < window.first_x || left >= window.first_x + window.width || bottom < window.first_y ||
        top >= window.first_y + window.height || left > right || top > bottom) {
        return;
    }
    MakeProfile(u, scale * wide_x, steps, 1.0, left, right, _columns);
    MakeProfile(v, scale * wide_y, steps, light, top, bottom, _rows);
    AddProduct(Use(level), left, top);
}

void BlobCanvas::AddProduct(Grid & grid, int x, int y)
{
    int const skip_x = std::max(0, grid.first_x - x);
    int const skip_y = std::max(0, grid.first_y - y);
    int const end_x = std::min(static_cast<int>(_columns.size()), grid.first_x + grid.width - x);
    int const end_y = std::min(static_cast<int>(_rows.size()), grid.first_y + grid.height - y);
    std::ptrdiff_t const stride = grid.width;
    float * const target =
        grid.values.data() + (y + skip_y - grid.first_y) * stride + (x + skip_x - grid.first_x);
    AddOuter(target, stride, _columns.data() + skip_x, end_x - skip_x, _rows.data() + skip_y, end_y - skip_y);
}

void BlobCanvas::AddSmooth(double spacing, std::function<double(double x, double y)> const & value)
{
    std::size_t level = 0;
    double steps = 1.0;
    while (2.0 * steps <= spacing && level + 1 < LEVELS) {
        steps *= 2.0;
        ++level;
    }
    Grid & grid = Use(level);
    float * target = grid.values.data();
    for (int y = 0; y < grid.height; ++y) {
        for (int x = 0; x < grid.width; ++x) {
            *target++ += static_cast<float>(value(steps * (grid.first_x + x), steps * (grid.first_y + y)));
        }
    }
}

void BlobCanvas::Finish(std::vector<float> & picture)
{
    std::size_t top = LEVELS - 1;
    while (top > 0 && !_grids[top].used) {
        --top;
    }
    for (std::size_t level = top; level > 0; --level) {
        Refine(_grids[level], Use(level - 1), _refined);
    }
    std::swap(picture, _grids[0].values);
    _grids[0].used = false;
}

// Adds the coarse grid's values, interpolated along x and then along y.
void BlobCanvas::Refine(Grid const & coarse, Grid & fine, std::vector<float> & rows)
{
    auto const width = static_cast<std::size_t>(fine.width);
    rows.resize(width * static_cast<std::size_t>(coarse.height));
    for (int y = 0; y < coarse.height; ++y) {
        float const * const row = coarse.values.data() + static_cast<std::ptrdiff_t>(y) * coarse.width;
        RefineRow(row - coarse.first_x, fine.first_x, fine.width,
                  rows.data() + static_cast<std::size_t>(y) * width);
    }
    auto const refined = [&](int index) {
        return rows.data() + static_cast<std::ptrdiff_t>(index - coarse.first_y) * fine.width;
    };
    for (int y = 0; y < fine.height; ++y) {
        int const index = fine.first_y + y;
        int const k = FloorHalf(index);
        float * const target = fine.values.data() + static_cast<std::ptrdiff_t>(y) * fine.width;
        if ((index & 1) == 0) {
            AddScaled(target, refined(k), 1.0f, fine.width);
        } else {
            AddBetween(target, refined(k - 1), refined(k), refined(k + 1), refined(k + 2), fine.width);
        }
    }
}

Renderer::Renderer(Specimen & specimen, LightLevels const & levels, Vignetting const & vignetting)
    : _specimen(&specimen), _levels(levels), _vignetting(vignetting)
{
}

std::vector<float> const & Renderer::Render(FrameGeometry const & geometry, Objective const & objective,
                                            std::vector<Shine> const & shines)
{
    _specimen->Trim();
    _canvas.Reset(geometry.first_x / geometry.bin_x, geometry.first_y / geometry.bin_y, geometry.width,
                  geometry.height);
    for (Shine const & shine : shines) {
        View view{};
        view.geometry = &geometry;
        view.marker = shine.marker;
        view.sharp_sigma = objective.SharpSigma(shine.marker->wavelength_um);
        view.spreading = objective.Spreading();
        view.light = shine.seconds * objective.Collection() * shine.marker->brightness;
        if (view.light > 0.0) {
            DrawBackground(view);
            DrawFarLight(view);
            DrawMarker(view, shine);
        }
    }
    _canvas.Finish(_picture);
    ApplyVignetting(geometry);
    return _picture;
}

double Renderer::Blur(View const & view, double z, double depth) const
{
    double const out = view.geometry->centre.z - z - view.marker->focus_offset_um;
    double const defocus2 = view.spreading * view.spreading * (out * out + depth * depth);
    return std::min(MOST_BLUR, std::sqrt(view.sharp_sigma * view.sharp_sigma + defocus2));
}

double Renderer::NearbyShare(View const & view) const
{
    Place const & centre = view.geometry->centre;
    double const out = centre.z - _specimen->Focus().At(centre.x, centre.y) - view.marker->focus_offset_um;
    double const blur = std::hypot(view.sharp_sigma, view.spreading * out);
    return blur <= MOST_BLUR ? 1.0 : MOST_BLUR * MOST_BLUR / (blur * blur);
}

// What reaches the picture from nuclei too far away to be drawn, as if they lay evenly over the slide.
void Renderer::DrawFarLight(View const & view)
{
    double const nearby = NearbyShare(view);
    if (nearby >= 1.0) {
        return;
    }
    FrameGeometry const & g = *view.geometry;
    bool const nuclei = view.marker->structure == Structure::NUCLEI;
    double const light = nuclei ? _levels.nucleus : _levels.haze + Specimen::AVERAGE_SPOTS * _levels.spot;
    double const area = g.pixel_x_um * g.bin_x * g.pixel_y_um * g.bin_y;
    double const value = (1.0 - nearby) * view.light * light * _specimen->AverageDensity() * area;
    _canvas.AddSmooth(1e6, [value](double, double) { return value; });
}

void Renderer::DrawMarker(View const & view, Shine const & shine)
{
    FrameGeometry const & g = *view.geometry;
    double const nearby = NearbyShare(view);
    // The part of the slide that the region sees, widened by what can shine into it from outside.
    double const first_x = (g.first_x - 0.5 * g.sensor_width) * g.pixel_x_um * g.orientation_x;
    double const last_x = first_x + g.width * g.bin_x * g.pixel_x_um * g.orientation_x;
    double const first_y = (g.first_y - 0.5 * g.sensor_height) * g.pixel_y_um * g.orientation_y;
    double const last_y = first_y + g.height * g.bin_y * g.pixel_y_um * g.orientation_y;
    Area const seen = {std::min(first_x, last_x), std::min(first_y, last_y), std::max(first_x, last_x),
                       std::max(first_y, last_y)};
    double blur = 0.0;
    for (double const x : {seen.left, seen.right}) {
        for (double const y : {seen.top, seen.bottom}) {
            double const surface = _specimen->Focus().At(g.centre.x + x, g.centre.y + y);
            blur = std::max({blur, Blur(view, surface - 6.0, 0.0), Blur(view, surface + 6.0, 0.0)});
        }
    }
    double const margin = BlobCanvas::CUT * std::hypot(blur, 8.0) + 8.0 + std::abs(view.marker->shift_x_um) +
                          std::abs(view.marker->shift_y_um);
    double const pixel = std::min(g.pixel_x_um, g.pixel_y_um);
    long const right = Specimen::CellOf(g.centre.x + seen.right + margin);
    long const bottom = Specimen::CellOf(g.centre.y + seen.bottom + margin);
    for (long y = Specimen::CellOf(g.centre.y + seen.top - margin); y <= bottom; ++y) {
        for (long x = Specimen::CellOf(g.centre.x + seen.left - margin); x <= right; ++x) {
            Nucleus const * const nucleus = _specimen->NucleusOf(x, y);
            if (nucleus == nullptr) {
                continue;
            }
            double const light = nearby * view.light * shine.remaining(x, y);
            if (view.marker->structure == Structure::NUCLEI) {
                DrawNucleus(view, *nucleus, pixel, light * _levels.nucleus * nucleus->strength);
            } else {
                DrawHaze(view, *nucleus, light * _levels.haze * nucleus->strength);
                DrawSpots(view, *nucleus, light * _levels.spot);
            }
        }
    }
}

void Renderer::DrawBlob(View const & view, Place const & place, double sigma, double depth, double light)
{
    FrameGeometry const & g = *view.geometry;
    Marker const & marker = *view.marker;
    double const blur = Blur(view, place.z, depth);
    double const spread = std::sqrt(blur * blur + sigma * sigma);
    double const x = g.centre.x + marker.scale * (place.x - g.centre.x) + marker.shift_x_um;
    double const y = g.centre.y + marker.scale * (place.y - g.centre.y) + marker.shift_y_um;
    _canvas.Add(g.Column(x), g.Row(y), spread / (g.pixel_x_um * g.bin_x), spread / (g.pixel_y_um * g.bin_y),
                light);
}

void Renderer::DrawNucleus(View const & view, Nucleus const & nucleus, double pixel, double light)
{
    // The choice of the grade must not depend on region or binning, or their pictures would differ.
    double const blur = Blur(view, nucleus.centre.z, 0.0);
    for (Blob const & blob : nucleus.BlobsFor(blur, pixel)) {
        Place const place{nucleus.centre.x + static_cast<double>(blob.x),
                          nucleus.centre.y + static_cast<double>(blob.y),
                          nucleus.centre.z + static_cast<double>(blob.z)};
        DrawBlob(view, place, static_cast<double>(blob.sigma), static_cast<double>(blob.depth),
                 light * static_cast<double>(blob.weight));
    }
}

void Renderer::DrawHaze(View const & view, Nucleus const & nucleus, double light)
{
    DrawBlob(view, nucleus.centre, 5.0, 1.0, 0.5 * light);
    // The dye that stuck in the nucleus shows no texture worth the finest blobs.
    double const pixel = std::min(view.geometry->pixel_x_um, view.geometry->pixel_y_um);
    DrawNucleus(view, nucleus, std::max(pixel, 0.5), 0.5 * light);
}

void Renderer::DrawSpots(View const & view, Nucleus const & nucleus, double light)
{
    for (Spot const & spot : nucleus.spots) {
        if (spot.kind == view.marker->spot_kind) {
            DrawBlob(view, spot.place, spot.sigma, 0.0, light * spot.strength);
        }
    }
}

void Renderer::DrawBackground(View const & view)
{
    FrameGeometry const & g = *view.geometry;
    double const pixel_x = g.pixel_x_um * g.bin_x;
    double const pixel_y = g.pixel_y_um * g.bin_y;
    double const light = view.light * _levels.background * pixel_x * pixel_y;
    double const spacing = Specimen::BACKGROUND_LATTICE / 4.0 / std::max(pixel_x, pixel_y);
    _canvas.AddSmooth(spacing, [&](double column, double row) {
        double const x =
            g.centre.x + g.orientation_x * ((column + 0.5) * g.bin_x - 0.5 * g.sensor_width) * g.pixel_x_um;
        double const y =
            g.centre.y + g.orientation_y * ((row + 0.5) * g.bin_y - 0.5 * g.sensor_height) * g.pixel_y_um;
        return light * _specimen->Background(x, y);
    });
}

void Renderer::ApplyVignetting(FrameGeometry const & g)
{
    // At(x, y) = 1 - a(x) - a(y) with the brightest point's own share taken out of both.
    double const width = g.sensor_width;
    double const height = g.sensor_height;
    double const centre_x = 0.5 * width * (1.0 + _vignetting.centre_x);
    double const centre_y = 0.5 * height * (1.0 + _vignetting.centre_y);
    _falloff.resize(static_cast<std::size_t>(g.width));
    for (int x = 0; x < g.width; ++x) {
        double const at = g.first_x + (x + 0.5) * g.bin_x;
        double const share = _vignetting.At(at, centre_y, width, height);
        _falloff[static_cast<std::size_t>(x)] = static_cast<float>(1.0 - share);
    }
    for (int y = 0; y < g.height; ++y) {
        double const at = g.first_y + (y + 0.5) * g.bin_y;
        auto const peak = static_cast<float>(_vignetting.At(centre_x, at, width, height));
        Attenuate(_picture.data() + static_cast<std::ptrdiff_t>(y) * g.width, _falloff.data(), peak, g.width);
    }
}

} // namespace velm::sim
