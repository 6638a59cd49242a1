#include "velm_frame_buffer.h"

#include "velm_log_macros.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace velm {

namespace {

// The bytes of a pixel of the picture, and one that is written for speed and then written over.
using PixelBytes = std::array<unsigned char, 4>;

// The colour of an output of the look-up table.
PixelBytes ColourOf(unsigned char value, VELM_Channel_VisType vis)
{
    switch (GetVisTypeColour(vis)) {
    case VIS_RED:
        return {value, 0, 0, 0};
    case VIS_GREEN:
        return {0, value, 0, 0};
    case VIS_BLUE:
        return {0, 0, value, 0};
    default:
        if (value == 0 && (vis & VIS_BACKGROUND_SATURATION) != 0) {
            return {0, 0, 255, 0};
        }
        if (value == 255 && (vis & VIS_FOREGROUND_SATURATION) != 0) {
            return {255, 0, 0, 0};
        }
        return {value, value, value, 0};
    }
}

// The colour of every raw pixel. One look-up per pixel in this is several times faster than the two in the
// look-up table and in a palette.
std::vector<PixelBytes> ColoursOf(vexa::VELM_LUT<unsigned short, unsigned char> const & lut,
                                  VELM_Channel_VisType vis)
{
    std::vector<PixelBytes> palette(256);
    for (std::size_t value = 0; value < palette.size(); ++value) {
        palette[value] = ColourOf(static_cast<unsigned char>(value), vis);
    }
    std::vector<PixelBytes> colours(std::size_t{1} << 16);
    for (std::size_t value = 0; value < colours.size(); ++value) {
        colours[value] = palette[lut.Get(static_cast<unsigned short>(value))];
    }
    return colours;
}

// Writes one row of the picture.
void PaintRow(std::vector<unsigned short> const & row, std::vector<PixelBytes> const & colours,
              unsigned char * target)
{
    std::size_t const last = row.size() - 1;
    for (std::size_t c = 0; c < last; ++c, target += 3) {
        std::memcpy(target, colours[row[c]].data(), 4); // the fourth byte is the next pixel's first
    }
    std::memcpy(target, colours[row[last]].data(), 3);
}

// The calibrated pixel, cut down to 16 bits.
unsigned short Calibrate(unsigned short value, unsigned short divisor, double mean)
{
    constexpr double limit = 9e18; // what fits into 64 bits; neither an infinity nor a NaN does
    double const quotient = static_cast<double>(value) / static_cast<double>(divisor) * mean;
    return std::abs(quotient) < limit ? static_cast<unsigned short>(static_cast<std::int64_t>(quotient)) : 0;
}

void CalibrateRow(std::vector<unsigned short> & row, unsigned short const * divisors, double mean)
{
    // As long as no result leaves 32 bits, the compiler can make vector instructions of the loop.
    bool const fits = std::abs(mean) < 32767.0;
    for (std::size_t c = 0; fits && c < row.size(); ++c) {
        int const divisor = divisors[c] == 0 ? 1 : divisors[c];
        int const quotient = static_cast<int>(static_cast<double>(row[c]) / divisor * mean);
        row[c] = static_cast<unsigned short>(divisors[c] == 0 ? 0 : quotient);
    }
    for (std::size_t c = 0; !fits && c < row.size(); ++c) {
        row[c] = Calibrate(row[c], divisors[c], mean);
    }
}

int BinnedOffset(int first, int binning)
{
    return binning != 0 ? first / binning : 0;
}

} // namespace

VELM_Channel_VisType GetVisTypeColour(VELM_Channel_VisType type)
{
    for (VELM_Channel_VisType const colour : {VIS_GREY, VIS_RED, VIS_GREEN, VIS_BLUE}) {
        if ((type & colour) != 0) {
            return colour;
        }
    }
    return VIS_GREY;
}

VELM_FrameBuffer::VELM_FrameBuffer(bool flip_x, bool flip_y) : _flip_x(flip_x), _flip_y(flip_y) {}

VELM_FrameBuffer::VELM_FrameBuffer(unsigned int dx, unsigned int dy, int sbin, int pbin, int s1, int p1,
                                   bool flip_x, bool flip_y)
    : _flip_x(flip_x), _flip_y(flip_y)
{
    Resize(dx, dy, sbin, pbin, s1, p1);
}

VELM_FrameBuffer::~VELM_FrameBuffer()
{
    delete[] _data;
}

void VELM_FrameBuffer::Resize(unsigned int dx, unsigned int dy, int sbin, int pbin, int s1, int p1)
{
    VELM_TRACE("XXX VELM_FrameBuffer::Resize(%d, %d, %d, %d, %d, %d)", static_cast<int>(dx),
               static_cast<int>(dy), sbin, pbin, s1, p1);
    _sbin = sbin;
    _pbin = pbin;
    _s1 = s1;
    _p1 = p1;
    if (dx == _dx && dy == _dy) {
        return;
    }
    delete[] _data;
    _data = nullptr;
    _dx = dx;
    _dy = dy;
    VELM_TRACE_AT(5, "Resizing frame buffer to size %d x %d = %d pixels.", static_cast<int>(dx),
                  static_cast<int>(dy), static_cast<int>(dx * dy));
    _data = new unsigned short[std::size_t{dx} * dy];
    ComputeMappingParams();
}

void VELM_FrameBuffer::ComputeMappingParams()
{
    int const dx = static_cast<int>(_dx);
    int const dy = static_cast<int>(_dy);
    _first = (_flip_x ? (dy - 1) * dx : 0) + (_flip_y ? dx - 1 : 0);
    _step = _flip_y ? -1 : 1;
    _row_jump = (_flip_y ? 1 : 0) - (_flip_x ? 1 : 0);
}

int VELM_FrameBuffer::GetShift(unsigned int index) const
{
    return (index + 1) % _dx == 0 ? _step + _row_jump * static_cast<int>(_dx) * 2 : _step;
}

void VELM_FrameBuffer::CopyRow(unsigned int row, std::ptrdiff_t & position, unsigned short * target) const
{
    unsigned short const * const source = _data + position;
    if (_step > 0) {
        std::copy_n(source, _dx, target);
    } else {
        std::reverse_copy(source + 1 - std::ptrdiff_t{_dx}, source + 1, target);
    }
    position += (std::ptrdiff_t{_dx} - 1) * _step + GetShift(row * _dx + _dx - 1);
}

void VELM_FrameBuffer::Map(vexa::Image3d<unsigned short> & img, unsigned int target_slice) const
{
    wxASSERT(img.GetSizeX() == _dx);
    wxASSERT(img.GetSizeY() == _dy);
    wxASSERT(target_slice < img.GetSizeZ());

    std::size_t const start = img.GetIndex(0, 0, target_slice);
    if (start > img.GetCount() || GetSize() > img.GetCount() - start || GetSize() == 0 || _data == nullptr) {
        return; // going on after a failed assertion must not write into foreign memory
    }
    std::ptrdiff_t position = _first;
    for (unsigned int r = 0; r < _dy; ++r) {
        CopyRow(r, position, img.GetFirstVoxelAddr() + start + std::size_t{r} * _dx);
    }
}

void VELM_FrameBuffer::Map(wxImage * img, vexa::VELM_LUT<unsigned short, unsigned char> const & lut,
                           vexa::Image3d<unsigned short> const * calib_img, double mean,
                           VELM_Channel_VisType vis, bool use_offset) const
{
    wxASSERT(img);
    if (img == nullptr) {
        return;
    }
    int const x0 = use_offset ? BinnedOffset(_s1, _sbin) : 0;
    int const y0 = use_offset ? BinnedOffset(_p1, _pbin) : 0;
    VELM_TRACE_AT(10, "Map buffer: (%d x %d) -> (%d x %d) from (%d, %d)", static_cast<int>(_dx),
                  static_cast<int>(_dy), img->GetWidth(), img->GetHeight(), x0, y0);
    // The conditions' own spelling is what a log of assertions shows.
    // clang-format off
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
    wxASSERT(((y0 + _dy - 1) * img->GetWidth() + x0 + _dx - 1) < (size_t)(img->GetWidth() * img->GetHeight()));
#pragma GCC diagnostic pop
    wxASSERT(calib_img == 0 || (_dx * _dy == calib_img->GetSizeX() * calib_img ->GetSizeY()));
    // clang-format on

    std::ptrdiff_t const width = img->GetWidth();
    std::ptrdiff_t const first = y0 * width + x0;
    std::ptrdiff_t const end = (y0 + std::ptrdiff_t{_dy} - 1) * width + x0 + std::ptrdiff_t{_dx};
    if (_data == nullptr || GetSize() == 0 || first < 0 || end > width * img->GetHeight() ||
        (calib_img != nullptr && calib_img->GetCount() < GetSize())) {
        return; // as above
    }
    std::vector<PixelBytes> const colours = ColoursOf(lut, vis);
    std::vector<unsigned short> row(_dx);
    std::ptrdiff_t position = _first;
    for (unsigned int r = 0; r < _dy; ++r) {
        CopyRow(r, position, row.data());
        if (calib_img != nullptr) {
            CalibrateRow(row, calib_img->GetFirstVoxelAddr() + std::size_t{r} * _dx, mean);
        }
        PaintRow(row, colours, img->GetData() + 3 * (first + r * width));
    }
}

} // namespace velm
