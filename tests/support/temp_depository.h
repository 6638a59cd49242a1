#ifndef TESTS_SUPPORT_TEMP_DEPOSITORY_H
#define TESTS_SUPPORT_TEMP_DEPOSITORY_H

#include "support/temp_directory.h"
#include "velm_db.h"
#include "velm_depository.h"

#include <memory>

namespace velm::test {

// The catalogue that TempDepository works with: two filters of each kind at positions 1 and 2, two markers
// that use one pair each, and a 10x objective.
void WriteOptics(TempDirectory const & directory);

// A directory with a catalogue, the process's preferences (compression on) and driver manager (no drivers),
// and a depository that isn't opened yet. All goes at the end.
class TempDepository {
  public:
    TempDepository();
    ~TempDepository();
    TempDepository(TempDepository const &) = delete;
    TempDepository & operator=(TempDepository const &) = delete;

    VELM_Depository & operator*() { return *_depository; }
    VELM_Depository * operator->() { return _depository.get(); }
    VELM_Database & GetDatabase() { return *_db; }

    // The path of something in the depository.
    wxString operator/(wxString const & name) const { return GetDir() + "/" + name; }
    wxString GetDir() const { return _directory / "dep"; }
    TempDirectory const & GetTempDirectory() const { return _directory; }

    // Opens a fresh object on the same directory.
    VELM_Depository & Reopen();

    // Writes a file of the depository, byte for byte; reads one.
    wxString Write(wxString const & name, std::string const & content) const;
    std::string Read(wxString const & name) const;

  private:
    TempDirectory _directory;
    std::unique_ptr<VELM_Database> _db;
    std::unique_ptr<VELM_Depository> _depository;
};

// A stack whose voxels all differ from their neighbours, with resolution 10, 10, 5 voxels per micron and
// offset 1, 2, 3 microns.
vexa::Image3d<unsigned short> PatternStack(unsigned int x, unsigned int y, unsigned int z);

// A channel with the id, the catalogue's first marker and filters, and a camera setting of no driver.
VELM_Channel TestChannel(long id, wxString const & name = "Channel");

} // namespace velm::test

#endif
