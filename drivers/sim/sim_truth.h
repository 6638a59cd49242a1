#ifndef SIM_TRUTH_H
#define SIM_TRUTH_H

#include <string>

// What programs can ask of the simulated microscope beyond what a driver offers, to compare results with what
// was really there. The functions are exported by the driver library; look them up by name. All refer to the
// driver that was created last.
extern "C" {

// Writes what lies within a rectangle of the slide, in microns of the stage's hardware position, as JSON to
// the file of a UTF-8 path: see docs/simulated-microscope.md. 0 on success, -1 when there is no driver or the
// file can't be written.
__attribute__((visibility("default"))) int velm_sim_write_truth(char const * path, double left, double top,
                                                                double right, double bottom);

// Gives what each pixel of the last frame holds on average, in electrons, dark current included, offset and
// noise not; row by row, the right way round. Gives the number of pixels of the frame, 0 before the first;
// copies nothing when there is room for fewer. width may be null.
__attribute__((visibility("default"))) unsigned int velm_sim_last_mean(float * electrons, unsigned int room,
                                                                       unsigned int * width);
}

namespace velm::sim {

class Machine;
struct Area;

// Writes nuclei and spots whose centres lie in the area.
bool WriteTruth(Machine & machine, std::string const & path, Area const & area);

// The same for the nuclei that belong to cells that have been lit.
bool WriteTruthOfLitCells(Machine & machine, std::string const & path);

// Makes the exported functions speak of a machine, or no longer.
void SetCurrentMachine(Machine & machine);
void ForgetMachine(Machine const & machine);

} // namespace velm::sim

#endif
