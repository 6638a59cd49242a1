#include "vexacore/color_planes.h"

namespace vexa {

namespace {

template <typename From, typename To>
void TakeGeometry(Image3d<From> const & from, Image3d<To> & to)
{
    to.MakeRoom(from.GetSizeX(), from.GetSizeY(), from.GetSizeZ());
    to.offset = from.offset;
    to.resolution = from.resolution;
}

} // namespace

template <typename T, typename RGB>
void GrayToRGB(Image3d<T> const & red, Image3d<T> const & green, Image3d<T> const & blue, Image3d<RGB> & out)
{
    if (green.size != red.size || blue.size != red.size) {
        throw InternalException("The three colour planes differ in size");
    }
    TakeGeometry(red, out);
    T const * const r = red.GetFirstVoxelAddr();
    T const * const g = green.GetFirstVoxelAddr();
    T const * const b = blue.GetFirstVoxelAddr();
    RGB * const target = out.GetFirstVoxelAddr();
    for (std::size_t i = 0, count = out.GetCount(); i < count; ++i) {
        target[i] = RGB(r[i], g[i], b[i]);
    }
}

template <typename RGB, typename T>
void RGBtoGray(Image3d<RGB> const & in, Image3d<T> & red, Image3d<T> & green, Image3d<T> & blue)
{
    TakeGeometry(in, red);
    TakeGeometry(in, green);
    TakeGeometry(in, blue);
    RGB const * const source = in.GetFirstVoxelAddr();
    T * const r = red.GetFirstVoxelAddr();
    T * const g = green.GetFirstVoxelAddr();
    T * const b = blue.GetFirstVoxelAddr();
    for (std::size_t i = 0, count = in.GetCount(); i < count; ++i) {
        r[i] = source[i].red;
        g[i] = source[i].green;
        b[i] = source[i].blue;
    }
}

template VEXA_API void GrayToRGB(Image3d<unsigned char> const &, Image3d<unsigned char> const &,
                                 Image3d<unsigned char> const &, Image3d<RGB_generic<unsigned char>> &);
template VEXA_API void GrayToRGB(Image3d<unsigned short> const &, Image3d<unsigned short> const &,
                                 Image3d<unsigned short> const &, Image3d<RGB_generic<unsigned short>> &);
template VEXA_API void RGBtoGray(Image3d<RGB_generic<unsigned char>> const &, Image3d<unsigned char> &,
                                 Image3d<unsigned char> &, Image3d<unsigned char> &);
template VEXA_API void RGBtoGray(Image3d<RGB_generic<unsigned short>> const &, Image3d<unsigned short> &,
                                 Image3d<unsigned short> &, Image3d<unsigned short> &);

} // namespace vexa
