#ifndef VEXACORE_LENGTH_UNIT_H
#define VEXACORE_LENGTH_UNIT_H

// The names of length units that image files use. Internal to the image libraries.

#include <string_view>

namespace vexa {

// How many microns one of the unit is: full English names in singular or plural and the usual abbreviations,
// in any case. 0 when the unit is not a known length.
double MicronsPerUnit(std::string_view unit);

} // namespace vexa

#endif
