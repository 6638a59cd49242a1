#include "scenarios/scan_rig.h"

#include "support/log_recorder.h"
#include "velm_db.h"
#include "velm_depository.h"
#include "velm_driver_manager.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <pty.h>
#include <regex>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <wx/fileconf.h>

namespace velm::test {

namespace {

namespace fs = std::filesystem;

char const * const driver_section = "Simulation"; // of the rig's hardware ini

// Once for the process: drivers stay loaded.
void LoadDrivers()
{
    static bool const loaded = [] {
        LogRecorder const quiet;
        return VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry") != nullptr;
    }();
    static_cast<void>(loaded);
}

// Both ends of a terminal that passes on every byte as it is: this side's first, the program's second.
void OpenTerminal(int (&ends)[2])
{
    if (openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) {
        throw std::runtime_error("no terminal");
    }
    termios state{};
    tcgetattr(ends[1], &state);
    cfmakeraw(&state);
    tcsetattr(ends[1], TCSANOW, &state);
}

} // namespace

ScanProcess::ScanProcess(std::vector<std::string> const & arguments, Surroundings const & surroundings)
    : _errors_file(_directory / "errors")
{
    int ends[2];
    if (surroundings.terminal) {
        OpenTerminal(ends);
    } else if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    int const errors = open(_errors_file.utf8_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    std::vector<std::string> command = arguments;
    command.insert(command.begin(), VELM_SCAN_PROGRAM);
    std::vector<char *> argv;
    argv.reserve(command.size() + 1);
    for (std::string & argument : command) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    _process = fork();
    if (_process == 0) {
        for (int const number : {SIGHUP, SIGPIPE, SIGXFSZ}) {
            signal(number, SIG_DFL); // whatever the tests run under
        }
        dup2(ends[1], STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        if (surroundings.max_file_bytes > 0) {
            auto const most = static_cast<rlim_t>(surroundings.max_file_bytes);
            rlimit const limit{most, most};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(ends[1]);
    close(errors);
    _output = ends[0];
}

ScanProcess::~ScanProcess()
{
    if (_process > 0) {
        kill(_process, SIGKILL);
        waitpid(_process, nullptr, 0);
    }
    if (_output >= 0) {
        close(_output);
    }
}

void ScanProcess::Signal(int number) const
{
    kill(_process, number);
}

bool ScanProcess::IsRunning() const
{
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0;
}

bool ScanProcess::WaitForLine(std::string const & text)
{
    std::size_t const from = _read.size();
    for (;;) {
        std::size_t const found = _read.find(text, from);
        if (found != std::string::npos && _read.find('\n', found) != std::string::npos) {
            return true;
        }
        char piece[256];
        ssize_t const count = read(_output, piece, sizeof piece);
        if (count <= 0) {
            return false;
        }
        _read.append(piece, static_cast<std::size_t>(count));
    }
}

void ScanProcess::StopReading()
{
    close(_output);
    _output = -1;
}

RunResult ScanProcess::Finish()
{
    char piece[4096];
    ssize_t count = 0;
    while (_output >= 0 && (count = read(_output, piece, sizeof piece)) > 0) {
        _read.append(piece, static_cast<std::size_t>(count));
    }
    int status = 0;
    waitpid(_process, &status, 0);
    _process = -1;
    return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), _read,
            ReadFile(_errors_file)};
}

ScanRig::ScanRig()
{
    LoadDrivers();
    fs::copy(VELM_SOURCE_ROOT "/rigs/simulated", (_directory / "rig").utf8_string(),
             fs::copy_options::recursive);
    Set("TimeScale", "0");
    Set("SensorWidth", "192");
    Set("SensorHeight", "128");
    Set("StateFile", (_directory / "state.txt").utf8_string());
    for (char const * const device : {"Stage", "ZDrive", "Filter", "Shutter", "Camera"}) {
        Set("Deadlines", device, "200");
    }
    _db = std::make_unique<VELM_Database>(_directory / "rig/optics");
}

ScanRig::~ScanRig() = default;

void ScanRig::Set(std::string const & key, std::string const & value)
{
    Set(driver_section, key, value);
}

void ScanRig::Set(std::string const & group, std::string const & key, std::string const & value)
{
    wxFileConfig file(wxEmptyString, wxEmptyString, _directory / "rig/hw/simulated.ini", wxEmptyString,
                      wxCONFIG_USE_RELATIVE_PATH);
    file.SetExpandEnvVars(false);
    file.Write("/" + group + "/" + key, wxString::FromUTF8(value));
}

wxString ScanRig::Depository(std::string const & name) const
{
    return _directory / name;
}

VELM_Depository & ScanRig::Open(std::string const & name)
{
    auto & opened = _opened[name];
    opened = std::make_unique<VELM_Depository>(Depository(name), _db.get());
    EXPECT_TRUE(opened->Open());
    return *opened;
}

wxString ScanRig::Ini() const
{
    return _directory / "rig/velm.ini";
}

std::string ScanRig::State() const
{
    return _directory.Read("state.txt");
}

std::vector<std::string> ScanRig::Arguments(std::string const & depository,
                                            std::vector<std::string> const & more) const
{
    std::vector<std::string> arguments{"--ini", Ini().utf8_string(), "--depository",
                                       Depository(depository).utf8_string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

RunResult ScanRig::Scan(std::string const & depository, std::vector<std::string> const & more) const
{
    return ScanProcess(Arguments(depository, more)).Finish();
}

std::vector<long> SavedIds(std::string const & output)
{
    std::vector<long> ids;
    std::regex const line("FOV ([0-9]+) saved\n");
    for (std::sregex_iterator match(output.begin(), output.end(), line), end; match != end; ++match) {
        ids.push_back(std::stol((*match)[1]));
    }
    return ids;
}

} // namespace velm::test
