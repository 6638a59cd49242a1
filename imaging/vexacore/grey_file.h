#ifndef VEXACORE_GREY_FILE_H
#define VEXACORE_GREY_FILE_H

// What the readers and writers of the image file formats have in common. Internal to the image libraries.

#include "vexacore/geometry.h"
#include "vexacore/image_file.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vexa {

// A grey image file open for reading. Its operations throw IOException.
class GreyReader {
  public:
    GreyReader() = default;
    virtual ~GreyReader();
    GreyReader(GreyReader const &) = delete;
    GreyReader & operator=(GreyReader const &) = delete;

    ImageHeader const & GetHeader() const { return _header; }
    ImageNotes const & GetNotes() const { return _notes; }

    // 1 or 2.
    unsigned int GetBytesPerVoxel() const { return _bytes_per_voxel; }

    // Reads the box, which lies inside the image, packed, x fastest, in the machine's byte order.
    virtual void ReadVoxels(Box const & box, unsigned char * target) = 0;

  protected:
    ImageHeader _header;
    ImageNotes _notes;
    unsigned int _bytes_per_voxel = 0;
};

// Voxels to be written, x fastest, in the machine's byte order; not owned.
struct GreyView {
    ImageHeader header;
    unsigned int bytes_per_voxel = 0; // 1 or 2
    unsigned char const * voxels = nullptr;
    ImageNotes notes{};

    std::size_t GetByteCount() const
    {
        return std::size_t{header.size.x} * header.size.y * header.size.z * bytes_per_voxel;
    }
};

std::unique_ptr<GreyReader> OpenIcs(char const * path);
std::unique_ptr<GreyReader> OpenTiff(char const * path);

// The format in FileFormat::FromName is the one that the ending tells. Throws IOException when it tells none.
std::unique_ptr<GreyReader> OpenGreyFile(char const * path, FileFormat format);

void SaveIcs(char const * path, GreyView const & image, bool compress);
void SaveTiff(char const * path, GreyView const & image, bool compress);
void SaveGreyFile(char const * path, FileFormat format, GreyView const & image, bool compress);

// The bytes of an image, or nothing when its size is not below 2^62 bytes.
bool CountBytes(Vector3d<unsigned int> const & size, unsigned int bytes_per_voxel, std::uint64_t & bytes);

// A resolution whose components are positive, finite numbers can be stored as a scale.
bool HasScale(Resolution const & resolution);

// Voxels per micron from microns per voxel; undefined unless all three are positive, finite numbers whose
// inverse is one, too.
Resolution ResolutionFromScale(double x, double y, double z);

// The shortest decimal text that reads back as the same number, whatever the locale.
VEXA_API std::string NumberText(double value);
std::string NumberText(float value);

// Exchanges the two bytes of each of count 16-bit values.
void SwapBytes(unsigned char * values, std::size_t count);

} // namespace vexa

#endif
