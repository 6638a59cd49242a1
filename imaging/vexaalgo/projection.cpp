#include "vexaalgo/projection.h"

#include <algorithm>
#include <utility>

namespace vexa {

template <typename T>
void Get_AF_XY(Image3d<T> const & in, Image3d<T> & out)
{
    Image3d<T> result(&in.offset, &in.resolution);
    result.MakeRoom(in.size.x, in.size.y, std::min(in.size.z, 1U));
    std::size_t const plane = result.GetCount();
    // A block of the result stays in the nearest cache while all slices pass over it.
    constexpr std::size_t block = 4096;
    for (std::size_t begin = 0; begin < plane; begin += block) {
        std::size_t const length = std::min(block, plane - begin);
        T * const highest = result.begin() + begin;
        std::copy_n(in.begin() + begin, length, highest);
        for (unsigned int z = 1; z < in.size.z; ++z) {
            T const * const slice = in.begin() + begin + z * plane;
            for (std::size_t i = 0; i < length; ++i) {
                highest[i] = std::max(highest[i], slice[i]);
            }
        }
    }
    out = std::move(result);
}

template VEXA_API void Get_AF_XY(Image3d<unsigned short> const &, Image3d<unsigned short> &);

} // namespace vexa
