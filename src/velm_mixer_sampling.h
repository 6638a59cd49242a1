#ifndef VELM_MIXER_SAMPLING_H
#define VELM_MIXER_SAMPLING_H

// Images on the mixers' common grid. Internal.

#include "velm_mixer.h"

#include <functional>
#include <vector>

namespace velm {

// An image of one channel as rows of the output grid, each voxel the one of the image that covers it. What
// takes time to know is computed once for all rows.
class GridView {
  public:
    // An image that is black everywhere, for a colour without a channel.
    explicit GridView(VELM_MixerOutputParams const & grid);

    // The image has to cover the grid: see CoversGrid. Neither is copied.
    GridView(VELM_Mixer::Image const & image, VELM_MixerChannelParams const & channel,
             VELM_MixerOutputParams const & grid);

    // Hands out rows, one at a time; each thread has its own.
    class Reader {
      public:
        explicit Reader(GridView const & view);

        // A row of the output: as many voxels as it is wide, valid until the next call.
        unsigned short const * Row(int y, int z);

      private:
        GridView const & _view;
        unsigned short const * _source = nullptr; // the row of the image that _row was made from
        std::vector<unsigned short> _row;
    };

  private:
    int Position(unsigned int axis, int at) const
    {
        return (_step[axis] * at + _shift[axis]) / _sampling[axis];
    }

    VELM_Mixer::Image const * _image = nullptr;
    vexa::Vector3d<int> _step;
    vexa::Vector3d<int> _shift;
    vexa::Vector3d<int> _sampling;
    std::size_t _width;

    // Of each output pixel of a row, its place in the image's row; empty where the row is a run of the
    // image's, from _first_column on.
    std::vector<unsigned int> _columns;
    std::size_t _first_column = 0;
};

// Whether every voxel of the grid has one in an image of that size. The grid isn't empty.
bool CoversGrid(vexa::Vector3d<unsigned int> const & image_size, VELM_MixerChannelParams const & channel,
                VELM_MixerOutputParams const & grid);

// Calls work(y, z, end_y) for runs of rows y to end_y - 1 of slice z that together are the grid, on several
// threads at once.
void ForRowsOf(VELM_MixerOutputParams const & grid,
               std::function<void(int y, int end_y, int z)> const & work);

} // namespace velm

#endif
