#ifndef SIM_CLOCK_H
#define SIM_CLOCK_H

#include <chrono>
#include <functional>

namespace velm::sim {

// Simulated time, in microseconds since the clock was made.
using Microseconds = double;

// The time of the simulated machine.
//
// With a scale above 0 it follows real time, and what takes a second takes scale seconds. With the scale 0 it
// stands still until something makes it jump: then nothing takes any real time, and everything that happens
// depends only on what was asked of the machine, in what order.
class Clock {
  public:
    explicit Clock(double scale);

    // A clock of the scale 1 that reads the time from somewhere else.
    explicit Clock(std::function<Microseconds()> source);

    Microseconds Now() const;

    // Whether it only jumps.
    bool IsAtOnce() const { return _at_once; }

    // Makes a clock that only jumps go on to a later time; an earlier one is left alone.
    void JumpTo(Microseconds time);

    // How long a simulated span takes in real time.
    std::chrono::microseconds RealSpan(Microseconds span) const;

  private:
    double _scale;
    bool _at_once;
    Microseconds _now = 0.0; // of a clock that jumps
    std::function<Microseconds()> _source;
};

} // namespace velm::sim

#endif
