#include "velm_convert.h"

#include "vexaalgo/lut.h"
#include "vexacore/color_planes.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace velm {

namespace {

using vexa::Image3d;
using vexa::RGB_generic;

template <typename Tin, typename Tout>
void TakeGeometry(Image3d<Tin> const & in, Image3d<Tout> & out)
{
    out.resolution = in.resolution;
    out.offset = in.offset;
    out.MakeRoom(in.GetSizeX(), in.GetSizeY(), in.GetSizeZ());
}

template <typename Tout>
Tout Clamped(float value)
{
    constexpr float largest = std::numeric_limits<Tout>::max();
    return value > largest ? std::numeric_limits<Tout>::max()
           : value > 0.0F  ? static_cast<Tout>(value)
                           : Tout(0);
}

// Through a type that holds every number whose low bits can matter; what is beyond it has none.
template <typename Tout>
Tout Truncated(float value)
{
    constexpr float limit = 9e18F;
    return std::abs(value) < limit ? static_cast<Tout>(static_cast<std::int64_t>(value)) : Tout(0);
}

template <typename Tin, typename Tout>
void MapVoxels(Image3d<Tin> const & in, Image3d<Tout> & out, bool clamp)
{
    TakeGeometry(in, out);
    Tout * target = out.begin();
    for (Tin const voxel : in) {
        if constexpr (std::is_floating_point_v<Tin>) {
            *target++ = clamp ? Clamped<Tout>(voxel) : Truncated<Tout>(voxel);
        } else {
            *target++ = voxel;
        }
    }
}

template <typename Tin, typename Tout>
void MapVoxels(Image3d<RGB_generic<Tin>> const & in, Image3d<RGB_generic<Tout>> & out, bool clamp)
{
    Image3d<Tin> planes[3];
    Image3d<Tout> mapped[3];
    vexa::RGBtoGray<RGB_generic<Tin>, Tin>(in, planes[0], planes[1], planes[2]);
    for (unsigned int i = 0; i < 3; ++i) {
        MapVoxels(planes[i], mapped[i], clamp);
    }
    vexa::GrayToRGB<Tout, RGB_generic<Tout>>(mapped[0], mapped[1], mapped[2], out);
}

// One more than the number of significant bits.
int LastBitOf(unsigned int value)
{
    int last_bit = 1;
    for (; value != 0; value >>= 1) {
        ++last_bit;
    }
    return last_bit;
}

} // namespace

template <typename Tin, typename Tout>
void VELM_Convert::DirectMapping(Image3d<Tin> const & in, Image3d<Tout> & out, bool clamp)
{
    MapVoxels(in, out, clamp);
}

template <typename Tin, typename Tout>
void VELM_Convert::LinearStretch(Image3d<Tin> const & in, Image3d<Tout> & out)
{
    TakeGeometry(in, out);
    Tin min = 0;
    Tin max = 0;
    in.GetRange(min, max);
    if (!(min < max)) {
        out.Clear();
        return;
    }
    vexa::LUT<Tin, Tout> lut;
    lut.Init(long{max} - long{min} + 1, min, max);
    lut.CreateLinearMapping(min, max, 0, std::numeric_limits<Tout>::max());
    lut.Apply(in.GetFirstVoxelAddr(), out.GetFirstVoxelAddr(), static_cast<long>(in.GetCount()));
}

template <typename Tin, typename Tout>
void VELM_Convert::Top8Bits(Image3d<Tin> const & in, Image3d<Tout> & out, int last_bit)
{
    vexa::VELM_LUT<Tin, Tout> lut;
    TakeGeometry(in, out);
    if (last_bit == -1) {
        Tin min = 0;
        Tin max = 0;
        in.GetRange(min, max);
        last_bit = LastBitOf(max);
    }
    lut.Select8Bits(last_bit);
    lut.Apply(in.GetFirstVoxelAddr(), out.GetFirstVoxelAddr(), static_cast<long>(in.GetCount()));
}

template <typename Tin, typename Tout>
void VELM_Convert::Top8Bits(Image3d<RGB_generic<Tin>> const & in, Image3d<RGB_generic<Tout>> & out,
                            int last_bit_red, int last_bit_green, int last_bit_blue)
{
    Image3d<Tin> planes[3];
    Image3d<Tout> mapped[3];
    vexa::RGBtoGray<RGB_generic<Tin>, Tin>(in, planes[0], planes[1], planes[2]);
    Top8Bits(planes[0], mapped[0], last_bit_red);
    Top8Bits(planes[1], mapped[1], last_bit_green);
    Top8Bits(planes[2], mapped[2], last_bit_blue);
    vexa::GrayToRGB<Tout, RGB_generic<Tout>>(mapped[0], mapped[1], mapped[2], out);
}

template VELM_API void VELM_Convert::DirectMapping(Image3d<unsigned char> const &, Image3d<unsigned short> &,
                                                   bool);
template VELM_API void VELM_Convert::DirectMapping(Image3d<unsigned short> const &, Image3d<unsigned short> &,
                                                   bool);
template VELM_API void VELM_Convert::DirectMapping(Image3d<float> const &, Image3d<unsigned char> &, bool);
template VELM_API void VELM_Convert::DirectMapping(Image3d<float> const &, Image3d<unsigned short> &, bool);
template VELM_API void VELM_Convert::DirectMapping(Image3d<RGB_generic<unsigned char>> const &,
                                                   Image3d<RGB_generic<unsigned short>> &, bool);
template VELM_API void VELM_Convert::LinearStretch(Image3d<unsigned short> const &, Image3d<unsigned char> &);
template VELM_API void VELM_Convert::Top8Bits(Image3d<unsigned short> const &, Image3d<unsigned char> &, int);
template VELM_API void VELM_Convert::Top8Bits(Image3d<RGB_generic<unsigned short>> const &,
                                              Image3d<RGB_generic<unsigned char>> &, int, int, int);

} // namespace velm
