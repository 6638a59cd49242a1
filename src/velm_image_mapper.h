#ifndef VELM_IMAGE_MAPPER_H
#define VELM_IMAGE_MAPPER_H

#include "velm_export.h"

#include "vexaalgo/lut.h"

#include <wx/image.h>

namespace velm {

// Copies the visible part of a picture into the bitmap of a canvas, zoomed, and through a look-up table when
// one is set. Owns neither the pictures nor the table; all are RGB with three bytes a pixel.
class VELM_API VELM_ImageMapper {
  public:
    explicit VELM_ImageMapper(wxImage * source);
    VELM_ImageMapper(VELM_ImageMapper const &) = default;
    VELM_ImageMapper & operator=(VELM_ImageMapper const &) = default;
    virtual ~VELM_ImageMapper();

    // Fills the target with what of the zoomed picture lies under it; the rest of the target stays.
    // x, y: where the target's top left corner lies in the zoomed picture. zoom: 0 and below scale down by
    // 1 - zoom, 1 and above scale up by zoom + 1. sx, sy: pixels of the zoomed picture at 1:1 per pixel of
    // the source: 1, or the binning to show a binned picture at the chip's scale.
    virtual void Map(wxImage * target, int x, int y, int zoom, int sx, int sy);

    // Places for the settings of a derived mapper; this one has none.
    virtual void SetStrength(double strength);
    virtual double GetStrength();
    virtual void SetMode(int mode);
    virtual int GetMode();

    // The table for all three colours; null, as at the start, for none.
    void SetLUT(vexa::LUT<unsigned char, unsigned char> * lut) { _lut = lut; }

  private:
    // What of the target is written, and which part of the zoomed picture that is.
    struct Window {
        long target_x;
        long target_y;
        long zoomed_x;
        long zoomed_y;
        long width; // below 1: nothing is written
        long height;
    };

    Window GetWindow() const;

    vexa::LUT<unsigned char, unsigned char> * _lut = nullptr;
    wxImage * _source;
    wxImage * _target = nullptr; // this and all that follows is of the last Map
    int _x = 0;
    int _y = 0;
    int _target_width = 0;
    int _target_height = 0;
    int _zoom = 0;
    int _source_width = 0;
    int _source_height = 0;
    int _factor_x = 1;
    int _factor_y = 1;
};

} // namespace velm

#endif
