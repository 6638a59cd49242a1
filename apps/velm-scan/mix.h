#ifndef VELM_SCAN_MIX_H
#define VELM_SCAN_MIX_H

#include <array>
#include <optional>
#include <wx/gdicmn.h>

class wxString;

namespace velm {
class VELM_Depository;
} // namespace velm

namespace velm::scan {

// What is mixed, and how.
struct MixOptions {
    std::array<long, 3> channels = {-1, -1, -1}; // ids of red, green and blue; -1 for none
    bool af = false;                             // the AF images in place of the stacks
    std::optional<int> slice;                    // counted from 0; none: the brightest of all slices
    std::optional<wxRect> rect;                  // in pixels of the whole picture

    // Of VELM_BC_Mixer's options; none: no correction at all.
    std::optional<int> corrections;
};

// Mixes channels of a FOV of an open depository into one RGB picture (PNG). Each channel is shown by the
// eight bits that end at the last bit of its camera setting. Warns of corrections that no channel has
// applied. Needs no display. Throws std::runtime_error with a text for the program's user.
void DrawMix(VELM_Depository & depository, long fov_id, MixOptions const & options, wxString const & file);

} // namespace velm::scan

#endif
