#ifndef TESTS_SUPPORT_STUB_MICROSCOPE_H
#define TESTS_SUPPORT_STUB_MICROSCOPE_H

#include "drivers/base/velm_base.h"
#include "support/plugins.h"
#include "support/stub_rig.h"
#include "velm_db.h"

#include <memory>
#include <string>

namespace velm::test {

// What a base control over the stub rig needs: a catalogue, driver libraries, and an ini file.
//
// The catalogue holds the excitation filters 0 "BP 480" at 1 and 1 "BP 546" at 2, the emission filters 0
// "LP 515" at 0 and 1 "BP 600" at 3, and the objectives "Plan 10x" and "Apo 60x". The drivers are StubA,
// StubB, StubCombo and Example, the example for driver authors.
class StubMicroscope {
  public:
    StubMicroscope();
    ~StubMicroscope();

    // Root entries of a system whose scale is known, which asks nothing.
    static std::string const known_scale;

    // An ini file with the root entries and every device at the section SecA of the driver StubA.
    static std::string WholeRig(std::string const & root = known_scale);

    // The control built from an ini file of that text.
    VELM_BaseControl & Build(std::string const & ini);

    // A whole rig, started, with nothing recorded yet.
    VELM_BaseControl & Start();

    VELM_BaseControl & Get() { return *_control; }
    void Delete() { _control.reset(); }

    VELM_Database & GetDatabase() { return *_db; }
    wxString GetIniPath() const { return _directory / "hardware.ini"; }
    std::string GetIniText() const { return _directory.Read("hardware.ini"); }

  private:
    TempDirectory _directory;
    DriverManagerScope _drivers{"plugin_stub_a", "plugin_stub_b", "plugin_combo", "example_driver"};
    std::unique_ptr<VELM_Database> _db;
    std::unique_ptr<VELM_BaseControl> _control; // goes first
};

} // namespace velm::test

#endif
