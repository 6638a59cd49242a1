#ifndef VELM_SCAN_OPTIONS_H
#define VELM_SCAN_OPTIONS_H

#include "acquisition/calibrator.h"
#include "acquisition/scan_plan.h"
#include "velm-scan/mix.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace velm::scan {

// Wrong usage; the text says what is wrong.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Command { Scan, Overview, Export, Mix, Help, Version };

struct Options {
    Command command = Command::Scan;
    std::string ini;        // empty: the installed simulated rig's
    std::string depository; // always given, but for help and version
    std::string out;        // of the overview, the export and the mix
    long fov = 0;           // to export or mix; always given then
    std::optional<acquisition::Grid> grid;
    long slices = 9;
    long step = 10;             // tenths of a micron
    std::vector<long> channels; // empty: all
    long autofocus = 0;         // the channel to focus on; 0: none
    std::optional<acquisition::CalibrationRequest> calibrate;
    std::optional<unsigned long> seed;
    MixOptions mix;
};

// Reads the command line, the program's name first. Throws UsageError.
Options ParseOptions(std::vector<std::string> const & arguments);

// What --help prints.
std::string HelpText();

} // namespace velm::scan

#endif
