#ifndef VELM_MIXER_H
#define VELM_MIXER_H

#include "velm_export.h"
#include "velm_fov.h"
#include "vexacore/image3d.h"

#include <memory>
#include <vector>
#include <wx/dynarray.h>
#include <wx/gdicmn.h>
#include <wx/string.h>

namespace velm {

class VELM_Depository;

// The grid that the chosen channels are mixed on. Chip coordinates are full-resolution pixels of the camera
// from the chip's corner; along z they are slices.
struct VELM_MixerOutputParams {
    vexa::Vector3d<int> first;        // chip coordinate
    vexa::Vector3d<int> last;         // chip coordinate, included
    vexa::Vector3d<int> step;         // chip pixels per output pixel
    vexa::Vector3d<int> size;         // in output pixels
    vexa::Vector3d<float> offset;     // of the first voxel, in microns
    vexa::Vector3d<float> resolution; // voxels per micron
};

// How one chosen channel lies on the chip and below the output grid.
struct VELM_MixerChannelParams {
    vexa::Vector3d<int> first;    // chip coordinate of the image's first voxel
    vexa::Vector3d<int> last;     // chip coordinate that its last voxel covers, included
    vexa::Vector3d<int> sampling; // chip pixels per voxel: serial binning, parallel binning, 1
    vexa::Box voi;                // the part of the image that is read

    // first and last after the shifts of AdjustParams.
    vexa::Vector3d<int> adjusted_first;
    vexa::Vector3d<int> adjusted_last;

    // From the chip coordinate of the part's first voxel to the output's first, in chip pixels.
    vexa::Vector3d<int> shift;
};

// Brings a set of channels of one source, which may differ in binning and camera region, onto one common
// grid: the part of the chip that all of them show, at the coarsest step at which the pixels of each fall on
// the grid. Nothing is interpolated; the pixels of a coarser channel repeat.
//
// Call SetSource, then SetChannels, then GetChannel and GetRGB as often as wanted; every one of these reads
// its files anew. Copies of a mixer share one array of channel parameters until either chooses channels
// again. Only the thread that uses a mixer may use its copies.
class VELM_API VELM_Mixer {
  public:
    using Image = vexa::Image3d<unsigned short>;
    using ColorImage = vexa::Image3d<vexa::RGB_generic<unsigned short>>;

    // The depository isn't owned; null for sources that need none.
    explicit VELM_Mixer(VELM_Depository * depository);
    VELM_Mixer(VELM_Mixer const &) = default;
    VELM_Mixer & operator=(VELM_Mixer const &) = default;
    virtual ~VELM_Mixer();

    // Makes the record of that id the source. False, with an error line and the source as it was, when it
    // can't be loaded.
    virtual bool SetSource(long id) = 0;

    // Chooses channels of the source; the scale is that of the first. use_af: mix the channels' AF images,
    // which have one slice. False, with an error line unless ReadImageDimension has its own, when a channel
    // is unknown, has no usable camera setting or no image; those before it stay chosen.
    virtual bool SetChannels(wxArrayLong const & ids, bool use_af);

    virtual VELM_ChannelList & GetChannelList() = 0;

    // Called in each computation once the common area is known, which it may make smaller. False when
    // nothing is left of it.
    virtual bool RecomputeOutputParams(VELM_MixerOutputParams & out);

    // Called at the start of each computation; may move the channels' adjusted positions.
    virtual void AdjustParams();

    // Called with each image as it was loaded.
    virtual void PreprocessImage(long id, Image & image);

    // Size in voxels, resolution in voxels per micron and offset in microns of a channel's image; of its AF
    // image when those are used.
    virtual bool ReadImageDimension(long id, vexa::Vector3d<unsigned int> & size, vexa::Vector3d<float> & res,
                                    vexa::Vector3d<float> & offset) = 0;

    // Reads the part of a channel's image.
    virtual bool LoadImage(long id, vexa::Box * voi, Image & image) = 0;

    // One channel on the common grid. rect: in output pixels, the part of the common area that is wanted;
    // null for all. slice: -1 for all slices, else one, counted from the first common one.
    //
    // True with one black voxel when nothing is common or wanted. False, with an error line and out
    // untouched, when the channel isn't chosen or its image can't be loaded. Throws what the image library
    // does.
    bool GetChannel(long id, wxRect const * rect, Image & out, int slice);

    // Three chosen channels as one picture; -1 for a colour that stays black. As GetChannel, but throws
    // nothing and leaves one black voxel in out on failure.
    bool GetRGB(long red_id, long green_id, long blue_id, wxRect const * rect, ColorImage & out, int slice);

    // The grid that GetChannel and GetRGB would give. False when nothing is common or wanted.
    bool CalculateMixingParams(int slice, wxRect const * rect, VELM_MixerOutputParams & out);

    // Highest shown and highest delivered bit of a channel's camera setting; 0 for an id not above 0 and for
    // a channel that isn't there.
    int GetLastBit(long id);
    int GetMaxBit(long id);

  protected:
    // The steps of CalculateMixingParams between the shifts and the final sizes.
    bool CalculateOutputParams(int slice, wxRect const * rect, VELM_MixerOutputParams & out);
    bool CalculateVOIs(VELM_MixerOutputParams & out);

    // Greatest common divisor; the array, which must not be empty, is overwritten.
    static int GCD(int a, int b);
    static int GCD(wxArrayInt & numbers);

    // The chosen channel's parameters; null for another.
    VELM_MixerChannelParams * FindChannel(long id);

    // The camera setting of a channel of the source; null when it isn't there or has none.
    VELM_CameraSetting const * FindSetting(long id);

    // The number, or the nearest one that fits. Shifts and regions come from files and may be anything.
    static int Clamped(long long value);

    VELM_Depository * _depository; // not owned
    wxArrayLong _ids;              // chosen, in the caller's order

    // Parallel to _ids; null before SetChannels. Shared with copies of the mixer.
    std::shared_ptr<VELM_MixerChannelParams[]> _channels;

    VELM_MixerOutputParams _params; // of the last computation
    vexa::Vector3d<float> _scale;   // chip pixels per micron
    bool _use_af = false;

  private:
    // Reads the channel's geometry into its record.
    bool InitChannel(VELM_CameraSetting const & setting, long id, VELM_MixerChannelParams & channel);

    // Loads, preprocesses and checks the image of a chosen channel; function: the caller's name, for the
    // message.
    bool LoadForMixing(long id, VELM_MixerChannelParams & channel, Image & image);

    bool MixRGB(long const (&ids)[3], ColorImage & out);
};

// Mixes the channels of a field of view.
class VELM_API VELM_FOV_Mixer : public VELM_Mixer {
  public:
    explicit VELM_FOV_Mixer(VELM_Depository * depository);
    VELM_FOV_Mixer(VELM_FOV_Mixer const &) = default;
    VELM_FOV_Mixer & operator=(VELM_FOV_Mixer const &) = default;
    ~VELM_FOV_Mixer() override;

    bool SetSource(long id) override;
    VELM_ChannelList & GetChannelList() override { return _fov.GetChannelListRef(); }
    bool ReadImageDimension(long id, vexa::Vector3d<unsigned int> & size, vexa::Vector3d<float> & res,
                            vexa::Vector3d<float> & offset) override;
    bool LoadImage(long id, vexa::Box * voi, Image & image) override;

    VELM_FOV & GetFOV() { return _fov; }

  private:
    VELM_FOV _fov;
};

// Mixes thumbnails, which are files of 8-bit voxels, one for each channel of the list. Owns neither list.
class VELM_API VELM_ThumbnailMixer : public VELM_Mixer {
  public:
    // paths: parallel to the channels.
    VELM_ThumbnailMixer(VELM_ChannelList & channels, std::vector<wxString> const & paths);
    VELM_ThumbnailMixer(VELM_ThumbnailMixer const &) = default;
    ~VELM_ThumbnailMixer() override;

    // True; the lists are the source.
    bool SetSource(long id) override;
    VELM_ChannelList & GetChannelList() override { return _list; }
    bool ReadImageDimension(long id, vexa::Vector3d<unsigned int> & size, vexa::Vector3d<float> & res,
                            vexa::Vector3d<float> & offset) override;

    // Reads the whole file, whatever the part.
    bool LoadImage(long id, vexa::Box * voi, Image & image) override;

  private:
    // Empty for a channel without one, which no file is called.
    wxString PathOf(long id) const;

    VELM_ChannelList & _list;
    std::vector<wxString> const & _paths;
};

} // namespace velm

#endif
