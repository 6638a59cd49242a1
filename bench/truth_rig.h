#ifndef TRUTH_RIG_H
#define TRUTH_RIG_H

// What every part of the truth shares: a simulated microscope and a depository for what it takes.

#include "sim/sim_microscope.h"
#include "sim_config.h"
#include "velm_bc_mixer.h"
#include "velm_depository.h"

#include <map>
#include <string>
#include <vector>

namespace velm::bench {

using Image = vexa::Image3d<unsigned short>;

// Values of a picture's pixels, row by row.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<double> values;
};

// One at a time. What goes wrong ends the run with an exception: a score of what didn't happen is none.
class Rig : public sim::test::SimMicroscope {
  public:
    // lines: more entries of the driver's section, each with its line end; marker_lines: of the markers'
    // sections, by marker.
    Rig(unsigned long seed, std::string const & lines,
        std::map<std::string, std::string> const & marker_lines = {});

    VELM_BaseControl & Base() { return *_base; }
    VELM_Database & Database() { return _db; }
    sim::SimConfig const & Config() const { return _config; }
    wxString PathOf(wxString const & name) const { return _dir / name; }

    // Places are in microns of the hardware's positions; waits.
    void GoTo(double x, double y, double z);
    double GetZ() { return 0.1 * static_cast<double>(_base->ZDrive_GetCurPos()); }

    // Sets the channel's filters, and its setting, which has to live as long as it is in force. A region of
    // the setting is taken as it is.
    void Use(VELM_Channel & channel);

    // A stack around a height, its middle slice being there; step in microns, 0 for one slice. The channel
    // has to be in use.
    Image TakeStack(VELM_Channel const & channel, unsigned int slices, double step);

    // What the last frame would have been without noise and under the light of the field's brightest point,
    // in grey values. binning: the frame's.
    Picture LastScene(int binning);

    // Throws when an error line was logged so far.
    void CheckLog() const;

  private:
    sim::SimConfig _config;
};

// A depository in the rig's directory.
class Store {
  public:
    explicit Store(Rig & rig);

    VELM_Depository & operator*() { return _depository; }

    // Adds the channel, with its calibration image if it has one; gives it its id.
    void Add(VELM_Channel & channel);

    // What a channel of a FOV holds.
    struct Content {
        VELM_Channel const * channel; // one that was added
        Image * stack;
        VELM_CorrectionSettings corrections;
    };

    // Stores a FOV of them, by ascending ids of the channels, and gives its id.
    long Save(std::vector<Content> const & contents);

    // The channel as the background-corrected mixer shows it, with every option on.
    Image Corrected(long fov_id, std::vector<long> const & chosen_ids, long channel_id);

    // A mixer on the FOV with these channels chosen.
    VELM_BC_Mixer MixerOf(long fov_id, std::vector<long> const & chosen_ids);

  private:
    VELM_Depository _depository;
};

} // namespace velm::bench

#endif
