#ifndef VELM_CALIB_IMG_H
#define VELM_CALIB_IMG_H

#include "velm_export.h"
#include "vexacore/image3d.h"

#include <memory>
#include <wx/string.h>

class wxFileConfig;

namespace velm {

class VELM_CameraSetting;
class VELM_Depository;

// How several captured frames become one calibration image.
enum VELM_CalibMethod : int { CALIB_MEAN = 0, CALIB_MEDIAN = 1 };

// "Mean" or "Median", "Unknown" for any other value; and back, where any other text gives the median and an
// error line.
VELM_API wxString GetCalibMethodName(VELM_CalibMethod method);
VELM_API VELM_CalibMethod GetCalibMethodId(wxString const & text);

// An image's id as text: four digits, "Unknown" below 1; and back, where "Unknown" and what isn't the number
// of an image give 0, the latter with an error line.
VELM_API wxString GetCalibImgName(long id);
VELM_API long GetCalibImgId(wxString const & text);

// A reference frame against which a channel's frames are corrected, with the camera setting under which it
// was taken and its mean grey value.
//
// The image exists in two forms. The full image is the whole frame, binned as the setting says; it is held
// only while it is fresh from capture and not yet read back from a file. The region image is the part of it
// that the setting's region covers; it is what corrections use. Both have depth 1.
class VELM_API VELM_Calibration_Image {
  public:
    using Image = vexa::Image3d<unsigned short>;

    VELM_Calibration_Image();
    VELM_Calibration_Image(VELM_Calibration_Image const & other);
    VELM_Calibration_Image(VELM_Calibration_Image && other) noexcept;
    VELM_Calibration_Image & operator=(VELM_Calibration_Image other) noexcept;
    ~VELM_Calibration_Image();

    // 0 until saved; ids start at 1.
    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    // Mean grey value of the whole frame; 0 means not yet computed.
    double GetMean() const { return _mean; }
    void SetMean(double mean) { _mean = mean; }

    // Null until one is set.
    VELM_CameraSetting const * GetCameraSetting() const { return _cam.get(); }
    VELM_CameraSetting * GetCameraSetting() { return _cam.get(); }

    // Stores a copy; the argument must not be null.
    void SetCameraSetting(VELM_CameraSetting const * setting);

    // Stores the object itself and owns it; may be null.
    void TakeCameraSetting(VELM_CameraSetting * setting);

    // Takes the whole frame over and cuts the region image from it; when the region doesn't fit the frame,
    // that gives an error line and no region image. The camera setting must be there. The mean is not
    // touched.
    void SetImage(Image * img);

    // The whole frame, null unless it is held.
    Image const * GetFullImage() const { return _full.get(); }

    // A copy of the region image, owned by the caller; null when there is none.
    Image const * GetImageRegion() const;

    // Copies a part of the region image into out, loading it first where needed. x and y are the part's first
    // sensor pixel (unbinned), width and height its size in image pixels (binned). False, with out untouched,
    // when the region can't be loaded or begins to the right of x or below y.
    bool GetImageRegion(VELM_Depository * depository, int x, int y, int width, int height, Image * out);

    // The description: entries at the current path, without the image. Saving stops at a refused entry;
    // loading goes on after a missing one, with an error line and the result false.
    bool SaveDesc(wxFileConfig & config) const;
    bool LoadDesc(wxFileConfig & config);

    // Whether the image can correct frames of the setting, by that setting's own rule; false when the image
    // has no setting. The argument must not be null.
    bool IsValid(VELM_CameraSetting const * cam_set) const;

    // Whether the region, in sensor pixels, is the one that the image's setting has.
    bool HasValidRegion(VELM_CameraSetting const * setting) const;
    bool HasValidRegion(long x1, long y1, long x2, long y2) const;

    // Whether all of it is on disk.
    bool IsSaved() const { return _id >= 1 && _full == nullptr; }

    // Whether the region image is there.
    bool IsImageLoaded() const { return _region != nullptr; }

    // Sum of all voxels divided by their number; 0 for an empty image.
    static double ComputeMean(Image const & image);

    // Replaces *voi, which it deletes, by a new box of image pixels: the region of the camera setting, or
    // null for the whole frame.
    void GetVOI(vexa::Box ** voi) const;

    // Makes the region image: from the full image if that is held, else from the file. Computes the mean when
    // it is missing, and saves it if the image has an id. False, without a region image, on failure.
    bool LoadImageRegion(VELM_Depository const * depository);

  private:
    // The box of GetVOI; null for the whole frame.
    std::unique_ptr<vexa::Box> MakeVOI() const;

    // Makes the region image from the whole frame; none, with an error line, when the box reaches outside it.
    void CutRegion(Image const & full, vexa::Box const * voi);

    long _id = 0;
    std::unique_ptr<VELM_CameraSetting> _cam;
    double _mean = 0.0;
    std::unique_ptr<Image> _full;
    std::unique_ptr<Image> _region;
};

} // namespace velm

#endif
