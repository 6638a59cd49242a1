// Scores what focus, calibration and corrections make of frames against what
// was really on the simulated slide. truth [--seed N]; ends with 1 when a goal
// is missed or something fails.

#include "truth.h"
#include "support/temp_directory.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <wx/debug.h>
#include <wx/init.h>

namespace {

// Ends the program when the arguments make no sense.
unsigned long SeedOf(int argc, char ** argv)
{
    if (argc == 1) {
        return 1;
    }
    std::string const text = argc == 3 ? argv[2] : "";
    bool const is_number =
        !text.empty() && text.size() <= 15 && text.find_first_not_of("0123456789") == std::string::npos;
    if (std::string(argv[1]) != "--seed" || !is_number) {
        std::fprintf(stderr, "usage: %s [--seed N]\n", argv[0]);
        std::exit(2);
    }
    return std::stoul(text);
}

[[noreturn]] void FailOnAssertion(wxString const & file, int line, wxString const &,
                                  wxString const & condition, wxString const &)
{
    throw std::runtime_error("assertion failed: " + condition.utf8_string() + " in " + file.utf8_string() +
                             ", line " + std::to_string(line));
}

} // namespace

int main(int argc, char ** argv)
{
    using namespace velm::bench;
    unsigned long const seed = SeedOf(argc, argv);
    std::setlocale(LC_CTYPE, "C.UTF-8");
    velm::test::TempDirectory const home; // preferences are a user's, and a score must not depend on them
    setenv("HOME", home.GetPath().utf8_str(), 1);
    wxInitializer const toolkit;
    wxSetAssertHandler(&FailOnAssertion);
    std::printf("Seed %lu\n", seed);
    Report report;
    try {
        ScoreFocus(seed, report);
        ScoreCalibrationFrames(seed, report);
        ScoreIllumination(seed, report);
        ScoreChromatic(seed, report);
        ScoreShift(seed, report);
    } catch (std::exception const & error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return report.IsGood() ? 0 : 1;
}
