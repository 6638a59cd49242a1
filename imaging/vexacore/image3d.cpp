#include "vexacore/image3d.h"

#include "vexacore/file_io.h"
#include "vexacore/grey_file.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

namespace vexa {

namespace {

// The number of voxels of a size, checked so that the bytes can be counted, too.
template <typename T>
std::size_t CheckedCount(unsigned int x, unsigned int y, unsigned int z)
{
    std::uint64_t bytes = 0;
    if (!CountBytes(Vector3d<unsigned int>(x, y, z), sizeof(T), bytes)) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::size_t>(bytes / sizeof(T));
}

bool IsInside(Box const & box, Vector3d<unsigned int> const & size)
{
    for (unsigned int i = 0; i < 3; ++i) {
        if (box.offset[i] < 0 ||
            static_cast<std::uint64_t>(box.offset[i]) + box.size[i] > std::uint64_t{size[i]}) {
            return false;
        }
    }
    return true;
}

Vector3d<float> MovedOffset(Vector3d<float> offset, Resolution const & resolution, Vector3d<int> const & by)
{
    if (HasScale(resolution)) {
        for (unsigned int i = 0; i < 3; ++i) {
            offset[i] = static_cast<float>(double{offset[i]} + by[i] / double{resolution.GetRes()[i]});
        }
    }
    return offset;
}

// Turns count bytes that lie in the second half of a block of count 16-bit values into those values. Going
// upwards, no byte is overwritten before it is read.
void WidenInPlace(unsigned short * values, std::size_t count)
{
    unsigned char const * const bytes = reinterpret_cast<unsigned char const *>(values) + count;
    for (std::size_t i = 0; i < count; ++i) {
        unsigned char const value = bytes[i];
        values[i] = value;
    }
}

// The box that a read is for: the given one or the whole image, cut down to one slice when a page is given.
Box BoxToRead(char const * path, ImageHeader const & header, Box const * box, int page)
{
    Box result = box != nullptr ? *box : Box(0, 0, 0, header.size.x, header.size.y, header.size.z);
    bool valid = IsInside(result, header.size);
    if (page >= 0) {
        valid = valid && static_cast<unsigned int>(page) < result.size.z;
        result.offset.z += valid ? page : 0;
        result.size.z = 1;
    }
    if (!valid || page < -1) {
        throw IOException(std::string("Cannot read '") + path + "': the part reaches outside the image");
    }
    return result;
}

} // namespace

template <typename T>
Image3d<T>::Image3d(Vector3d<float> const * world_offset, Resolution const * res)
    : offset(world_offset != nullptr ? *world_offset : Vector3d<float>()),
      resolution(res != nullptr ? *res : Resolution())
{
}

template <typename T>
Image3d<T>::Image3d(Image3d const & src, Box const * box)
{
    if (box == nullptr) {
        *this = src;
        return;
    }
    if (!IsInside(*box, src.size)) {
        throw InternalException("The box reaches outside the image");
    }
    CopyFromVOI(src, *box, false, T());
}

template <typename T>
Image3d<T>::Image3d(Image3d const & src) : offset(src.offset), resolution(src.resolution)
{
    MakeRoom(src.size.x, src.size.y, src.size.z);
    std::copy(src.begin(), src.end(), begin());
}

template <typename T>
Image3d<T>::Image3d(Image3d && src) noexcept
    : offset(src.offset), size(std::exchange(src.size, {})), resolution(src.resolution),
      _voxels(std::move(src._voxels))
{
}

template <typename T>
Image3d<T> & Image3d<T>::operator=(Image3d const & src)
{
    if (this != &src) {
        MakeRoom(src.size.x, src.size.y, src.size.z);
        std::copy(src.begin(), src.end(), begin());
        offset = src.offset;
        resolution = src.resolution;
    }
    return *this;
}

template <typename T>
Image3d<T> & Image3d<T>::operator=(Image3d && src) noexcept
{
    if (this != &src) {
        offset = src.offset;
        size = std::exchange(src.size, {});
        resolution = src.resolution;
        _voxels = std::move(src._voxels);
    }
    return *this;
}

// Not "= default", which cannot be instantiated by itself.
template <typename T>
Image3d<T>::~Image3d()
{
}

// Large images in small pages would take longer to hand out, page by page, than to fill.
template <typename T>
typename Image3d<T>::Block Image3d<T>::MakeBlock(std::size_t count)
{
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
    if (count == 0) {
        return nullptr;
    }
    void * const block = ::operator new(count * sizeof(T));
    UseLargePages(block, count * sizeof(T));
    return Block(static_cast<T *>(block));
}

template <typename T>
void Image3d<T>::MakeRoom(unsigned int x, unsigned int y, unsigned int z)
{
    std::size_t const count = CheckedCount<T>(x, y, z);
    if (count != GetCount()) {
        _voxels = MakeBlock(count);
    }
    size = {x, y, z};
}

template <typename T>
void Image3d<T>::GetRange(T & min, T & max) const
{
    T low = GetCount() > 0 ? _voxels[0] : T();
    T high = low;
    for (T const voxel : *this) {
        low = std::min(low, voxel);
        high = std::max(high, voxel);
    }
    min = low;
    max = high;
}

template <typename T>
void Image3d<T>::Clear()
{
    std::fill(begin(), end(), T());
}

template <typename T>
void Image3d<T>::CopyFromVOI(Image3d const & src, Box const & box, bool keep_geometry, T fill)
{
    Image3d result(&offset, &resolution);
    result.MakeRoom(box.size.x, box.size.y, box.size.z);
    if (!keep_geometry) {
        result.offset = MovedOffset(src.offset, src.resolution, box.offset);
        result.resolution = src.resolution;
    }

    // The columns of the result that lie in src: from left up to right.
    std::int64_t const first = box.offset.x;
    std::int64_t const width = box.size.x;
    std::int64_t const left = std::clamp<std::int64_t>(-first, 0, width);
    std::int64_t const right = std::clamp<std::int64_t>(std::int64_t{src.size.x} - first, left, width);
    T * out = result.begin();
    for (std::int64_t k = 0; k < std::int64_t{box.size.z}; ++k) {
        for (std::int64_t j = 0; j < std::int64_t{box.size.y}; ++j, out += width) {
            std::int64_t const y = box.offset.y + j;
            std::int64_t const z = box.offset.z + k;
            if (y < 0 || y >= std::int64_t{src.size.y} || z < 0 || z >= std::int64_t{src.size.z}) {
                std::fill(out, out + width, fill);
                continue;
            }
            T const * const row =
                src.GetVoxelAddr(0, static_cast<unsigned int>(y), static_cast<unsigned int>(z));
            std::fill(out, out + left, fill);
            if (left < right) {
                std::copy(row + (first + left), row + (first + right), out + left);
            }
            std::fill(out + right, out + width, fill);
        }
    }
    *this = std::move(result);
}

template <typename T>
void Image3d<T>::ReadImage(char const * path, Box const * box, bool keep_geometry, int page,
                           Vector3d<float> const * world_offset, Resolution const * res)
{
    std::unique_ptr<GreyReader> const reader = OpenGreyFile(path, FileFormat::FromName);
    ImageHeader const & header = reader->GetHeader();
    Box const part = BoxToRead(path, header, box, page);
    if (reader->GetBytesPerVoxel() > sizeof(T)) {
        throw IOException(std::string("Cannot read '") + path + "': its voxels are wider than the image's");
    }

    Image3d result(&offset, &resolution);
    result.MakeRoom(part.size.x, part.size.y, part.size.z);
    auto * const bytes = reinterpret_cast<unsigned char *>(result.begin());
    bool const narrow = reader->GetBytesPerVoxel() < sizeof(T);
    if (result.GetCount() > 0) {
        reader->ReadVoxels(part, narrow ? bytes + result.GetCount() : bytes);
    }
    if constexpr (std::is_same_v<T, unsigned short>) {
        if (narrow) {
            WidenInPlace(result.begin(), result.GetCount());
        }
    }
    if (!keep_geometry) {
        result.offset = world_offset != nullptr ? *world_offset
                                                : MovedOffset(header.offset, header.resolution, part.offset);
        result.resolution = res != nullptr ? *res : header.resolution;
    }
    *this = std::move(result);
}

template <typename T>
void Image3d<T>::SaveImage(char const * path, FileFormat format, bool compress, Box const * box) const
{
    SaveImage(path, format, compress, box, ImageNotes());
}

template <typename T>
void Image3d<T>::SaveImage(char const * path, FileFormat format, bool compress, Box const * box,
                           ImageNotes const & notes) const
{
    if (box != nullptr) {
        Image3d(*this, box).SaveImage(path, format, compress, nullptr, notes);
        return;
    }
    GreyView view;
    view.header = {size, offset, resolution};
    view.bytes_per_voxel = sizeof(T);
    view.voxels = reinterpret_cast<unsigned char const *>(begin());
    view.notes = notes;
    SaveGreyFile(path, format, view, compress);
}

#define VEXA_INSTANTIATE_CONTAINER(T)                                                                        \
    template VEXA_API Image3d<T>::Image3d(Vector3d<float> const *, Resolution const *);                      \
    template VEXA_API Image3d<T>::Image3d(Image3d const &, Box const *);                                     \
    template VEXA_API Image3d<T>::Image3d(Image3d const &);                                                  \
    template VEXA_API Image3d<T>::Image3d(Image3d &&) noexcept;                                              \
    template VEXA_API Image3d<T> & Image3d<T>::operator=(Image3d const &);                                   \
    template VEXA_API Image3d<T> & Image3d<T>::operator=(Image3d &&) noexcept;                               \
    template VEXA_API Image3d<T>::~Image3d();                                                                \
    template VEXA_API void Image3d<T>::MakeRoom(unsigned int, unsigned int, unsigned int);                   \
    template VEXA_API void Image3d<T>::Clear();                                                              \
    template VEXA_API void Image3d<T>::CopyFromVOI(Image3d const &, Box const &, bool, T);

#define VEXA_INSTANTIATE_FILES(T)                                                                            \
    template VEXA_API void Image3d<T>::ReadImage(char const *, Box const *, bool, int,                       \
                                                 Vector3d<float> const *, Resolution const *);               \
    template VEXA_API void Image3d<T>::SaveImage(char const *, FileFormat, bool, Box const *) const;         \
    template VEXA_API void Image3d<T>::SaveImage(char const *, FileFormat, bool, Box const *,                \
                                                 ImageNotes const &) const;

VEXA_INSTANTIATE_CONTAINER(unsigned char)
VEXA_INSTANTIATE_CONTAINER(unsigned short)
VEXA_INSTANTIATE_CONTAINER(float)
VEXA_INSTANTIATE_CONTAINER(RGB_generic<unsigned char>)
VEXA_INSTANTIATE_CONTAINER(RGB_generic<unsigned short>)

template VEXA_API void Image3d<unsigned char>::GetRange(unsigned char &, unsigned char &) const;
template VEXA_API void Image3d<unsigned short>::GetRange(unsigned short &, unsigned short &) const;
template VEXA_API void Image3d<float>::GetRange(float &, float &) const;

VEXA_INSTANTIATE_FILES(unsigned char)
VEXA_INSTANTIATE_FILES(unsigned short)

} // namespace vexa
