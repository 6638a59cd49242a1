#include "velm_mixer_sampling.h"

#include "vexacore/parallel.h"

#include <algorithm>

namespace velm {

GridView::GridView(VELM_MixerOutputParams const & grid) : _width(static_cast<std::size_t>(grid.size.x)) {}

GridView::GridView(VELM_Mixer::Image const & image, VELM_MixerChannelParams const & channel,
                   VELM_MixerOutputParams const & grid)
    : _image(&image), _step(grid.step), _shift(channel.shift), _sampling(channel.sampling),
      _width(static_cast<std::size_t>(grid.size.x))
{
    if (_step.x == _sampling.x) {
        _first_column = static_cast<std::size_t>(Position(0, 0));
        return;
    }
    _columns.resize(_width);
    for (std::size_t x = 0; x < _width; ++x) {
        _columns[x] = static_cast<unsigned int>(Position(0, static_cast<int>(x)));
    }
}

GridView::Reader::Reader(GridView const & view) : _view(view)
{
    if (view._image == nullptr || !view._columns.empty()) {
        _row.resize(view._width);
    }
}

unsigned short const * GridView::Reader::Row(int y, int z)
{
    if (_view._image == nullptr) {
        return _row.data();
    }
    unsigned short const * const source = _view._image->GetVoxelAddr(
        0, static_cast<unsigned int>(_view.Position(1, y)), static_cast<unsigned int>(_view.Position(2, z)));
    if (_view._columns.empty()) {
        return source + _view._first_column;
    }
    if (source != _source) { // the rows of a coarser channel repeat
        _source = source;
        std::transform(_view._columns.begin(), _view._columns.end(), _row.begin(),
                       [source](unsigned int column) { return source[column]; });
    }
    return _row.data();
}

bool CoversGrid(vexa::Vector3d<unsigned int> const & image_size, VELM_MixerChannelParams const & channel,
                VELM_MixerOutputParams const & grid)
{
    for (unsigned int axis = 0; axis < 3; ++axis) {
        int const last = grid.step[axis] * (grid.size[axis] - 1) + channel.shift[axis];
        if (channel.shift[axis] < 0 ||
            static_cast<unsigned int>(last / channel.sampling[axis]) >= image_size[axis]) {
            return false;
        }
    }
    return true;
}

void ForRowsOf(VELM_MixerOutputParams const & grid, std::function<void(int y, int end_y, int z)> const & work)
{
    constexpr int voxels_at_a_time = 1 << 18;
    int const rows = std::max(voxels_at_a_time / grid.size.x, 1);
    int const runs = (grid.size.y + rows - 1) / rows; // of a slice
    std::size_t const count = static_cast<std::size_t>(runs) * static_cast<std::size_t>(grid.size.z);
    vexa::ParallelFor(count, [&](std::size_t number) {
        int const begin = static_cast<int>(number % static_cast<std::size_t>(runs)) * rows;
        work(begin, std::min(begin + rows, grid.size.y),
             static_cast<int>(number / static_cast<std::size_t>(runs)));
    });
}

} // namespace velm
