#ifndef VEXACORE_IMAGE_FILE_H
#define VEXACORE_IMAGE_FILE_H

#include "vexacore/export.h"
#include "vexacore/geometry.h"

#include <string>

namespace vexa {

// Image file formats. The values 0 and 8 are permanent.
enum class FileFormat {
    FromName = 0, // by the name's ending, ".ics", ".tif" or ".tiff", in any case
    Ics = 1,      // ICS 2.0, header and data in one file
    Tiff = 2,     // TIFF, one page per slice
    Labeled = 8   // ".ics" with 16-bit labels and ".l3d" with the components; the name has no ending
};

// What a file tells of its image without its voxels.
struct ImageHeader {
    Vector3d<unsigned int> size; // voxels per axis
    Vector3d<float> offset;      // world position of the first voxel, in microns
    Resolution resolution;       // voxels per micron; undefined when the file has no scale
};

// What a file may tell of its image besides, for other programs. A text that is empty isn't there.
struct ImageNotes {
    // The channel's name, UTF-8, one line.
    std::string channel;

    // When the image was taken, in the form of ISO 8601, such as 2026-11-21T18:30:00.250Z.
    std::string acquired;
};

// Reads only the header of the image file. Throws IOException when the file is missing or not such a file.
VEXA_API ImageHeader ReadImageHeader(char const * path, FileFormat format);

// Reads only the notes of the image file, in the same way. Formats other than ICS are not searched for them.
VEXA_API ImageNotes ReadImageNotes(char const * path, FileFormat format);

} // namespace vexa

#endif
