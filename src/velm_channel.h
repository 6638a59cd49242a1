#ifndef VELM_CHANNEL_H
#define VELM_CHANNEL_H

#include "velm_export.h"
#include "velm_list.h"
#include "velm_vis_type.h"

#include <memory>
#include <vector>
#include <wx/dynarray.h>
#include <wx/string.h>

class wxFileConfig;

namespace velm {

class VELM_Calibration_Image;
class VELM_CameraSetting;
class VELM_Database;
class VELM_Depository;

// Whether frames of a channel are corrected with its calibration image.
enum VELM_CalibrationType : int { CALIBRATION_NO = 0, CALIBRATION_YES = 1 };

// "No" or "Yes", "Unknown" for any other value; and back, where any other text gives no calibration and an
// error line.
VELM_API wxString GetCalibrationTypeName(VELM_CalibrationType type);
VELM_API VELM_CalibrationType GetCalibrationTypeId(wxString const & text);

// One way of imaging a sample: marker, filters, camera setting, calibration and display.
//
// Marker and filters are ids of the optical database; an id of 1000 or more means one that isn't on this
// microscope. Camera setting and calibration image are owned; copies of a channel copy both.
class VELM_API VELM_Channel {
  public:
    // The emission filter comes before the excitation filter.
    VELM_Channel(wxString const & name, int marker_id, long em_id, long ex_id);
    VELM_Channel(VELM_Channel const & other);
    VELM_Channel(VELM_Channel && other) noexcept;
    VELM_Channel & operator=(VELM_Channel other) noexcept;
    ~VELM_Channel();

    // -1 until a list gives it one.
    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    wxString GetName() const { return _name; }
    void SetName(wxString const & name) { _name = name; }

    long GetMarkerId() const { return _marker_id; }
    void SetMarkerId(long id) { _marker_id = id; }
    long GetExId() const { return _ex_id; }
    void SetExId(long id) { _ex_id = id; }
    long GetEmId() const { return _em_id; }
    void SetEmId(long id) { _em_id = id; }

    VELM_Channel_VisType GetVisType() const { return _vis_type; }
    void SetVisType(VELM_Channel_VisType type) { _vis_type = type; }

    VELM_CalibrationType GetCalibType() const;
    void SetCalibType(VELM_CalibrationType type);
    bool UseCalibration() const { return _calib_type == CALIBRATION_YES; }

    // Null until one is set. Set... stores a copy of its argument, which must not be null; Take... stores the
    // object itself and owns it, and may be null.
    VELM_CameraSetting const * GetCameraSetting() const { return _cam.get(); }
    VELM_CameraSetting * GetCameraSetting() { return _cam.get(); }
    void SetCameraSetting(VELM_CameraSetting const * setting);
    void TakeCameraSetting(VELM_CameraSetting * setting);

    VELM_Calibration_Image const * GetCalibImage() const { return _calib_img.get(); }
    VELM_Calibration_Image * GetCalibImage() { return _calib_img.get(); }
    void SetCalibImage(VELM_Calibration_Image const * image);
    void TakeCalibImage(VELM_Calibration_Image * image);

    // Makes the calibration image, which must be there, ready for use. False when one has to be captured:
    // then, if create_new is true, an empty one with the channel's camera setting stands in its place, unless
    // the channel has no such setting. Asks the user when the image's file can't be read.
    bool Calibrate(VELM_Depository const * depository, bool create_new);

    // Reads from the current path; what is missing takes its default, and the result is false when name,
    // marker, a filter, the calibration image or the camera setting couldn't be had. all_known: whether
    // marker and filters are in the database. load_calib: whether the calibration image's description is
    // loaded; without it the channel has none.
    bool Load(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository, bool load_calib,
              bool & all_known);

    // Writes to the current path; false at the first refused entry, with the path inside the camera setting's
    // group when it is one of that. save_calib: whether the calibration image is saved too, which may give
    // that image its id.
    bool Save(wxFileConfig & config, VELM_Database const * db, VELM_Depository const * depository,
              bool save_calib) const;

  private:
    friend class VELM_List<VELM_Channel>;

    long _id = -1;
    wxString _name;
    long _marker_id;
    long _em_id;
    long _ex_id;
    std::unique_ptr<VELM_CameraSetting> _cam;
    std::unique_ptr<VELM_Calibration_Image> _calib_img;
    VELM_CalibrationType _calib_type = CALIBRATION_NO;
    VELM_Channel_VisType _vis_type = VIS_GREY | VIS_BACKGROUND_SATURATION | VIS_FOREGROUND_SATURATION;
};

extern template class VELM_API VELM_List<VELM_Channel>;

// The channels of a depository, a field of view or a volume of interest.
//
// Beside the list's own items it can hold unknown channels, whose marker or filters the microscope doesn't
// have: they aren't offered, but are written back. The highest id covers both.
class VELM_API VELM_ChannelList : public VELM_List<VELM_Channel> {
  public:
    void Clear() override;

    // Replaces the list by the groups at the current path. A channel that loads badly is kept, with an error
    // line and the result false. take_unknown: whether unknown channels become items like any other.
    bool Load(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository,
              bool take_unknown, bool load_calib);

    // Writes one group per channel, known and unknown, by ascending id. ids: the channels whose calibration
    // images are saved too; may be null. May give those images their ids. Goes on after a channel that isn't
    // saved, with an error line and the result false.
    bool Save(wxFileConfig & config, VELM_Database const * db, VELM_Depository const * depository,
              wxArrayInt const * ids) const;

    // Appends the other list's unknown channels, doubles included.
    void CopyUnknownChannels(VELM_ChannelList const & other);

  private:
    std::vector<VELM_Channel> _unknown; // in the order of loading
};

} // namespace velm

#endif
