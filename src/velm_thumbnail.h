#ifndef VELM_THUMBNAIL_H
#define VELM_THUMBNAIL_H

#include "velm_export.h"
#include "vexacore/image3d.h"

#include <wx/string.h>

namespace velm {

class VELM_Depository;

// The small pictures of one record, FOV or VOI: one 8-bit TIFF per channel and size, made on demand from the
// channel's AF image and kept in the record's directory. Where that can't be written they go to the system's
// temporary directory, which this object remembers.
class VELM_API VELM_Thumbnail {
  public:
    // The depository is not owned. pos_id: the record's id.
    VELM_Thumbnail(VELM_Depository * depository, long pos_id);
    virtual ~VELM_Thumbnail();

    // Makes sure that there is a directory to write to; false when there is none.
    bool CheckThumbnailDir();

    // The file's path, whether or not it exists. size: length of the longer side in pixels.
    wxString GetThumbnailFile(long channel_id, int size) const;

    // Removes the channel's thumbnails of all sizes.
    void Delete(long channel_id);

    // Writes the thumbnail of the image: shrunk to fit a square of the size, its range stretched to 8 bits.
    bool Create(long channel_id, int size, vexa::Image3d<unsigned short> const & image) const;

    // The same, making the directory first.
    bool CreateThumbnail(long channel_id, int size, vexa::Image3d<unsigned short> const & image);

    // The path of the file, made from the record's image when it doesn't exist; empty on failure.
    wxString GetURL(long channel_id, int size);

  protected:
    virtual wxString GetThumbnailDir() const = 0;
    virtual bool LoadSourceImage(long channel_id, vexa::Image3d<unsigned short> & image) = 0;

    VELM_Depository * _depository; // not owned
    long _pos_id = -1;
    wxString _temp_dir; // in use when not empty
};

class VELM_API VELM_FOV_Thumbnail : public VELM_Thumbnail {
  public:
    using VELM_Thumbnail::VELM_Thumbnail;

  protected:
    wxString GetThumbnailDir() const override;
    bool LoadSourceImage(long channel_id, vexa::Image3d<unsigned short> & image) override;
};

class VELM_API VELM_VOI_Thumbnail : public VELM_Thumbnail {
  public:
    using VELM_Thumbnail::VELM_Thumbnail;

  protected:
    wxString GetThumbnailDir() const override;
    bool LoadSourceImage(long channel_id, vexa::Image3d<unsigned short> & image) override;
};

} // namespace velm

#endif
