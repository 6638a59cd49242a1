#include "vexacore/length_unit.h"

#include <cctype>
#include <string>
#include <utility>

namespace vexa {

double MicronsPerUnit(std::string_view unit)
{
    // Both code points that are written as a micro sign, and the entities that stand for them in XML.
    static constexpr std::pair<std::string_view, double> units[] = {
        {"micrometers", 1.0}, {"micrometer", 1.0},  {"micrometres", 1.0}, {"micrometre", 1.0},
        {"microns", 1.0},     {"micron", 1.0},      {"um", 1.0},          {"\xc2\xb5m", 1.0},
        {"\xce\xbcm", 1.0},   {"&#181;m", 1.0},     {"&#xb5;m", 1.0},     {"nanometers", 1e-3},
        {"nanometer", 1e-3},  {"nm", 1e-3},         {"millimeters", 1e3}, {"millimeter", 1e3},
        {"mm", 1e3},          {"centimeters", 1e4}, {"centimeter", 1e4},  {"cm", 1e4},
        {"meters", 1e6},      {"meter", 1e6},       {"m", 1e6},           {"\\u00b5m", 1.0},
    };
    std::string name(unit);
    for (char & c : name) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    for (auto const & [known, microns] : units) {
        if (name == known) {
            return microns;
        }
    }
    return 0.0;
}

} // namespace vexa
