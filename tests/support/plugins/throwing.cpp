// A driver library whose entry function throws. VELM_THROWN: what.

#include "velm_driver_package.h"

#include <exception>

namespace {

// A class that exists nowhere but here: what() runs code of this library.
class [[maybe_unused]] OwnError : public std::exception {
  public:
    char const * what() const noexcept override { return "own words"; }
};

} // namespace

extern "C" __attribute__((visibility("default"))) velm::VELM_DriverPackage * velm_driver_entry()
{
    throw VELM_THROWN;
}
