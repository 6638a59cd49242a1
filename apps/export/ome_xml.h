#ifndef EXPORT_OME_XML_H
#define EXPORT_OME_XML_H

// What a FOV's record knows, as OME-XML of the schema 2016-06. Internal to the library.

#include "velm_export.h"
#include "vexacore/geometry.h"

#include <optional>
#include <string>
#include <vector>
#include <wx/string.h>

namespace velm {
class VELM_Database;
class VELM_FOV;
} // namespace velm

namespace velm::ome {

// One image of the file: the channels whose stacks have the same geometry.
struct ImageGroup {
    vexa::Vector3d<unsigned int> size;  // voxels
    vexa::Vector3d<float> offset;       // of the first voxel from that of the whole sensor, microns
    vexa::Vector3d<float> resolution;   // voxels per micron; 0 where unknown
    std::vector<unsigned int> channels; // positions in the record's list

    bool HasGeometryOf(ImageGroup const & other) const
    {
        return size == other.size && offset == other.offset && resolution == other.resolution;
    }
    long CountPages() const { return static_cast<long>(channels.size()) * static_cast<long>(size.z); }
};

// The whole document, UTF-8. The pages of the file are those of the first image, then those of the next; in
// each the slices of the first channel, then those of the next. name: of the images.
std::string MakeOmeXml(VELM_FOV const & fov, VELM_Database const & db, std::vector<ImageGroup> const & images,
                       wxString const & name);

// The wavelengths that a band-pass filter lets through, in nanometres.
struct PassBand {
    double centre;
    double width;
};

// Reads a description such as "Em 525/40"; nothing when it has no such pair of numbers.
VELM_API std::optional<PassBand> ParsePassBand(wxString const & description);

// The aperture in a description such as "63x/1.40 oil"; nothing when it tells none.
VELM_API std::optional<double> ParseAperture(wxString const & description);

} // namespace velm::ome

#endif
