#ifndef VELM_VIS_TYPE_H
#define VELM_VIS_TYPE_H

#include "velm_export.h"

namespace velm {

// How a channel's frames are shown: flags, stored as a plain decimal number. The colours exclude each other;
// the saturation marks count in grey only.
enum VELM_Channel_VisType : int {
    VIS_GREY = 1,
    VIS_BACKGROUND_SATURATION = 2, // what maps to 0 is shown pure blue
    VIS_FOREGROUND_SATURATION = 4, // what maps to 255 is shown pure red
    VIS_RED = 8,
    VIS_GREEN = 16,
    VIS_BLUE = 32
};

constexpr VELM_Channel_VisType operator|(VELM_Channel_VisType a, VELM_Channel_VisType b)
{
    return static_cast<VELM_Channel_VisType>(static_cast<int>(a) | static_cast<int>(b));
}

// The colour of a value: the first of VIS_GREY, VIS_RED, VIS_GREEN and VIS_BLUE that is set, VIS_GREY when
// none is.
VELM_API VELM_Channel_VisType GetVisTypeColour(VELM_Channel_VisType type);

} // namespace velm

#endif
