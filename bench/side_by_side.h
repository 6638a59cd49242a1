#ifndef SIDE_BY_SIDE_H
#define SIDE_BY_SIDE_H

#include <functional>
#include <string>

namespace velm::bench {

// What a ratio is held against.
struct Goal {
    double ratio;
    bool at_most; // whether the ratio is a cost, ours over the baseline, rather than a gain
};

// So many times as good as the baseline, or better.
inline Goal AtLeast(double ratio)
{
    return {ratio, false};
}

// So many times the baseline's cost, or less.
inline Goal AtMost(double ratio)
{
    return {ratio, true};
}

// Makes the compiler believe that what lies at the address is used and may have changed.
inline void Keep(void const * address)
{
    asm volatile("" : : "r"(address) : "memory");
}

// The rows of a benchmark program: each a path of ours beside a baseline that does the same work in the same
// process on the same data. A row is printed as soon as it is measured.
class Table {
  public:
    using Work = std::function<void()>;

    // Arguments: [--csv] [filter]. With a filter only rows whose name contains it are measured. Ends the
    // program when there are others.
    Table(int argc, char ** argv);

    // Whether a row of this name is asked for: data that is dear to make needn't be made otherwise.
    bool Wants(std::string const & name) const;

    // Measures both works in turn until their medians are steady, and prints the medians in milliseconds. The
    // ratio is the baseline's time over ours for a goal that is a least one, ours over the baseline's else.
    void Row(std::string const & name, Goal goal, Work const & ours, Work const & baseline);

    // The same beside a fixed time.
    void Row(std::string const & name, Goal goal, Work const & ours, double baseline_ms);

    // Prints two amounts that were measured otherwise, such as sizes of files. Less is better.
    void Amounts(std::string const & name, Goal goal, double ours, double baseline, std::string const & unit);

  private:
    bool _csv = false;
    std::string _filter;
};

} // namespace velm::bench

#endif
