#ifndef SIM_MOTION_H
#define SIM_MOTION_H

#include "sim_clock.h"

#include <vector>

namespace velm::sim {

// How an axis moves.
struct AxisParams {
    double speed = 1.0e5;            // units a second
    double acceleration = 1.0e6;     // units a second, a second
    Microseconds settling = 10000.0; // from standing still to being counted as arrived
    double backlash = 0.0;           // units by which the load lags behind when the direction turns
};

// A driven axis: it speeds up, travels and slows down evenly, then settles. Positions are in the units of its
// control, tenths of a micron.
class Axis {
  public:
    Axis(AxisParams const & params, double position);

    // Starts towards a target. A move that is under way is broken off where it is. Gives the time of arrival,
    // settling included.
    Microseconds Move(Microseconds now, double target);

    // Where the drive is.
    double Position(Microseconds time) const;

    // Where the load is, which the drive turns through the play of its gears: half the backlash behind.
    double Load(Microseconds time) const;

    Microseconds Arrival() const { return _arrival; }

  private:
    AxisParams _params;
    double _origin;
    double _target;
    double _load; // where it was when the last move began
    Microseconds _start = 0.0;
    Microseconds _arrival = 0.0;
};

// The shutter's blades: they move evenly from where they are.
class Blades {
  public:
    explicit Blades(Microseconds travel) : _travel(travel) {}

    // Starts to open or close; gives the time when that is done.
    Microseconds Move(Microseconds now, bool open, Microseconds delay = 0.0);

    // How far they are open, 0 to 1.
    double Opening(Microseconds time) const;

    // For how long they let light through between two times, an opening of a half counting half.
    Microseconds OpenTime(Microseconds from, Microseconds to) const;

    // Forgets how they moved before the time.
    void Forget(Microseconds time);

  private:
    // A corner of the opening over time; between two corners it is straight.
    struct Corner {
        Microseconds time;
        double opening;
    };

    Microseconds _travel; // from closed to open
    std::vector<Corner> _corners{{0.0, 0.0}};
};

// A revolver of filters.
class Revolver {
  public:
    Revolver(Microseconds step, long position) : _step(step), _position(position) {}

    // Starts to turn; gives the time of arrival.
    Microseconds Move(Microseconds now, long target, Microseconds delay = 0.0);

    // The position that is in the light, as far as one is.
    long Position() const { return _position; }
    Microseconds Arrival() const { return _arrival; }

  private:
    Microseconds _step; // from one position to the next
    long _position;
    Microseconds _arrival = 0.0;
};

} // namespace velm::sim

#endif
