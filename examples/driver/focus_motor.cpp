#include "focus_motor.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

FocusMotor::FocusMotor(std::string const & port, double steps_per_second)
    : _steps_per_second(steps_per_second)
{
    if (port.empty()) {
        throw std::runtime_error("no port given");
    }
}

void FocusMotor::PowerOn()
{
    _powered = true;
}

void FocusMotor::PowerOff()
{
    _from = _target = GetSteps();
    _powered = false;
}

void FocusMotor::GoTo(long steps)
{
    if (!_powered) {
        throw std::runtime_error("the motor has no power");
    }
    _from = GetSteps();
    _target = steps;
    _started = Clock::now();
}

long FocusMotor::GetSteps() const
{
    double const seconds = std::chrono::duration<double>(Clock::now() - _started).count();
    double const way = std::min(seconds * _steps_per_second, static_cast<double>(std::labs(_target - _from)));
    return _from + std::lround(_target > _from ? way : -way);
}
