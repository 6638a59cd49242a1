#ifndef ACQUISITION_SCAN_PLAN_H
#define ACQUISITION_SCAN_PLAN_H

#include <cstdint>
#include <stdexcept>
#include <vector>

class wxString;

namespace velm {
class VELM_BaseControl;
class VELM_Coord;
class VELM_CoordList;
class VELM_Database;
class VELM_Depository;
} // namespace velm

namespace velm::acquisition {

// The plan cannot be carried out; the text says why, for its user.
class PlanError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Columns and rows of places.
struct Grid {
    int columns = 1;
    int rows = 1;
};

// What a run is to take at every coordinate of the depository.
struct ScanPlan {
    std::vector<long> channel_ids; // of the depository, ascending
    long slices = 1;
    long step = 10; // between slices, in tenths of a micron; upwards

    // The channel to focus on at every coordinate, which then lies in the middle of the stacks; 0: no
    // focusing, the coordinates' own positions hold.
    long focus_channel_id = 0;
};

// Replaces the coordinates by a grid of full frames that touch, row by row from the top left of the picture,
// around a place.
void MakeGrid(Grid const & grid, VELM_Coord const & centre, VELM_BaseControl & base, VELM_CoordList & coords);

// Fills an empty channel list with one channel for each marker of the catalogue that has a suitable pair of
// filters, with the camera's own default setting. corrected: whether their frames are to be corrected by
// calibration images.
void MakeChannels(VELM_BaseControl & base, VELM_Database & db, VELM_Depository & depository, bool corrected);

// The ids of all channels when the wanted ones are empty; otherwise those, ascending and without doubles.
// Throws PlanError for an id that the depository lacks, for a channel of another microscope, for one without
// a camera setting or with another camera's.
std::vector<long> ChooseChannels(std::vector<long> const & wanted, VELM_BaseControl & base,
                                 VELM_Depository const & depository);

// Throws PlanError when the depository has no numbers left for as many FOVs, the last of which has this id.
void CheckIds(long fovs, long last_id, long max_id);

// What a plan needs.
struct ScanNeeds {
    std::uint64_t disk_bytes = 0;   // for all images
    std::uint64_t memory_bytes = 0; // for the largest stack
};

// The needs of the plan at the very least: compression is known never to save more than three fifths of a
// camera's frame. Throws PlanError for a coordinate whose region, or a channel whose binning, leaves nothing
// of the sensor to read.
ScanNeeds NeedsOf(ScanPlan const & plan, VELM_BaseControl & base, VELM_Depository const & depository,
                  bool compressed);

// Throw PlanError when the directory's disk has less room, or the computer less memory, than that.
void CheckRoom(std::uint64_t needed, wxString const & directory);
void CheckMemory(std::uint64_t needed);

} // namespace velm::acquisition

#endif
