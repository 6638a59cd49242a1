// TIFF through libtiff: one page per slice. docs/formats/tif.md tells which tags.

#include "vexacore/tiff_writer.h"

#include "vexacore/tiff_handle.h"

#include <algorithm>
#include <unistd.h>
#include <vector>

namespace vexa {

namespace {

// The image's geometry in the form that microscopy programs agree on. Only ASCII, as the tag demands.
std::string MakeDescription(GreyView const & image)
{
    auto const & [size, offset, resolution] = image.header;
    std::string const count = std::to_string(size.z);
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">\n"
                       "<Image ID=\"Image:0\">\n<Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"";
    text += image.bytes_per_voxel == 2 ? "uint16" : "uint8";
    text += "\" SizeX=\"" + std::to_string(size.x) + "\" SizeY=\"" + std::to_string(size.y) + "\" SizeZ=\"" +
            count + "\" SizeC=\"1\" SizeT=\"1\"";
    static constexpr char axes[] = {'X', 'Y', 'Z'};
    std::string const micron = "Unit=\"&#181;m\"";
    for (unsigned int i = 0; i < 3 && HasScale(resolution); ++i) {
        std::string const name = std::string(" PhysicalSize") + axes[i];
        text += name + "=\"" + NumberText(1.0 / double{resolution.GetRes()[i]}) + "\"" + name + micron;
    }
    text += ">\n<Channel ID=\"Channel:0:0\" SamplesPerPixel=\"1\"/>\n<TiffData IFD=\"0\" PlaneCount=\"" +
            count + "\"/>\n<Plane TheZ=\"0\" TheC=\"0\" TheT=\"0\"";
    for (unsigned int i = 0; i < 3; ++i) {
        std::string const name = std::string(" Position") + axes[i];
        text += name + "=\"" + NumberText(double{offset[i]}) + "\"" + name + micron;
    }
    return text + "/>\n</Pixels>\n</Image>\n</OME>\n";
}

} // namespace

TiffWriter::TiffWriter(char const * path, bool large, bool compress)
    : _file(path),
      _tiff(std::make_unique<TiffHandle>(::dup(_file.GetDescriptor()), path, large ? "w8" : "w")),
      _compress(compress)
{
    Check(_tiff->Get() != nullptr);
}

TiffWriter::~TiffWriter() = default;

void TiffWriter::Check(bool good) const
{
    if (!good || !_tiff->GetError().empty()) {
        _file.Reject(_tiff->GetError().empty() ? "the pages cannot be written" : _tiff->GetError());
    }
}

void TiffWriter::SetTags(GreyView const & slices) const
{
    TIFF * const tiff = _tiff->Get();
    auto const & [size, offset, resolution] = slices.header;
    // Strips of about 256 KiB: small enough for a box to leave most of them alone, large enough to pack well.
    std::size_t const row_bytes = std::size_t{size.x} * slices.bytes_per_voxel;
    auto const rows =
        static_cast<std::uint32_t>(std::max<std::size_t>(1, (std::size_t{1} << 18) / row_bytes));
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, size.x);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, size.y);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8 * slices.bytes_per_voxel);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, std::min(rows, size.y));
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, _compress ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_NONE);
    if (_compress) {
        TIFFSetField(tiff, TIFFTAG_ZIPQUALITY, 1);
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    if (HasScale(resolution)) {
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, microns_per_centimetre * resolution.GetRes().x);
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, microns_per_centimetre * resolution.GetRes().y);
        if (offset.x >= 0.0F && offset.y >= 0.0F) { // the tags have no sign
            TIFFSetField(tiff, TIFFTAG_XPOSITION, offset.x / microns_per_centimetre);
            TIFFSetField(tiff, TIFFTAG_YPOSITION, offset.y / microns_per_centimetre);
        }
    }
}

void TiffWriter::WritePage(GreyView const & slices, unsigned int slice)
{
    auto const & size = slices.header.size;
    std::size_t const row_bytes = std::size_t{size.x} * slices.bytes_per_voxel;
    unsigned char const * const voxels = slices.voxels + slice * row_bytes * size.y;
    auto const rows_per_strip = _tiff->GetTag<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, size.y);
    std::vector<unsigned char> strip; // libtiff works on the strip in place
    for (std::uint32_t row = 0; row < size.y; row += rows_per_strip) {
        std::size_t const rows = std::min(rows_per_strip, size.y - row);
        strip.assign(voxels + row * row_bytes, voxels + (row + rows) * row_bytes);
        auto const bytes = static_cast<tmsize_t>(strip.size());
        Check(TIFFWriteEncodedStrip(_tiff->Get(), row / rows_per_strip, strip.data(), bytes) == bytes);
    }
    Check(TIFFWriteDirectory(_tiff->Get()) == 1);
}

void TiffWriter::Append(GreyView const & slices, std::string const & description)
{
    for (unsigned int slice = 0; slice < slices.header.size.z; ++slice) {
        SetTags(slices);
        if (slice == 0 && !description.empty()) {
            TIFFSetField(_tiff->Get(), TIFFTAG_IMAGEDESCRIPTION, description.c_str());
        }
        WritePage(slices, slice);
    }
}

void TiffWriter::Commit()
{
    Check(TIFFFlush(_tiff->Get()) == 1); // so that closing has nothing left that could fail
    _tiff.reset();
    _file.Commit();
}

void SaveTiff(char const * path, GreyView const & image, bool compress)
{
    TiffWriter writer(path, image.GetByteCount() > largest_classic_tiff, compress);
    writer.Append(image, MakeDescription(image));
    writer.Commit();
}

} // namespace vexa
