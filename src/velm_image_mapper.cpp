#include "velm_image_mapper.h"

#include "velm_frame_kernels.h"
#include "vexacore/cpu.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#if VEXA_HAS_AVX2
#include <immintrin.h>
#endif

namespace velm {

namespace {

constexpr std::size_t bytes_per_pixel = 3;

// The length of a zoomed axis.
long ZoomedLength(int length, int factor, int zoom)
{
    return zoom < 1 ? long{factor} * length / (1L - zoom) : long{factor} * (zoom + 1L) * length;
}

// The pixel of the source that shows at a position of the zoomed axis.
long SourcePosition(long zoomed, int factor, int zoom)
{
    return zoom < 1 ? (1L - zoom) * zoomed / factor : zoomed / ((zoom + 1L) * factor);
}

// Fills a row of the target from one of the source.
class RowScaler {
  public:
    // columns: where in the source's row each pixel lies, in bytes and in ascending order; at least one.
    // source_bytes: length of the source's row.
    RowScaler(std::vector<std::uint32_t> columns, std::size_t source_bytes);

    void Scale(unsigned char const * source, unsigned char * target) const;
    std::size_t Bytes() const { return bytes_per_pixel * _columns.size(); }

  private:
    // How a register of source bytes becomes so many pixels of the target.
    static constexpr std::size_t register_bytes = 16;
    static constexpr std::size_t register_pixels = register_bytes / bytes_per_pixel;
    struct Shuffle {
        std::uint32_t first; // byte of the source's row
        std::array<unsigned char, register_bytes> from;
    };

    void MakeShuffles(std::size_t source_bytes);
    std::size_t ApplyShuffles(unsigned char const * source, unsigned char * target) const;

    std::vector<std::uint32_t> _columns;
    std::vector<Shuffle> _shuffles; // from the first pixel on, as far as they go; none when it shrinks much
    std::size_t _quick = 0;         // pixels with a byte behind them in both rows
    bool _whole = false;            // the pixels are neighbours in the source, too
};

RowScaler::RowScaler(std::vector<std::uint32_t> columns, std::size_t source_bytes)
    : _columns(std::move(columns))
{
    _whole = _columns.back() - _columns.front() == bytes_per_pixel * (_columns.size() - 1);
    auto const end = std::lower_bound(_columns.begin(), _columns.end(), source_bytes - bytes_per_pixel);
    _quick = std::min(static_cast<std::size_t>(end - _columns.begin()), _columns.size() - 1);
    if (!_whole && VEXA_HAS_AVX2 != 0 && vexa::GetInstructionSet() == vexa::InstructionSet::Avx2) {
        MakeShuffles(source_bytes);
    }
}

void RowScaler::MakeShuffles(std::size_t source_bytes)
{
    for (std::size_t i = 0; Bytes() - bytes_per_pixel * i >= register_bytes; i += register_pixels) {
        std::uint32_t const first = _columns[i];
        std::uint32_t const last = _columns[i + register_pixels - 1];
        if (last + bytes_per_pixel - first > register_bytes || first + register_bytes > source_bytes) {
            return;
        }
        Shuffle shuffle{first, {}}; // the last byte is written over
        for (std::size_t byte = 0; byte < register_pixels * bytes_per_pixel; ++byte) {
            std::size_t const column = _columns[i + byte / bytes_per_pixel] - first;
            shuffle.from[byte] = static_cast<unsigned char>(column + byte % bytes_per_pixel);
        }
        _shuffles.push_back(shuffle);
    }
}

VEXA_AVX2 std::size_t RowScaler::ApplyShuffles(unsigned char const * source, unsigned char * target) const
{
#if VEXA_HAS_AVX2
    for (Shuffle const & shuffle : _shuffles) {
        __m128i const from = _mm_loadu_si128(reinterpret_cast<__m128i const *>(shuffle.from.data()));
        __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const *>(source + shuffle.first));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(target), _mm_shuffle_epi8(bytes, from));
        target += register_pixels * bytes_per_pixel;
    }
#endif
    return register_pixels * _shuffles.size();
}

void RowScaler::Scale(unsigned char const * source, unsigned char * target) const
{
    if (_whole) {
        CopyBytes(source + _columns.front(), Bytes(), target);
        return;
    }
    std::size_t i = ApplyShuffles(source, target);
    for (; i < _quick; ++i) {
        // The fourth byte is the next pixel's first, which is written over it.
        std::memcpy(target + bytes_per_pixel * i, source + _columns[i], bytes_per_pixel + 1);
    }
    for (; i < _columns.size(); ++i) {
        std::memcpy(target + bytes_per_pixel * i, source + _columns[i], bytes_per_pixel);
    }
}

} // namespace

VELM_ImageMapper::VELM_ImageMapper(wxImage * source) : _source(source) {}

VELM_ImageMapper::~VELM_ImageMapper() = default;

void VELM_ImageMapper::SetStrength(double) {}

double VELM_ImageMapper::GetStrength()
{
    return 0.0;
}

void VELM_ImageMapper::SetMode(int) {}

int VELM_ImageMapper::GetMode()
{
    return 0;
}

VELM_ImageMapper::Window VELM_ImageMapper::GetWindow() const
{
    long const zoomed_width = ZoomedLength(_source_width, _factor_x, _zoom);
    long const zoomed_height = ZoomedLength(_source_height, _factor_y, _zoom);
    long const right = long{_target_width} + _x;
    long const bottom = long{_target_height} + _y;
    Window window{};
    if (_x >= zoomed_width || _y >= zoomed_height || right < 1 || bottom < 1) {
        return window;
    }
    window.zoomed_x = std::max(_x, 0);
    window.zoomed_y = std::max(_y, 0);
    window.target_x = window.zoomed_x - _x;
    window.target_y = window.zoomed_y - _y;
    window.width = std::min(zoomed_width, right) - window.zoomed_x;
    window.height = std::min(zoomed_height, bottom) - window.zoomed_y;
    return window;
}

void VELM_ImageMapper::Map(wxImage * target, int x, int y, int zoom, int sx, int sy)
{
    if (!_source->IsOk() || !target->IsOk()) {
        return;
    }
    _target = target;
    _x = x;
    _y = y;
    _target_width = target->GetWidth();
    _target_height = target->GetHeight();
    _zoom = zoom;
    _source_width = _source->GetWidth();
    _source_height = _source->GetHeight();
    _factor_x = sx;
    _factor_y = sy;
    Window const window = GetWindow();
    if (window.width < 1 || window.height < 1) {
        return;
    }

    // One division per column and row, none per pixel.
    std::vector<std::uint32_t> columns(static_cast<std::size_t>(window.width));
    for (std::size_t c = 0; c < columns.size(); ++c) {
        long const zoomed = window.zoomed_x + static_cast<long>(c);
        columns[c] = static_cast<std::uint32_t>(bytes_per_pixel) *
                     static_cast<std::uint32_t>(SourcePosition(zoomed, sx, zoom));
    }

    std::size_t const target_stride = bytes_per_pixel * static_cast<std::size_t>(_target_width);
    std::size_t const source_stride = bytes_per_pixel * static_cast<std::size_t>(_source_width);
    RowScaler const scaler(std::move(columns), source_stride);
    unsigned char * out = _target->GetData() + static_cast<std::size_t>(window.target_y) * target_stride +
                          static_cast<std::size_t>(window.target_x) * bytes_per_pixel;
    unsigned char outputs[256] = {}; // of the table, when there is one
    for (unsigned int value = 0; _lut != nullptr && value < 256; ++value) {
        outputs[value] = _lut->Get(static_cast<unsigned char>(value));
    }
    long shown_row = -1;
    for (long r = 0; r < window.height; ++r, out += target_stride) {
        long const row = SourcePosition(window.zoomed_y + r, sy, zoom);
        if (row == shown_row) {
            CopyBytes(out - target_stride, scaler.Bytes(), out);
            continue;
        }
        shown_row = row;
        scaler.Scale(_source->GetData() + static_cast<std::size_t>(row) * source_stride, out);
        if (_lut != nullptr) {
            std::transform(out, out + scaler.Bytes(), out,
                           [&](unsigned char value) { return outputs[value]; });
        }
    }
}

} // namespace velm
