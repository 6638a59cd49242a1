#ifndef VELM_FRAME_BUFFER_H
#define VELM_FRAME_BUFFER_H

#include "velm_export.h"
#include "velm_vis_type.h"

#include "vexaalgo/lut.h"
#include "vexacore/image3d.h"

#include <cstddef>
#include <wx/image.h>

namespace velm {

class FramePainter;

// The block of 16-bit pixels into which a camera driver writes one frame.
//
// It knows how the frame lies on the chip and in which direction its rows and columns run, and hands it out
// the right way round: into a slice of an image for storing, or through a look-up table into a picture for
// showing. The buffer owns its pixels, but see operator=. Not locked: the owner sees to it that no Map runs
// while a driver fills the block.
class VELM_API VELM_FrameBuffer {
  public:
    // Without pixels; unusable until Resize. flip_x: the rows run from the last to the first; flip_y: each
    // row runs from its last pixel to its first.
    VELM_FrameBuffer(bool flip_x, bool flip_y);

    // See Resize.
    VELM_FrameBuffer(unsigned int dx, unsigned int dy, int sbin, int pbin, int s1, int p1, bool flip_x,
                     bool flip_y);
    ~VELM_FrameBuffer();

    // Copies all members, the address of the pixels included: afterwards both objects own the same block, and
    // the one that this object had is lost. Only for handing a buffer over to a variable that outlives its
    // source, where just one of the two is ever destroyed.
    VELM_FrameBuffer & operator=(VELM_FrameBuffer const &) = default;
    VELM_FrameBuffer(VELM_FrameBuffer const &) = delete;

    // Makes room for dy rows of dx pixels, whose values are undefined, and stores where the frame lies: its
    // binning in the serial and the parallel direction, and its first pixel on the chip, unbinned. With the
    // size as it is, the pixels stay. Throws std::bad_alloc when there is no room; the buffer then has the
    // new size and no pixels.
    void Resize(unsigned int dx, unsigned int dy, int sbin, int pbin, int s1, int p1);

    // The pixels, in the order in which the camera delivers them; null before the first Resize.
    unsigned short * GetAddr() { return _data; }
    unsigned short const * GetAddr() const { return _data; }

    // Pixels in all, per row, and rows.
    unsigned int GetSize() const { return _dx * _dy; }
    unsigned int GetSizeX() const { return _dx; }
    unsigned int GetSizeY() const { return _dy; }

    int GetSBin() const { return _sbin; }
    int GetPBin() const { return _pbin; }
    int GetS1() const { return _s1; }
    int GetP1() const { return _p1; }
    bool GetFlipX() const { return _flip_x; }
    bool GetFlipY() const { return _flip_y; }

    // Copies the frame into one slice of an image of the frame's size, the right way round. A frame that
    // reaches beyond the image trips an assertion and isn't copied.
    void Map(vexa::Image3d<unsigned short> & img, unsigned int target_slice) const;

    // Shows the frame in a picture: each pixel goes through the table and is coloured by vis. With a
    // calibration image, which has as many voxels as the frame has pixels and lies the right way round, the
    // pixel is divided by its voxel and multiplied by mean first; the result keeps its low 16 bits, and a
    // voxel of 0 gives 0. With use_offset the frame lands where it lies on the chip, in binned pixels, else
    // in the corner. A frame that reaches beyond the picture trips an assertion and isn't shown.
    void Map(wxImage * img, vexa::VELM_LUT<unsigned short, unsigned char> const & lut,
             vexa::Image3d<unsigned short> const * calib_img, double mean, VELM_Channel_VisType vis,
             bool use_offset) const;

  private:
    void ComputeMappingParams();
    int GetShift(unsigned int index) const;

    // Copies so many pixels out as the picture shows them: a row or, where no row jumps, several. position:
    // that of the pixel to be read first. soon: as in CopyBytes.
    void CopyRun(std::ptrdiff_t position, std::size_t count, unsigned short * target,
                 void const * soon) const;

    // The position of the pixel that is read first for a row of the picture.
    std::ptrdiff_t RowPosition(unsigned int row) const;

    // Copies the rows from begin up to end as the picture shows them.
    void CopyRows(unsigned int begin, unsigned int end, unsigned short * target) const;

    // Paints the rows from begin up to end, of which target is the first one's place in the picture, and its
    // rows lie stride bytes apart. calib_img and mean: as in Map.
    void PaintRows(FramePainter const & painter, vexa::Image3d<unsigned short> const * calib_img, double mean,
                   unsigned int begin, unsigned int end, unsigned char * target, std::ptrdiff_t stride) const;

    unsigned short * _data = nullptr;
    unsigned int _dx = 0;
    unsigned int _dy = 0;
    int _sbin = 0;
    int _pbin = 0;
    int _s1 = 0;
    int _p1 = 0;
    bool _flip_x;
    bool _flip_y;

    // How to walk over the pixels so that the picture comes out the right way round.
    int _first = 0;    // index of the pixel that is read first
    int _step = 0;     // to be added after each pixel
    int _row_jump = 0; // -1, 0 or +1: twice so many rows are to be added after each row
};

} // namespace velm

#endif
