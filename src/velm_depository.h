#ifndef VELM_DEPOSITORY_H
#define VELM_DEPOSITORY_H

#include "nubo/histogram.h"
#include "velm_calib_img.h"
#include "velm_channel.h"
#include "velm_coords.h"
#include "velm_db.h"
#include "velm_deconv_job_table.h"
#include "velm_error.h"
#include "velm_export.h"
#include "velm_fov.h"
#include "velm_group.h"
#include "velm_object_param.h"
#include "vexaalgo/labeled_image.h"
#include "vexacore/image3d.h"

#include <wx/dynarray.h>
#include <wx/string.h>

class wxInputStream;
class wxOutputStream;

namespace velm {

// A directory on disk that holds everything an acquisition and its analysis produce, with the lists that
// belong to all of it in memory.
//
// Two kinds of image set live in it: a FOV (field of view) is raw data of one stage position, a VOI (volume
// of interest) is a region derived from one. Of both only the ids are held; records are read and written on
// demand, into objects that the caller owns. FOV ids run from 1 to 9999, VOI ids from 10000 to 999999.
// Channel ids in file names are those of the record's own channel list.
//
// Unless told otherwise, an operation that fails logs one error line where it fails and returns false;
// unknown ids, damaged files and a full disk throw nothing. Not locked. IsValid, CreateEmpty and Open change
// the process's working directory while they run.
class VELM_API VELM_Depository : public VELM_Class {
  public:
    // Opens nothing. The database is not owned, has to outlive the depository and is needed by every load and
    // save of channels.
    VELM_Depository(wxString const & dir, VELM_Database * db);
    VELM_Depository(VELM_Depository const &) = default;
    VELM_Depository & operator=(VELM_Depository const &) = default;
    ~VELM_Depository() override;

    // Whether the directory holds anything at all.
    bool Exist() const;

    // Whether the directory is a depository. Makes a missing directory of calibration images, which old
    // depositories lack.
    bool IsValid() const;

    // Loads the lists and ids; a missing or empty directory becomes an empty depository first. A directory of
    // anything else opens too, with empty lists: ask IsValid to know.
    bool Open();

    // Forgets the lists. Saves nothing.
    void Close();

    // Reads all lists and ids again.
    void Reload();
    void ReloadChannels();
    void ReloadGroups();
    void ReloadObjectParams();
    void ReloadDeconvJobTable();

    // Saves the five lists below; all are tried, whatever the result of the others.
    bool Save();

    // calib_ids: ids of the channels whose calibration images are saved too; may be null.
    bool SaveChannels(wxArrayInt const * calib_ids);
    bool SaveCoords();
    bool SaveGroups();
    bool SaveObjectParams();
    bool SaveDeconvJobTable();

    bool IsOpen() const { return _is_open; }

    // What Open found; true before it. No operation refuses to write because of it.
    bool IsReadOnly() const { return _read_only; }

    wxString GetDir() const { return _dir; }
    VELM_Database const * GetDatabase() const { return _db; }

    // Smallest and largest size of a thumbnail, in pixels: 16 and 128.
    void GetThumbnailLimits(unsigned int & min, unsigned int & max) const;

    // The lists. Change them in place, then call the matching save.
    VELM_ChannelList & GetChannelListRef() { return _channels; }
    VELM_ChannelList const & GetChannelListRef() const { return _channels; }
    VELM_CoordList & GetCoordListRef() { return _coords; }
    VELM_CoordList const & GetCoordListRef() const { return _coords; }
    VELM_GroupList & GetGroupListRef() { return _groups; }
    VELM_GroupList const & GetGroupListRef() const { return _groups; }
    VELM_ObjectParamDescList & GetObjectParamDescListRef() { return _param_descs; }
    VELM_ObjectParamDescList const & GetObjectParamDescListRef() const { return _param_descs; }
    VELM_DeconvJobTable & GetDeconvJobTableRef() { return _deconv_jobs; }
    VELM_DeconvJobTable const & GetDeconvJobTableRef() const { return _deconv_jobs; }

    // Ids of the records, ascending.
    unsigned int FOV_GetCount() const { return static_cast<unsigned int>(_fov_ids.size()); }
    unsigned int VOI_GetCount() const { return static_cast<unsigned int>(_voi_ids.size()); }
    wxArrayLong const & FOV_GetIdListRef() const { return _fov_ids; }
    wxArrayLong const & VOI_GetIdListRef() const { return _voi_ids; }

    // The highest id, 0 when there is none.
    long FOV_GetLastID() const { return LastOf(_fov_ids); }
    long VOI_GetLastId() const { return LastOf(_voi_ids); }

    long FOV_GetMaxId() const { return MaxIdOfWidth(_fov_id_width); }
    long VOI_GetMaxId() const { return MaxIdOfWidth(_voi_id_width); }

    // The id that the next new VOI gets; -1 when none is left.
    long VOI_GetNextId() const;

    // Ids as text: zero-padded to a fixed width.
    wxString FOV_IdFormatString() const { return IdFormat(_fov_id_width); }
    wxString VOI_IdFormatString() const { return IdFormat(_voi_id_width); }
    wxString DeconvJob_IdFormatString() const { return IdFormat(_deconv_id_width); }
    wxString FOV_IdToString(long id) const { return wxString::Format(FOV_IdFormatString(), id); }
    wxString VOI_IdToString(long id) const { return wxString::Format(VOI_IdFormatString(), id); }
    wxString DeconvJob_IdToString(long id) const { return wxString::Format(DeconvJob_IdFormatString(), id); }

    // Paths. A record's directory is made when it is missing (a VOI's only if create is true), and ends in a
    // separator.
    wxString FOV_GetDir() const;
    wxString VOI_GetDir() const;
    wxString FOV_GetDir(long id) const;
    wxString VOI_GetDir(long id, bool create) const;
    wxString GetChannelFileName() const;
    wxString GetDialogIniFile() const;
    wxString GetDepCommentFile() const;
    wxString GetLogFileName() const;
    wxString FOV_GetCropboxFile() const;
    wxString VOI_GetCropboxFile() const;

    // Run logs: the summary page for id 0, the unnumbered log for a negative id, a numbered log otherwise.
    wxString GetScanningLogFileName(long id) const;
    wxString GetProcessingLogFileName(long id) const;

    // The depository's free text, UTF-8 on disk. Reading drops carriage returns; without a file it is empty.
    bool ReadComment(wxString & text) const;
    bool WriteComment(wxString const & text) const;

    // Reads a record into the caller's object, which on failure holds whatever could be read.
    bool FOV_Load(long id, VELM_FOV & fov);

    // Writes the record; one with id -1 is new, gets the next id and is known from then on. False unless the
    // record is on disk.
    bool FOV_Save(VELM_FOV & fov);

    // Takes the calibration from every channel of the file, not from those in memory.
    void RemoveCalibFromChannels();

    // The 16-bit stack of a channel, with its histogram beside it. box: the part to read, null for all. Its
    // file tells other programs the channel's name and, if it is given, when the stack was acquired;
    // otherwise a stack that replaces another keeps that one's time.
    bool FOV_LoadImage(long id, long channel_id, vexa::Image3d<unsigned short> & image, vexa::Box * box);
    bool VOI_LoadImage(long id, long channel_id, vexa::Image3d<unsigned short> & image, vexa::Box * box);
    bool FOV_SaveImage(long id, long channel_id, vexa::Image3d<unsigned short> & image);
    bool VOI_SaveImage(long id, long channel_id, vexa::Image3d<unsigned short> & image);
    bool FOV_SaveImage(long id, long channel_id, vexa::Image3d<unsigned short> & image,
                       wxDateTime const & acquired);
    bool VOI_SaveImage(long id, long channel_id, vexa::Image3d<unsigned short> & image,
                       wxDateTime const & acquired);

    // The channel's AF image: its projection along z, one slice. Loading makes it from the stack, or from the
    // older form of its file, when it is missing; saving makes the thumbnail too. Its file tells what the
    // stack's tells.
    bool FOV_LoadAFImage(long id, long channel_id, vexa::Image3d<unsigned short> & image, vexa::Box * box);
    bool VOI_LoadAFImage(long id, long channel_id, vexa::Image3d<unsigned short> & image, vexa::Box * box);
    bool FOV_SaveAFImage(long id, long channel_id, vexa::Image3d<unsigned short> & image);
    bool VOI_SaveAFImage(long id, long channel_id, vexa::Image3d<unsigned short> & image);

    // The histogram of a channel's stack, one bin per grey value; made and kept when it is missing.
    bool FOV_LoadHistogram(long id, long channel_id, nubo::Histogram<unsigned short> & histogram);
    bool VOI_LoadHistogram(long id, long channel_id, nubo::Histogram<unsigned short> & histogram);

    // Size in voxels, offset in microns and resolution in voxels per micron of a channel's stack, from its
    // header.
    bool FOV_GetDimensions(long id, long channel_id, vexa::Vector3d<unsigned int> & size,
                           vexa::Vector3d<float> & offset, vexa::Vector3d<float> & resolution);
    bool VOI_GetDimensions(long id, long channel_id, vexa::Vector3d<unsigned int> & size,
                           vexa::Vector3d<float> & offset, vexa::Vector3d<float> & resolution);

    // A stream on the file of a channel's stack, owned by the caller; null on failure.
    wxInputStream * FOV_GetImageInputStream(long id, long channel_id) const;
    wxOutputStream * FOV_GetImageOutputStream(long id, long channel_id);

    // Gives all stacks and AF images of the record this resolution, in voxels per micron. Stops at the first
    // failure; the channels done so far stay changed.
    bool FOV_ChangeResolution(VELM_FOV & fov, vexa::Vector3d<float> & resolution);

    // The file of a channel's thumbnail of 128 pixels, made when it is missing; empty on failure.
    wxString FOV_GetThumbnailURL(long fov_id, long channel_id);
    wxString VOI_GetThumbnailURL(long voi_id, long channel_id);

    // Calibration images. CI_Save gives a new image its id and writes both its files; CI_FindMaxId is 0 when
    // there is none.
    bool CI_Save(VELM_Calibration_Image & image) const;
    bool CI_SaveImage(long id, vexa::Image3d<unsigned short> const & image) const;
    bool CI_LoadImage(long id, vexa::Image3d<unsigned short> & image, vexa::Box * box) const;
    bool CI_SaveDesc(VELM_Calibration_Image const & image) const;
    bool CI_LoadDesc(long id, VELM_Calibration_Image & image) const;
    long CI_FindMaxId() const;

  protected:
    // Makes the tree in a directory that is missing or empty. On failure the working directory may stay
    // inside.
    bool CreateEmpty();

  private:
    // What tells FOVs and VOIs apart; the operations of both are one piece of code over this.
    struct Kind;
    static Kind const FOV;
    static Kind const VOI;

    static long LastOf(wxArrayLong const & ids) { return ids.empty() ? 0 : ids.back(); }
    static long MaxIdOfWidth(int width);
    static wxString IdFormat(int width);

    // Path of something in the depository, in one of its directories, or in a record's directory.
    wxString PathOf(wxString const & name) const;
    wxString PathOf(wxString const & directory, wxString const & name) const;
    wxString RecordDir(Kind const & kind, long id, bool create) const;
    wxString RunLogName(wxString const & directory, wxString const & page, wxString const & prefix,
                        int digits, long id) const;

    wxString GetCoordFileName() const;
    wxString GetGroupFileName() const;
    wxString GetObjectParamFileName() const;
    wxString GetDeconvJobTableFileName() const;
    wxString CI_GetDir() const;
    wxString CI_GetImageFileName(long id) const;
    wxString CI_GetDescFileName(long id) const;
    wxString FOV_GetDescFileName(long id) const;
    wxString FOV_GetImageFileName(long id, long channel_id) const;
    wxString FOV_GetAFImageFileName(long id, long channel_id) const;
    wxString FOV_GetOldAFImageFileName(long id, long channel_id) const;
    wxString FOV_GetHistFileName(long id, long channel_id) const;
    void VOI_GetDescFileName(long id, wxString & record, wxString & objects, wxString & segmentations) const;
    wxString VOI_GetImageFileName(long id, long channel_id) const;
    wxString VOI_GetAFImageFileName(long id, long channel_id) const;
    wxString VOI_GetOldAFImageFileName(long id, long channel_id) const;
    wxString VOI_GetHistFileName(long id, long channel_id) const;
    void VOI_GetSegResFileName(long id, long seg_res_id, wxString & result, wxString & projection,
                               wxString & border) const;

    bool TestReadOnly() const;
    void ReloadIds(Kind const & kind, wxArrayLong & ids, int width) const;

    wxString ImageFileName(Kind const & kind, long id, long channel_id) const;
    wxString AFImageFileName(Kind const & kind, long id, long channel_id) const;
    wxString OldAFImageFileName(Kind const & kind, long id, long channel_id) const;
    wxString HistFileName(Kind const & kind, long id, long channel_id) const;

    // Every read of an image goes through one of these, so that all fail in the same way. An image without a
    // resolution counts as a failure.
    bool LoadImage(wxString const & name, vexa::Image3d<unsigned short> & image, vexa::Box * box) const;
    bool LoadImage(wxString const & name, vexa::LabeledImage3d<unsigned short, bool> & image,
                   vexa::Box * box) const;

    // Writes the image, compressed if the preferences say so.
    static bool SaveImage(wxString const & name, vexa::Image3d<unsigned short> const & image,
                          vexa::ImageNotes const & notes);

    // The channel's name as it is now, and the rest as the file of its stack tells, if there is one.
    vexa::ImageNotes NotesOf(Kind const & kind, long id, long channel_id) const;

    bool SaveStack(Kind const & kind, long id, long channel_id, vexa::Image3d<unsigned short> const & image,
                   wxDateTime const & acquired);
    bool LoadAF(Kind const & kind, long id, long channel_id, vexa::Image3d<unsigned short> & image,
                vexa::Box * box);
    bool LoadOldAF(Kind const & kind, long id, long channel_id, vexa::Image3d<unsigned short> & image);
    bool MakeAF(Kind const & kind, long id, long channel_id, vexa::Image3d<unsigned short> & image);
    void KeepMadeAF(Kind const & kind, long id, long channel_id, vexa::Image3d<unsigned short> const & image,
                    bool from_old_file) const;
    bool SaveAF(Kind const & kind, long id, long channel_id, vexa::Image3d<unsigned short> const & image);
    bool LoadHist(Kind const & kind, long id, long channel_id, nubo::Histogram<unsigned short> & histogram);
    bool ReadDimensions(Kind const & kind, long id, long channel_id, vexa::Vector3d<unsigned int> & size,
                        vexa::Vector3d<float> & offset, vexa::Vector3d<float> & resolution) const;
    bool ChangeChannelResolution(Kind const & kind, long id, long channel_id,
                                 vexa::Vector3d<float> const & resolution);
    bool ChangeResolution(Kind const & kind, long id, VELM_ChannelList const & channels,
                          vexa::Vector3d<float> const & resolution);

    bool _is_open = false;
    bool _read_only = true;
    VELM_Database * _db; // not owned
    int _fov_id_width = 4;
    int _voi_id_width = 6;
    int _deconv_id_width = 6;
    wxString _dir;
    VELM_ChannelList _channels;
    VELM_CoordList _coords;
    VELM_GroupList _groups;
    VELM_ObjectParamDescList _param_descs;
    wxArrayLong _fov_ids; // ascending
    wxArrayLong _voi_ids; // ascending
    VELM_DeconvJobTable _deconv_jobs;
};

} // namespace velm

#endif
