#include "acquisition/interruption.h"

#include <csignal>

namespace velm::acquisition {

namespace {

volatile std::sig_atomic_t requested = 0;

void Request(int)
{
    requested = 1;
}

} // namespace

Interruption::Interruption()
{
    requested = 0;
    std::signal(SIGINT, &Request);
    std::signal(SIGTERM, &Request);
    if (std::signal(SIGHUP, &Request) == SIG_IGN) {
        std::signal(SIGHUP, SIG_IGN);
    }
}

Interruption::~Interruption()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    if (std::signal(SIGHUP, SIG_DFL) == SIG_IGN) {
        std::signal(SIGHUP, SIG_IGN);
    }
}

bool Interruption::IsRequested()
{
    return requested != 0;
}

void Interruption::Check()
{
    if (IsRequested()) {
        throw Interrupted();
    }
}

} // namespace velm::acquisition
