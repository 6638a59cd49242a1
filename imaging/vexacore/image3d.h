#ifndef VEXACORE_IMAGE3D_H
#define VEXACORE_IMAGE3D_H

#include "vexacore/exceptions.h"
#include "vexacore/export.h"
#include "vexacore/geometry.h"
#include "vexacore/image_file.h"
#include "vexacore/rgb.h"

#include <cstddef>
#include <memory>
#include <new>

namespace vexa {

// A three-dimensional voxel array that knows its size, its place in the world and its resolution.
//
// The voxels lie in one contiguous block, x fastest, then y, then z: the linear index of (x, y, z) is
// x + sizeX * (y + sizeY * z). The image owns the block; copies are deep, moves leave an empty image.
// Indices are not checked. T is one of unsigned char, unsigned short, float, RGB_generic<unsigned char> and
// RGB_generic<unsigned short>; files exist for the two grey integer types only.
template <typename T>
class VEXA_API Image3d {
  public:
    Vector3d<float> offset;      // world position of the first voxel, in microns
    Vector3d<unsigned int> size; // voxels per axis; changed by MakeRoom, never on its own
    Resolution resolution;       // voxels per micron

    // An empty image. Null gives offset 0 and an undefined resolution.
    explicit Image3d(Vector3d<float> const * world_offset = nullptr, Resolution const * res = nullptr);

    // Copies the box of src, the whole image when box is null; offset moves with the box (by the box's first
    // voxel divided by the resolution, where that is defined), resolution stays. Throws InternalException
    // when the box reaches outside src.
    Image3d(Image3d const & src, Box const * box);

    Image3d(Image3d const & src);
    Image3d(Image3d && src) noexcept;
    Image3d & operator=(Image3d const & src);
    Image3d & operator=(Image3d && src) noexcept;
    virtual ~Image3d();

    // Gives the image this size. The voxels are undefined afterwards, also when the size is the same;
    // offset and resolution stay. Throws std::bad_alloc when there is no room, leaving the image as it was.
    void MakeRoom(unsigned int x, unsigned int y, unsigned int z);

    unsigned int GetSizeX() const { return size.x; }
    unsigned int GetSizeY() const { return size.y; }
    unsigned int GetSizeZ() const { return size.z; }

    // Number of voxels.
    std::size_t GetCount() const { return std::size_t{size.x} * std::size_t{size.y} * std::size_t{size.z}; }

    // Linear index of a voxel.
    std::size_t GetIndex(unsigned int x, unsigned int y, unsigned int z) const
    {
        return x + std::size_t{size.x} * (y + std::size_t{size.y} * z);
    }

    // Voxel 0; null for an empty image.
    T * GetFirstVoxelAddr() { return _voxels.get(); }
    T const * GetFirstVoxelAddr() const { return _voxels.get(); }

    T * GetVoxelAddr(unsigned int x, unsigned int y, unsigned int z) { return begin() + GetIndex(x, y, z); }
    T const * GetVoxelAddr(unsigned int x, unsigned int y, unsigned int z) const
    {
        return begin() + GetIndex(x, y, z);
    }

    T GetVoxel(std::size_t i) const { return _voxels[i]; }
    T GetVoxel(unsigned int x, unsigned int y, unsigned int z) const { return _voxels[GetIndex(x, y, z)]; }
    void SetVoxel(std::size_t i, T value) { _voxels[i] = value; }
    void SetVoxel(unsigned int x, unsigned int y, unsigned int z, T value)
    {
        _voxels[GetIndex(x, y, z)] = value;
    }

    T * begin() { return _voxels.get(); }
    T * end() { return _voxels.get() + GetCount(); }
    T const * begin() const { return _voxels.get(); }
    T const * end() const { return _voxels.get() + GetCount(); }

    // Smallest and largest voxel value; both 0 for an empty image. Grey types only.
    void GetRange(T & min, T & max) const;

    // Sets all voxels to 0 and keeps the size.
    void Clear();

    // Makes this image a copy of the box of src, which may reach outside src: what lies outside becomes
    // fill. Offset and resolution follow as in the box constructor, unless keep_geometry is true.
    void CopyFromVOI(Image3d const & src, Box const & box, bool keep_geometry, T fill);

    // Reads the file, or only the box of it when box is not null, as T: 8-bit files widen to 16 bits, while
    // 16-bit files do not read into an 8-bit image. Offset and resolution come from the file, moved by the
    // box, unless world_offset or res give others. A set keep_geometry leaves both as they are. page is the
    // only slice to read, within the box when there is one, and -1 means all.
    // Throws IOException on failure, also when the box or the page reaches outside the file's image, and
    // std::bad_alloc when there is no room; the image is then unchanged.
    void ReadImage(char const * path, Box const * box, bool keep_geometry, int page,
                   Vector3d<float> const * world_offset, Resolution const * res);

    // Writes the image, or only the box of it when box is not null. compress: gzip for ICS, deflate for
    // TIFF. The file appears under its name only when it is complete. Throws IOException on failure, also for
    // an image without voxels, and InternalException when the box reaches outside the image.
    void SaveImage(char const * path, FileFormat format, bool compress, Box const * box) const;

    // The same with notes for other programs, which ICS files hold and others leave out.
    void SaveImage(char const * path, FileFormat format, bool compress, Box const * box,
                   ImageNotes const & notes) const;

  private:
    // Frees a block that no voxel was constructed in: all voxel types are plain values.
    struct BlockDeleter {
        void operator()(void * block) const { ::operator delete(block); }
    };
    using Block = std::unique_ptr<T[], BlockDeleter>;

    static Block MakeBlock(std::size_t count);

    Block _voxels;
};

} // namespace vexa

#endif
