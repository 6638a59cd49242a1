#ifndef TESTS_SUPPORT_EVENT_PUMP_H
#define TESTS_SUPPORT_EVENT_PUMP_H

namespace velm::test {

// Handles all events and idle work that wait now, paint events included.
void PumpEvents();

} // namespace velm::test

#endif
