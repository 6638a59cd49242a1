#include "vexacore/grey_file.h"

#include "vexacore/exceptions.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

namespace vexa {

namespace {

bool HasEnding(std::string_view path, std::string_view ending)
{
    if (path.size() < ending.size()) {
        return false;
    }
    std::string_view const tail = path.substr(path.size() - ending.size());
    for (std::size_t i = 0; i < ending.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(tail[i])) != ending[i]) {
            return false;
        }
    }
    return true;
}

FileFormat ResolveFormat(char const * path, FileFormat format, char const * what)
{
    if (format == FileFormat::Ics || format == FileFormat::Tiff) {
        return format;
    }
    if (format == FileFormat::FromName) {
        if (HasEnding(path, ".ics")) {
            return FileFormat::Ics;
        }
        if (HasEnding(path, ".tif") || HasEnding(path, ".tiff")) {
            return FileFormat::Tiff;
        }
    }
    throw IOException(std::string("Cannot ") + what + " '" + path + "': not a known image file format");
}

template <typename Number>
std::string ShortestText(Number value)
{
    char text[64];
    auto const result = std::to_chars(text, text + sizeof(text), value);
    return std::string(text, result.ptr);
}

bool IsPositive(double value)
{
    return std::isfinite(value) && value > 0.0;
}

} // namespace

GreyReader::~GreyReader() = default;

std::unique_ptr<GreyReader> OpenGreyFile(char const * path, FileFormat format)
{
    return ResolveFormat(path, format, "read") == FileFormat::Ics ? OpenIcs(path) : OpenTiff(path);
}

void SaveGreyFile(char const * path, FileFormat format, GreyView const & image, bool compress)
{
    FileFormat const resolved = ResolveFormat(path, format, "write");
    if (image.GetByteCount() == 0) {
        throw IOException(std::string("Cannot write '") + path + "': the image has no voxels");
    }
    if (resolved == FileFormat::Ics) {
        SaveIcs(path, image, compress);
    } else {
        SaveTiff(path, image, compress);
    }
}

ImageHeader ReadImageHeader(char const * path, FileFormat format)
{
    return OpenGreyFile(path, format)->GetHeader();
}

ImageNotes ReadImageNotes(char const * path, FileFormat format)
{
    return OpenGreyFile(path, format)->GetNotes();
}

bool CountBytes(Vector3d<unsigned int> const & size, unsigned int bytes_per_voxel, std::uint64_t & bytes)
{
    constexpr std::uint64_t limit = std::uint64_t{1} << 62;
    std::uint64_t const plane = std::uint64_t{size.x} * size.y; // fits: both are 32 bits
    bytes = 0;
    if (plane == 0 || size.z == 0) {
        return true;
    }
    if (plane > limit / size.z / bytes_per_voxel) {
        return false;
    }
    bytes = plane * size.z * bytes_per_voxel;
    return true;
}

bool HasScale(Resolution const & resolution)
{
    Vector3d<float> const r = resolution.GetRes();
    return resolution.IsDefined() && IsPositive(r.x) && IsPositive(r.y) && IsPositive(r.z);
}

Resolution ResolutionFromScale(double x, double y, double z)
{
    Resolution const resolution(static_cast<float>(1.0 / x), static_cast<float>(1.0 / y),
                                static_cast<float>(1.0 / z));
    return HasScale(resolution) && IsPositive(x) && IsPositive(y) && IsPositive(z) ? resolution
                                                                                   : Resolution();
}

std::string NumberText(double value)
{
    return ShortestText(value);
}

std::string NumberText(float value)
{
    return ShortestText(value);
}

void SwapBytes(unsigned char * values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        std::swap(values[2 * i], values[2 * i + 1]);
    }
}

} // namespace vexa
