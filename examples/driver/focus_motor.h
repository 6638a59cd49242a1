#ifndef FOCUS_MOTOR_H
#define FOCUS_MOTOR_H

#include <chrono>
#include <string>

// Stands for the vendor's library: a motor that runs at constant speed from where it is to where it is sent.
// Positions are in motor steps.
class FocusMotor {
  public:
    // Opens the port. Throws std::runtime_error when nothing answers there.
    FocusMotor(std::string const & port, double steps_per_second);

    std::string GetFirmware() const { return "1.0"; }

    void PowerOn();
    void PowerOff();

    // Starts to run; returns at once. Throws std::runtime_error when the motor has no power.
    void GoTo(long steps);

    long GetSteps() const;
    bool IsRunning() const { return GetSteps() != _target; }

  private:
    using Clock = std::chrono::steady_clock;

    double _steps_per_second;
    bool _powered = false;
    long _from = 0;
    long _target = 0;
    Clock::time_point _started = Clock::now();
};

#endif
