#ifndef TRUTH_H
#define TRUTH_H

#include "truth_report.h"

namespace velm::bench {

// Each scores one part against what was really on the simulated slide of the seed.
void ScoreFocus(unsigned long seed, Report & report);
void ScoreCalibrationFrames(unsigned long seed, Report & report);
void ScoreIllumination(unsigned long seed, Report & report);
void ScoreChromatic(unsigned long seed, Report & report);
void ScoreShift(unsigned long seed, Report & report);

} // namespace velm::bench

#endif
