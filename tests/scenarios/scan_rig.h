#ifndef TESTS_SCENARIOS_SCAN_RIG_H
#define TESTS_SCENARIOS_SCAN_RIG_H

#include "support/temp_directory.h"

#include <map>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace velm {
class VELM_Database;
class VELM_Depository;
} // namespace velm

namespace velm::test {

// How a run of a program ended.
struct RunResult {
    int status;         // exit status; 128 plus the signal's number for one that a signal ended
    std::string output; // of standard output
    std::string errors; // of standard error
};

// What surrounds a run of velm-scan.
struct Surroundings {
    // The largest file that it may write, so that writes fail as on a full disk; 0 for no limit.
    long max_file_bytes = 0;

    // Its standard output is a terminal, which passes on every byte as it is.
    bool terminal = false;
};

// A running velm-scan.
class ScanProcess {
  public:
    explicit ScanProcess(std::vector<std::string> const & arguments, Surroundings const & surroundings = {});
    ~ScanProcess();
    ScanProcess(ScanProcess const &) = delete;
    ScanProcess & operator=(ScanProcess const &) = delete;

    void Signal(int number) const;

    bool IsRunning() const;

    // Reads standard output up to and including a line that contains the text; false when it ends before.
    bool WaitForLine(std::string const & text);

    // Closes this end of its standard output.
    void StopReading();

    // Waits for the end.
    RunResult Finish();

  private:
    TempDirectory _directory;
    wxString _errors_file;
    pid_t _process = -1;
    int _output = -1;
    std::string _read; // of the output so far
};

// A simulated rig of its own with a small camera, whose machine works at once: nothing takes any real time
// and all that happens depends only on what is asked. Faults and other entries can be added. Also loads the
// driver into this process, for the settings in the depositories that the program leaves.
class ScanRig {
  public:
    ScanRig();
    ~ScanRig();
    ScanRig(ScanRig const &) = delete;
    ScanRig & operator=(ScanRig const &) = delete;

    // An entry of the driver's section of the hardware ini.
    void Set(std::string const & key, std::string const & value);

    // An entry of any group.
    void Set(std::string const & group, std::string const & key, std::string const & value);

    // The place that a depository of the name has.
    wxString Depository(std::string const & name = "dep") const;

    // The depository of that place, read afresh. Owned by the rig until it is opened again.
    VELM_Depository & Open(std::string const & name = "dep");

    wxString Ini() const;

    // How the machine stood when it was switched off last, as lines such as "Shutter=closed".
    std::string State() const;

    // The arguments of a scan into that place, with more of them behind.
    std::vector<std::string> Arguments(std::string const & depository,
                                       std::vector<std::string> const & more = {}) const;

    RunResult Scan(std::string const & depository = "dep", std::vector<std::string> const & more = {}) const;

  private:
    TempDirectory _directory;
    std::unique_ptr<VELM_Database> _db;
    std::map<std::string, std::unique_ptr<VELM_Depository>> _opened; // by name
};

// The ids in the lines "FOV n saved" of a run's output.
std::vector<long> SavedIds(std::string const & output);

} // namespace velm::test

#endif
