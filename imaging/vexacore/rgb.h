#ifndef VEXACORE_RGB_H
#define VEXACORE_RGB_H

#include "vexacore/export.h"

namespace vexa {

// One colour voxel. An array of these is a packed R, G, B sequence without gaps. Exported, since some
// compilers hide every instance of a template, such as an image, whose argument is hidden.
template <typename T>
struct VEXA_API RGB_generic {
    T red{};
    T green{};
    T blue{};

    RGB_generic() = default;
    RGB_generic(T r, T g, T b) : red(r), green(g), blue(b) {}

    bool operator==(RGB_generic const & other) const
    {
        return red == other.red && green == other.green && blue == other.blue;
    }
    bool operator!=(RGB_generic const & other) const { return !(*this == other); }
};

} // namespace vexa

#endif
