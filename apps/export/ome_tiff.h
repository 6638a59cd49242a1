#ifndef EXPORT_OME_TIFF_H
#define EXPORT_OME_TIFF_H

#include "velm_export.h"

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

class wxString;

namespace velm {
class VELM_Depository;
} // namespace velm

namespace velm::ome {

// The field of view cannot be exported; the text says why, for the program's user.
class VELM_API ExportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~ExportError() override;
};

struct ExportOptions {
    std::vector<long> channels; // ids; empty: all of the record
    bool compress = true;       // deflate, without loss

    // Bytes of voxels above which the file takes the form for files of 4 GiB and more (BigTIFF). Decided
    // before the first page, so without regard to what compression saves.
    std::uint64_t largest_classic_file = std::uint64_t{0xf0000000};
};

// Told after every page how many are written, and how many there are. What it throws ends the export.
using ExportProgress = std::function<void(long written, long all)>;

// Writes the stacks of a FOV of an open depository as one OME-TIFF file, replacing a file of that name:
// channels as C, slices as Z, the voxels as they are stored, and what the record knows of them as OME-XML.
// Channels whose stacks differ in size, scale or place become images of their own in that file.
// docs/formats/ome-tiff.md tells all of it.
//
// The file is there only once it is complete; until then, and after a failure, nothing of that name changes.
// Memory: one slice, or as many as fit into 64 MiB. Exposures are taken as microseconds, positions as tenths
// of a micron, and stacks as centred on the recorded Z position, which is how velm-scan works.
//
// Throws ExportError when the record or a stack of it can't be read, after the depository has logged why;
// vexa::IOException when the file can't be written.
VELM_API void ExportFov(VELM_Depository & depository, long fov_id, wxString const & file,
                        ExportOptions const & options = {}, ExportProgress const & progress = {});

} // namespace velm::ome

#endif
