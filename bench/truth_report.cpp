#include "truth_report.h"

#include <cstdio>

namespace velm::bench {

void Report::Row(std::string const & name, double value, std::string const & unit, Goal goal)
{
    // Not a number reaches no goal.
    bool const reached = goal.at_most ? value <= goal.ratio : value >= goal.ratio;
    _good = _good && reached;
    std::printf("%-66s %9.4g %-8s goal %-8s %5g   %s\n", name.c_str(), value, unit.c_str(),
                goal.at_most ? "at most" : "at least", goal.ratio, reached ? "ok" : "short");
    std::fflush(stdout);
}

void Report::Number(std::string const & name, double value, std::string const & unit)
{
    std::printf("%-66s %9.4g %s\n", name.c_str(), value, unit.c_str());
    std::fflush(stdout);
}

} // namespace velm::bench
