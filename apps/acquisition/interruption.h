#ifndef ACQUISITION_INTERRUPTION_H
#define ACQUISITION_INTERRUPTION_H

namespace velm::acquisition {

// Thrown where a run notices that it was asked to stop.
struct Interrupted {};

// Turns SIGINT, SIGTERM and the loss of the terminal (SIGHUP, unless the program was told to outlive it, as
// nohup does) into a flag for as long as it lives; one object at a time. However often a signal comes, the
// program ends by its own way out, which closes the shutter.
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
