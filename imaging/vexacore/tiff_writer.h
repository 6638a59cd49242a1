#ifndef VEXACORE_TIFF_WRITER_H
#define VEXACORE_TIFF_WRITER_H

// Writing TIFF page by page. Internal to this tree's libraries.

#include "vexacore/export.h"
#include "vexacore/file_io.h"
#include "vexacore/grey_file.h"

#include <memory>
#include <string>

namespace vexa {

class TiffHandle;

// A TIFF file of grey pages that comes into being under its name only when it is committed, and leaves
// nothing behind when it isn't. docs/formats/tif.md tells which tags the pages get. Every failure is an
// IOException.
class VEXA_API TiffWriter {
  public:
    // large: the 64-bit form of the format (BigTIFF), for files of 4 GiB and more.
    TiffWriter(char const * path, bool large, bool compress);
    ~TiffWriter();
    TiffWriter(TiffWriter const &) = delete;
    TiffWriter & operator=(TiffWriter const &) = delete;

    // Appends one page for each slice. description: of the first of these pages; empty for none.
    void Append(GreyView const & slices, std::string const & description);

    // Nothing may follow.
    void Commit();

  private:
    void SetTags(GreyView const & slices) const;
    void WritePage(GreyView const & slices, unsigned int slice);
    void Check(bool good) const;

    OutputFile _file;
    std::unique_ptr<TiffHandle> _tiff;
    bool _compress;
};

} // namespace vexa

#endif
