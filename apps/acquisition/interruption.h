#ifndef ACQUISITION_INTERRUPTION_H
#define ACQUISITION_INTERRUPTION_H

namespace velm::acquisition {

// Thrown where a run notices that it was asked to stop.
struct Interrupted {};

// Turns SIGINT and SIGTERM into a flag for as long as it lives; one object at a time.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(Interruption const &) = delete;
    Interruption & operator=(Interruption const &) = delete;

    static bool IsRequested();

    // Throws Interrupted when a stop was requested.
    static void Check();
};

} // namespace velm::acquisition

#endif
