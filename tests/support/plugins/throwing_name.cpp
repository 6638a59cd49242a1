// A driver library whose package throws when asked for its name. VELM_THROWN: what.

#include "drivers/base/driver_contract.h"
#include "support/stub_rig.h"

#include <exception>

namespace {

class [[maybe_unused]] OwnError : public std::exception {
  public:
    char const * what() const noexcept override { return "own words"; }
};

class NamelessPackage : public velm::test::StubPackage {
  public:
    NamelessPackage() : StubPackage("Nameless") {}
    wxString GetName() override { throw VELM_THROWN; }
};

} // namespace

VELM_DRIVER_ENTRY(NamelessPackage)
