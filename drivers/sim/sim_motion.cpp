#include "sim_motion.h"

#include <algorithm>
#include <cmath>

namespace velm::sim {

namespace {

constexpr double SECOND = 1.0e6; // in microseconds

// The travel of one move, from 0.
struct Profile {
    double distance;
    double top_speed; // lower than the axis's on a short way
    double ramp;      // seconds of speeding up, and of slowing down
    double cruise;    // seconds between

    Profile(double way, AxisParams const & params)
    {
        distance = std::abs(way);
        top_speed = std::min(params.speed, std::sqrt(distance * params.acceleration));
        ramp = top_speed / params.acceleration;
        cruise = top_speed > 0.0 ? distance / top_speed - ramp : 0.0;
    }

    double Duration() const { return 2.0 * ramp + cruise; }

    double After(double seconds, double acceleration) const
    {
        double const left = Duration() - seconds;
        if (seconds <= 0.0) {
            return 0.0;
        }
        if (left <= 0.0) {
            return distance;
        }
        if (seconds < ramp) {
            return 0.5 * acceleration * seconds * seconds;
        }
        if (left < ramp) {
            return distance - 0.5 * acceleration * left * left;
        }
        return 0.5 * top_speed * ramp + top_speed * (seconds - ramp);
    }
};

} // namespace

Axis::Axis(AxisParams const & params, double position)
    : _params(params), _origin(position), _target(position), _load(position)
{
}

Microseconds Axis::Move(Microseconds now, double target)
{
    double const load = Load(now);
    _origin = Position(now);
    _load = load;
    _target = target;
    _start = now;
    double const travel = Profile(_target - _origin, _params).Duration() * SECOND;
    _arrival = now + (travel > 0.0 ? travel + _params.settling : 0.0);
    return _arrival;
}

double Axis::Position(Microseconds time) const
{
    Profile const profile(_target - _origin, _params);
    double const way = profile.After((time - _start) / SECOND, _params.acceleration);
    return way >= profile.distance ? _target : _origin + (_target < _origin ? -way : way);
}

double Axis::Load(Microseconds time) const
{
    // The drive pushes the load only when the play on that side is used up.
    double const position = Position(time);
    double const play = 0.5 * _params.backlash;
    return std::clamp(_load, position - play, position + play);
}

Microseconds Blades::Move(Microseconds now, bool open, Microseconds delay)
{
    double const opening = Opening(now);
    while (!_corners.empty() && _corners.back().time >= now) {
        _corners.pop_back();
    }
    double const target = open ? 1.0 : 0.0;
    Microseconds const arrival = now + delay + std::abs(target - opening) * _travel;
    _corners.push_back({now, opening});
    if (delay > 0.0) {
        _corners.push_back({now + delay, opening});
    }
    _corners.push_back({arrival, target});
    return arrival;
}

double Blades::Opening(Microseconds time) const
{
    auto const after =
        std::upper_bound(_corners.begin(), _corners.end(), time,
                         [](Microseconds t, Corner const & corner) { return t < corner.time; });
    if (after == _corners.end()) {
        return _corners.back().opening;
    }
    if (after == _corners.begin()) {
        return after->opening;
    }
    auto const before = after - 1;
    double const share = (time - before->time) / (after->time - before->time);
    return before->opening + share * (after->opening - before->opening);
}

Microseconds Blades::OpenTime(Microseconds from, Microseconds to) const
{
    if (to <= from) {
        return 0.0;
    }
    double sum = 0.0;
    Corner last{from, Opening(from)};
    auto const add = [&](Corner const & corner) {
        sum += 0.5 * (last.opening + corner.opening) * (corner.time - last.time);
        last = corner;
    };
    for (Corner const & corner : _corners) {
        if (corner.time > from && corner.time < to) {
            add(corner);
        }
    }
    add({to, Opening(to)});
    return sum;
}

void Blades::Forget(Microseconds time)
{
    while (_corners.size() > 2 && _corners[1].time < time) {
        _corners.erase(_corners.begin());
    }
}

Microseconds Revolver::Move(Microseconds now, long target, Microseconds delay)
{
    auto const steps = static_cast<double>(std::abs(target - _position));
    _position = target;
    _arrival = now + delay + steps * _step;
    return _arrival;
}

} // namespace velm::sim
