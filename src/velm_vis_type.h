#ifndef VELM_VIS_TYPE_H
#define VELM_VIS_TYPE_H

#include <initializer_list>

namespace velm {

// How a channel's frames are shown: a sum of flags, stored as a plain decimal number. Marks of saturation
// count with grey display only.
enum VELM_Channel_VisType : int {
    VIS_GREY = 1,
    VIS_BACKGROUND_SATURATION = 2, // what maps to 0 is pure blue
    VIS_FOREGROUND_SATURATION = 4, // what maps to 255 or more is pure red
    VIS_RED = 8,
    VIS_GREEN = 16,
    VIS_BLUE = 32
};

constexpr VELM_Channel_VisType operator|(VELM_Channel_VisType a, VELM_Channel_VisType b)
{
    return static_cast<VELM_Channel_VisType>(static_cast<int>(a) | static_cast<int>(b));
}

// The colour flag of a value: the first of grey, red, green and blue that is set; grey when none is.
constexpr VELM_Channel_VisType GetVisTypeColour(VELM_Channel_VisType type)
{
    for (VELM_Channel_VisType const colour : {VIS_GREY, VIS_RED, VIS_GREEN, VIS_BLUE}) {
        if ((type & colour) != 0) {
            return colour;
        }
    }
    return VIS_GREY;
}

} // namespace velm

#endif
