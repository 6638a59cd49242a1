#include "velm_frame_buffer.h"

#include "velm_flat_field.h"
#include "velm_frame_kernels.h"
#include "velm_log_macros.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <vector>

namespace velm {

namespace {

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

void VELM_FrameBuffer::CopyRun(std::ptrdiff_t position, std::size_t count, unsigned short * target,
                               void const * soon) const
{
    unsigned short const * const source = _data + position;
    if (_step > 0) {
        CopyBytes(source, count * sizeof(*source), target, soon);
    } else {
        CopyReversed(source + 1 - static_cast<std::ptrdiff_t>(count), count, target, soon);
    }
}

std::ptrdiff_t VELM_FrameBuffer::RowPosition(unsigned int row) const
{
    std::ptrdiff_t const shift = (std::ptrdiff_t{_dx} - 1) * _step + GetShift(_dx - 1);
    return _first + std::ptrdiff_t{row} * shift;
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
    unsigned short * const target = img.GetFirstVoxelAddr() + start;
    constexpr std::size_t part_length = std::size_t{1} << 20; // pixels that are worth a thread
    std::size_t const parts = std::clamp<std::size_t>(GetSize() / part_length, 1, vexa::GetThreadCount());
    auto const first_row = [&](std::size_t part) { return static_cast<unsigned int>(_dy * part / parts); };
    vexa::ParallelFor(parts, [&](std::size_t part) {
        CopyRows(first_row(part), first_row(part + 1), target + std::size_t{first_row(part)} * _dx);
    });
}

void VELM_FrameBuffer::CopyRows(unsigned int begin, unsigned int end, unsigned short * target) const
{
    // Without a jump from row to row they are one run.
    unsigned int const rows = _row_jump == 0 ? end - begin : 1;
    std::size_t const run = std::size_t{rows} * _dx;
    for (unsigned int r = begin; r < end; r += rows, target += run) {
        // Either the source's rows are read backwards, or each row of the target is written so.
        bool const is_last = r + rows == end;
        void const * const next = _step > 0 ? _data + RowPosition(is_last ? r : r + 1) : target + run;
        CopyRun(RowPosition(r), run, target, is_last ? nullptr : next);
    }
}

void VELM_FrameBuffer::PaintRows(FramePainter const & painter,
                                 vexa::Image3d<unsigned short> const * calib_img, double mean,
                                 unsigned int begin, unsigned int end, unsigned char * target,
                                 std::ptrdiff_t stride) const
{
    bool const as_it_is = _step > 0 && calib_img == nullptr;
    std::vector<unsigned short> row(_dx);
    FlatField field(mean);
    for (unsigned int r = begin; r < end; ++r, target += stride) {
        if (!as_it_is) {
            CopyRun(RowPosition(r), _dx, row.data(), nullptr);
        }
        if (calib_img != nullptr) {
            field.SetDivisors(calib_img->GetFirstVoxelAddr() + std::size_t{r} * _dx, _dx);
            field.Apply(row.data());
        }
        painter.Paint(as_it_is ? _data + RowPosition(r) : row.data(), _dx, target);
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
    FramePainter const painter(lut, vis);
    unsigned char * const target = img->GetData() + 3 * first;
    constexpr unsigned int band = 128; // rows that a thread takes at a time
    vexa::ParallelFor((_dy + band - 1) / band, [&](std::size_t number) {
        unsigned int const begin = static_cast<unsigned int>(number) * band;
        PaintRows(painter, calib_img, mean, begin, std::min(_dy, begin + band), target + 3 * width * begin,
                  3 * width);
    });
}

} // namespace velm
