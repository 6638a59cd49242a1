#include "velm_image_mapper.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

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
    std::vector<std::size_t> columns(static_cast<std::size_t>(window.width));
    for (std::size_t c = 0; c < columns.size(); ++c) {
        long const zoomed = window.zoomed_x + static_cast<long>(c);
        columns[c] = bytes_per_pixel * static_cast<std::size_t>(SourcePosition(zoomed, sx, zoom));
    }
    unsigned char outputs[256];
    for (unsigned int value = 0; value < 256; ++value) {
        auto const plain = static_cast<unsigned char>(value);
        outputs[value] = _lut != nullptr ? _lut->Get(plain) : plain;
    }

    std::size_t const target_stride = bytes_per_pixel * static_cast<std::size_t>(_target_width);
    std::size_t const source_stride = bytes_per_pixel * static_cast<std::size_t>(_source_width);
    unsigned char * out = _target->GetData() + static_cast<std::size_t>(window.target_y) * target_stride +
                          static_cast<std::size_t>(window.target_x) * bytes_per_pixel;
    long shown_row = -1;
    for (long r = 0; r < window.height; ++r, out += target_stride) {
        long const row = SourcePosition(window.zoomed_y + r, sy, zoom);
        if (row == shown_row) {
            std::memcpy(out, out - target_stride, columns.size() * bytes_per_pixel);
            continue;
        }
        shown_row = row;
        unsigned char const * const source =
            _source->GetData() + static_cast<std::size_t>(row) * source_stride;
        unsigned char * pixel = out;
        for (std::size_t const column : columns) {
            for (std::size_t byte = 0; byte < bytes_per_pixel; ++byte) {
                *pixel++ = outputs[source[column + byte]];
            }
        }
    }
}

} // namespace velm
