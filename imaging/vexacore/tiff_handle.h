#ifndef VEXACORE_TIFF_HANDLE_H
#define VEXACORE_TIFF_HANDLE_H

#include <cstdint>
#include <string>
#include <tiffio.h>

namespace vexa {

// Files of more bytes than this need the 64-bit form of the format; leaves room for the tags of 65,535 pages.
constexpr std::uint64_t largest_classic_tiff = std::uint64_t{0xf0000000};

constexpr double microns_per_centimetre = 1e4;

// An open TIFF with handlers of its own, so that nothing global is touched and nothing is printed.
class TiffHandle {
  public:
    // Takes the descriptor over, closing it also on failure.
    TiffHandle(int descriptor, std::string const & path, char const * mode);
    ~TiffHandle();
    TiffHandle(TiffHandle const &) = delete;
    TiffHandle & operator=(TiffHandle const &) = delete;

    // Null when the file couldn't be opened.
    TIFF * Get() const { return _tiff; }

    // libtiff's first complaint about the file; the rest tends to follow from it.
    std::string const & GetError() const { return _error; }

    template <typename Value>
    Value GetTag(std::uint32_t tag, Value otherwise) const
    {
        Value value{};
        return TIFFGetFieldDefaulted(_tiff, tag, &value) == 1 ? value : otherwise;
    }

  private:
    std::string _error; // before _tiff: the handlers write to it until the file is closed
    TIFF * _tiff;
};

} // namespace vexa

#endif
