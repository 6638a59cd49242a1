// Reading TIFF through libtiff: one page per slice, 8 or 16 bits of grey. docs/formats/tif.md tells which
// tags.

#include "vexacore/exceptions.h"
#include "vexacore/file_io.h"
#include "vexacore/grey_file.h"
#include "vexacore/length_unit.h"
#include "vexacore/tiff_handle.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace vexa {

namespace {

// None of the compressions that are read packs more than this many bytes into one.
constexpr std::uint64_t largest_ratio = 4096;

// The value of attribute="..." behind the given position of XML text; empty when there is none.
std::string_view Attribute(std::string_view element, std::string const & name)
{
    std::string const start = ' ' + name + "=\"";
    std::size_t const found = element.find(start);
    if (found == std::string_view::npos) {
        return {};
    }
    std::size_t const begin = found + start.size();
    std::size_t const end = element.find('"', begin);
    return end == std::string_view::npos ? std::string_view() : element.substr(begin, end - begin);
}

// The first element of that name, from its "<" to its ">".
std::string_view Element(std::string_view text, std::string const & name)
{
    std::size_t const begin = text.find('<' + name + ' ');
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find('>', begin) - begin);
}

template <typename Number>
std::optional<Number> ParseNumber(std::string_view text)
{
    Number number{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

// A length attribute in microns; its unit is in the attribute of that name with "Unit" behind, microns when
// absent.
std::optional<double> LengthAttribute(std::string_view element, std::string const & name)
{
    std::optional<double> const value = ParseNumber<double>(Attribute(element, name));
    std::string_view const unit = Attribute(element, name + "Unit");
    double const microns = unit.empty() ? 1.0 : MicronsPerUnit(unit);
    if (!value || microns == 0.0) {
        return std::nullopt;
    }
    return *value * microns;
}

// The value behind "name=" at the start of a line.
std::string_view LineValue(std::string_view text, std::string const & name)
{
    std::size_t const found = text.find('\n' + name + '=');
    if (found == std::string_view::npos) {
        return {};
    }
    std::size_t const begin = found + name.size() + 2;
    return text.substr(begin, text.find('\n', begin) - begin);
}

void FillFromOme(std::string_view description, ImageHeader & header)
{
    std::string_view const pixels = Element(description, "Pixels");
    std::optional<double> const x = LengthAttribute(pixels, "PhysicalSizeX");
    std::optional<double> const y = LengthAttribute(pixels, "PhysicalSizeY");
    std::optional<double> const z = LengthAttribute(pixels, "PhysicalSizeZ");
    double const plane_alone = header.size.z == 1 ? 1.0 : 0.0;
    header.resolution = ResolutionFromScale(x.value_or(0.0), y.value_or(0.0), z.value_or(plane_alone));
    static constexpr char const * names[] = {"PositionX", "PositionY", "PositionZ"};
    std::string_view const plane = Element(description, "Plane");
    for (unsigned int i = 0; i < 3; ++i) {
        header.offset[i] = static_cast<float>(LengthAttribute(plane, names[i]).value_or(0.0));
    }
}

void FillFromImageJ(TiffHandle const & tiff, std::string_view description, ImageHeader & header)
{
    double const microns = MicronsPerUnit(LineValue(description, "unit"));
    double const x = double{tiff.GetTag<float>(TIFFTAG_XRESOLUTION, 0.0F)};
    double const y = double{tiff.GetTag<float>(TIFFTAG_YRESOLUTION, 0.0F)};
    double const z = ParseNumber<double>(LineValue(description, "spacing")).value_or(1.0);
    if (microns > 0.0 && x > 0.0 && y > 0.0) {
        header.resolution = ResolutionFromScale(microns / x, microns / y, microns * z);
    }
}

// A resolution per inch is how a picture is to be printed, and no measure of the specimen: programs write 72
// for want of better. Only centimetres are believed. The distance of the slices is not in these tags.
void FillFromTags(TiffHandle const & tiff, ImageHeader & header)
{
    if (tiff.GetTag<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) != RESUNIT_CENTIMETER) {
        return;
    }
    double const x = double{tiff.GetTag<float>(TIFFTAG_XRESOLUTION, 0.0F)};
    double const y = double{tiff.GetTag<float>(TIFFTAG_YRESOLUTION, 0.0F)};
    if (x > 0.0 && y > 0.0) {
        header.resolution = ResolutionFromScale(microns_per_centimetre / x, microns_per_centimetre / y, 1.0);
    }
    header.offset.x =
        static_cast<float>(microns_per_centimetre * tiff.GetTag<float>(TIFFTAG_XPOSITION, 0.0F));
    header.offset.y =
        static_cast<float>(microns_per_centimetre * tiff.GetTag<float>(TIFFTAG_YPOSITION, 0.0F));
}

class TiffReader : public GreyReader {
  public:
    explicit TiffReader(char const * path)
        : _file(path), _tiff(OpenAgain(path), path, "rm") // m: without a memory map, which may fault
    {
        if (_tiff.Get() == nullptr) {
            _file.Reject("not a TIFF file");
        }
        ReadPageLayout(_header.size.x, _header.size.y, _bytes_per_voxel);
        _header.size.z = TIFFNumberOfDirectories(_tiff.Get());
        if (_header.size.z == 0 || !_tiff.GetError().empty()) {
            Fail(); // a page that cannot be reached is not counted, only complained about
        }
        CheckPromise();
        ReadGeometry();
    }

    void ReadVoxels(Box const & box, unsigned char * target) override
    {
        for (unsigned int k = 0; k < box.size.z; ++k) {
            // Walking on from page to page is cheap, jumping to one is not.
            bool const found = k == 0 ? TIFFSetDirectory(_tiff.Get(), static_cast<tdir_t>(box.offset.z)) == 1
                                      : TIFFReadDirectory(_tiff.Get()) == 1;
            if (!found) {
                Fail();
            }
            Vector3d<unsigned int> page;
            unsigned int bytes = 0;
            ReadPageLayout(page.x, page.y, bytes);
            if (page.x != _header.size.x || page.y != _header.size.y || bytes != _bytes_per_voxel) {
                _file.Reject("its pages differ in size or type");
            }
            ReadRows(box, target);
            target += std::size_t{box.size.x} * box.size.y * _bytes_per_voxel;
        }
    }

  private:
    int OpenAgain(char const * path) const
    {
        int const descriptor = ::dup(_file.GetDescriptor());
        if (descriptor < 0) {
            throw IOException(std::string("Cannot open '") + path + "': too many open files");
        }
        return descriptor;
    }

    [[noreturn]] void Fail() const
    {
        _file.Reject(_tiff.GetError().empty() ? "the file is damaged" : _tiff.GetError());
    }

    void ReadPageLayout(unsigned int & width, unsigned int & height, unsigned int & bytes) const
    {
        width = _tiff.GetTag<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
        height = _tiff.GetTag<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
        auto const bits = _tiff.GetTag<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 0);
        auto const samples = _tiff.GetTag<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 0);
        auto const format = _tiff.GetTag<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        auto const meaning = _tiff.GetTag<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        if (width == 0 || height == 0 || samples != 1 || (bits != 8 && bits != 16) ||
            (format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID) ||
            meaning != PHOTOMETRIC_MINISBLACK) {
            _file.Reject("only grey pages of 8 or 16 bits, unsigned, are supported");
        }
        switch (_tiff.GetTag<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE)) {
        case COMPRESSION_NONE:
        case COMPRESSION_LZW:
        case COMPRESSION_PACKBITS:
        case COMPRESSION_DEFLATE:
        case COMPRESSION_ADOBE_DEFLATE:
            break;
        default:
            _file.Reject("its compression is not supported");
        }
        if (TIFFIsTiled(_tiff.Get()) != 0) {
            _file.Reject("pages made of tiles are not supported");
        }
        bytes = bits / 8U;
    }

    // Keeps a file of a few bytes from asking for a room of many.
    void CheckPromise() const
    {
        std::uint64_t bytes = 0;
        if (!CountBytes(_header.size, _bytes_per_voxel, bytes) || bytes / largest_ratio > _file.GetSize()) {
            _file.Reject("the file holds fewer voxels than its tags promise");
        }
    }

    void ReadGeometry()
    {
        char const * text = nullptr;
        TIFFGetField(_tiff.Get(), TIFFTAG_IMAGEDESCRIPTION, &text);
        std::string_view const description = text != nullptr ? text : "";
        if (description.find("<OME ") != std::string_view::npos) {
            FillFromOme(description, _header);
        } else if (description.rfind("ImageJ=", 0) == 0) {
            FillFromImageJ(_tiff, description, _header);
        } else {
            FillFromTags(_tiff, _header);
        }
    }

    // The box's rows of the current page, strip by strip.
    void ReadRows(Box const & box, unsigned char * target)
    {
        std::size_t const row_bytes = std::size_t{_header.size.x} * _bytes_per_voxel;
        std::size_t const box_row_bytes = std::size_t{box.size.x} * _bytes_per_voxel;
        std::size_t const skip = static_cast<std::size_t>(box.offset.x) * _bytes_per_voxel;
        std::uint32_t const rows_per_strip =
            std::clamp(_tiff.GetTag<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, _header.size.y), 1U, _header.size.y);
        auto const first = static_cast<std::uint32_t>(box.offset.y);
        std::uint32_t const end = first + box.size.y;
        for (std::uint32_t row = first; row < end;) {
            std::uint32_t const strip = row / rows_per_strip;
            std::uint32_t const strip_begin = strip * rows_per_strip;
            std::uint32_t const strip_rows = std::min(rows_per_strip, _header.size.y - strip_begin);
            _strip.resize(strip_rows * row_bytes);
            auto const wanted = static_cast<tmsize_t>(_strip.size());
            if (TIFFReadEncodedStrip(_tiff.Get(), strip, _strip.data(), wanted) != wanted) {
                Fail();
            }
            for (; row < end && row < strip_begin + strip_rows; ++row, target += box_row_bytes) {
                std::memcpy(target, _strip.data() + (row - strip_begin) * row_bytes + skip, box_row_bytes);
            }
        }
    }

    InputFile _file;
    TiffHandle _tiff;
    std::vector<unsigned char> _strip;
};

} // namespace

std::unique_ptr<GreyReader> OpenTiff(char const * path)
{
    return std::make_unique<TiffReader>(path);
}

} // namespace vexa
