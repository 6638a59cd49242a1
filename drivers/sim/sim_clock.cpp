#include "sim_clock.h"

#include <algorithm>

namespace velm::sim {

Clock::Clock(double scale) : _scale(scale), _at_once(scale <= 0.0)
{
    if (!_at_once) {
        auto const start = std::chrono::steady_clock::now();
        _source = [start, scale] {
            std::chrono::duration<double, std::micro> const real = std::chrono::steady_clock::now() - start;
            return real.count() / scale;
        };
    }
}

Clock::Clock(std::function<Microseconds()> source) : _scale(1.0), _at_once(false), _source(std::move(source))
{
}

Microseconds Clock::Now() const
{
    return _at_once ? _now : _source();
}

void Clock::JumpTo(Microseconds time)
{
    if (_at_once) {
        _now = std::max(_now, time);
    }
}

std::chrono::microseconds Clock::RealSpan(Microseconds span) const
{
    return std::chrono::microseconds(static_cast<long long>(std::max(0.0, span * _scale)));
}

} // namespace velm::sim
