#ifndef TRUTH_REPORT_H
#define TRUTH_REPORT_H

#include "side_by_side.h"

#include <string>

namespace velm::bench {

// The lines of a run: each a value beside its goal, or a value alone. A line is printed as soon as it is
// known.
class Report {
  public:
    // The goal's ratio is what the value itself is held against.
    void Row(std::string const & name, double value, std::string const & unit, Goal goal);

    // A value without a goal, for the reader to judge the others by.
    void Number(std::string const & name, double value, std::string const & unit);

    // Whether all goals were reached so far.
    bool IsGood() const { return _good; }

  private:
    bool _good = true;
};

} // namespace velm::bench

#endif
