#ifndef VELM_SCAN_OVERVIEW_H
#define VELM_SCAN_OVERVIEW_H

class wxString;

namespace velm {
class VELM_Depository;
} // namespace velm

namespace velm::scan {

// The sign, +1 or -1, by which a picture's x and y axes follow the stage's.
struct Orientation {
    int x = 1;
    int y = 1;
};

// Draws the AF images of all FOVs of an open depository into one RGB picture (PNG), each at its place on the
// slide and each channel in its colour, with a scale bar. A FOV without a record, which a killed run leaves,
// is left out with a warning. Needs no display. Throws std::runtime_error with a text for the program's user.
void DrawOverview(VELM_Depository & depository, Orientation const & orientation, wxString const & file);

} // namespace velm::scan

#endif
