#ifndef VELM_FOV_H
#define VELM_FOV_H

#include "velm_channel.h"
#include "velm_coords.h"
#include "velm_correction_settings.h"
#include "velm_crop_params.h"
#include "velm_export.h"
#include "velm_hardware_params.h"
#include "velm_time_interval.h"

#include <cstddef>
#include <vector>

class wxFileConfig;

namespace velm {

class VELM_Database;
class VELM_Depository;

// The record of one field of view: the channels acquired at one stage position, where and with what it was
// taken, its slices, how it was cropped, and each channel's time interval and corrections.
//
// Built empty, filled during an acquisition (StartChannel and EndChannel for each channel), and given to the
// depository, which assigns the id; or filled by the depository. It holds no link to the depository.
class VELM_API VELM_FOV {
  public:
    // -1 until the depository gives it one.
    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    long GetNumSlices() const { return _num_slices; }
    void SetNumSlices(long slices) { _num_slices = slices; }

    // Distance of the slices, in the unit of the program that acquires.
    long GetStepZ() const { return _step_z; }
    void SetStepZ(long step) { _step_z = step; }

    VELM_Coord const & GetCoord() const { return _coord; }
    void SetCoord(VELM_Coord const & coord) { _coord = coord; }

    VELM_CropParams const & GetCropParams() const { return _crop; }
    void SetCropParams(VELM_CropParams const & crop) { _crop = crop; }

    VELM_HardwareParams const & GetHardwareParams() const { return _hw; }
    void SetHardwareParams(VELM_HardwareParams const & hw) { _hw = hw; }

    // The list itself. Adding or removing channels in it leaves the time intervals and corrections as they
    // are.
    VELM_ChannelList & GetChannelListRef() { return _channels; }
    VELM_ChannelList const & GetChannelListRef() const { return _channels; }

    unsigned int GetNumChannels() const { return _channels.GetCount(); }

    // By position, or by id: the latter throws VELM_Error when there is no such channel.
    VELM_Channel & GetChannel(unsigned int i) { return _channels.Get(i); }
    VELM_Channel const & GetChannel(unsigned int i) const { return _channels.Get(i); }
    VELM_Channel & GetChannelById(long id) { return _channels.GetById(id); }
    VELM_Channel const & GetChannelById(long id) const { return _channels.GetById(id); }

    // Adds a channel, with a time interval of now and default corrections. Channels have to come by ascending
    // id, or positions no longer match.
    void AddChannel(VELM_Channel const & channel);

    // The same, and its time starts now.
    void StartChannel(VELM_Channel const & channel);

    // The time of the last channel, if there is one, or of the one at the position, ends now.
    void EndChannel();
    void EndChannel(unsigned int i);

    // Replaces the channels. Time intervals and corrections stay by position; those of further channels are
    // fresh.
    void SetChannelList(VELM_ChannelList const & channels);

    // By position; a position out of range is a fault of the caller, which the setters and corrections
    // assert.
    VELM_TimeInterval const & GetTimeInterval(unsigned int i) const { return _time[i]; }
    void SetTimeInterval(unsigned int i, VELM_TimeInterval const & time);
    VELM_CorrectionSettings const & GetCorrSettings(unsigned int i) const;
    VELM_CorrectionSettings & GetCorrSettings(unsigned int i);
    void SetCorrSettings(unsigned int i, VELM_CorrectionSettings const & settings);

    // By channel id. Throw VELM_Error when there is no such channel.
    VELM_TimeInterval const & GetTimeIntervalById(long id) const;
    VELM_CorrectionSettings const & GetCorrSettingsById(long id) const;
    VELM_CorrectionSettings & GetCorrSettingsById(long id);
    void SetCorrSettingsById(long id, VELM_CorrectionSettings const & settings);

    // Entries at the top level of the file. Both go on after a bad entry, which gives one error line and the
    // result false; loading leaves what is missing as it was, or at its default.
    bool Save(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository) const;
    bool Load(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository);

  private:
    // Position of the channel. Throws VELM_Error when there is none; function: the caller's name, for the
    // message.
    std::size_t ChannelIndex(long id, char const * function) const;

    // Whether every channel has a camera setting.
    bool HasSettings() const;

    VELM_ChannelList _channels;
    VELM_Coord _coord;
    long _num_slices = 0;
    long _step_z = 0;
    long _id = -1;

    // AddChannel, SetChannelList and Load keep these two as long as _channels; they go by position in it.
    std::vector<VELM_TimeInterval> _time;
    VELM_CropParams _crop;
    VELM_HardwareParams _hw;
    std::vector<VELM_CorrectionSettings> _corr;
};

} // namespace velm

#endif
