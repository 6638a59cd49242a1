#include "vexaalgo/projection.h"

#include "vexacore/cpu.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <utility>

namespace vexa {

namespace {

// Values of the result that stay in the nearest cache while all slices pass over them.
constexpr std::size_t block = 4096;

// Blocks that one thread takes at a time.
constexpr std::size_t blocks_per_part = 64;

// highest[i] = the largest of itself and of the value in each of so many slices, which begin at first and lie
// a plane apart. Four slices at a time: the memory delivers more from several places at once, and the result
// is fetched and stored less often.
template <typename T>
VEXA_LOOP_BODY void RaiseBody(T const * first, std::size_t plane, std::size_t slices, std::size_t length,
                              T * highest)
{
    for (std::size_t z = 0; z < slices; z += 4) {
        auto const slice = [&](std::size_t number) { return first + std::min(number, slices - 1) * plane; };
        T const * const a = slice(z);
        T const * const b = slice(z + 1);
        T const * const c = slice(z + 2);
        T const * const d = slice(z + 3);
        for (std::size_t i = 0; i < length; ++i) {
            T const ab = a[i] < b[i] ? b[i] : a[i];
            T const cd = c[i] < d[i] ? d[i] : c[i];
            T const abcd = ab < cd ? cd : ab;
            highest[i] = highest[i] < abcd ? abcd : highest[i];
        }
    }
}

#if VEXA_HAS_AVX2
template <typename T>
VEXA_AVX2 void RaiseAvx2(T const * first, std::size_t plane, std::size_t slices, std::size_t length,
                         T * highest)
{
    RaiseBody(first, plane, slices, length, highest);
}
#endif

template <typename T>
void Raise(T const * first, std::size_t plane, std::size_t slices, std::size_t length, T * highest)
{
#if VEXA_HAS_AVX2
    if (GetInstructionSet() == InstructionSet::Avx2) {
        RaiseAvx2(first, plane, slices, length, highest);
        return;
    }
#endif
    RaiseBody(first, plane, slices, length, highest);
}

} // namespace

template <typename T>
void Get_AF_XY(Image3d<T> const & in, Image3d<T> & out)
{
    Image3d<T> result(&in.offset, &in.resolution);
    result.MakeRoom(in.size.x, in.size.y, std::min(in.size.z, 1U));
    std::size_t const plane = result.GetCount();
    std::size_t const blocks = (plane + block - 1) / block;
    ParallelFor((blocks + blocks_per_part - 1) / blocks_per_part, [&](std::size_t part) {
        std::size_t const last = std::min(blocks, (part + 1) * blocks_per_part);
        for (std::size_t i = part * blocks_per_part; i < last; ++i) {
            std::size_t const begin = i * block;
            std::size_t const length = std::min(block, plane - begin);
            T * const highest = result.begin() + begin;
            T const * const first = in.begin() + begin;
            std::copy_n(first, length, highest);
            Raise(first + plane, plane, in.size.z - 1, length, highest);
        }
    });
    out = std::move(result);
}

template VEXA_API void Get_AF_XY(Image3d<unsigned short> const &, Image3d<unsigned short> &);

} // namespace vexa
