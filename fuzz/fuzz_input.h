#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <wx/debug.h>
#include <wx/init.h>
#include <wx/log.h>

namespace velm::fuzz {

// A damaged description file can trip assertions of the toolkit, which programs log and survive. One of this
// tree's own is a finding.
inline void JudgeAssertion(wxString const & file, int, wxString const &, wxString const &, wxString const &)
{
    if (!file.Contains("src/common/") && !file.Contains("src/unix/")) {
        std::abort();
    }
}

// The fuzzer's bytes as files, in a directory in memory: that of the environment's VELM_FUZZ_DIRECTORY, or
// one of the process's own.
class Input {
  public:
    Input()
    {
        char const * const given = std::getenv("VELM_FUZZ_DIRECTORY");
        _directory = given != nullptr ? given : "/dev/shm/velm-fuzz-" + std::to_string(getpid());
        wxLog::EnableLogging(false); // every input would fill it
        wxSetAssertHandler(&JudgeAssertion);
        std::filesystem::create_directories(_directory);
    }
    ~Input() { std::filesystem::remove_all(_directory); }
    Input(Input const &) = delete;
    Input & operator=(Input const &) = delete;

    // The path of a file with these bytes.
    std::string Write(std::string const & name, std::uint8_t const * data, std::size_t size) const
    {
        std::string path = _directory + "/" + name;
        int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size) || close(file) != 0) {
            std::abort();
        }
        return path;
    }
    std::string Write(std::string const & name, std::string const & text) const
    {
        return Write(name, reinterpret_cast<std::uint8_t const *>(text.data()), text.size());
    }

    std::string const & GetDirectory() const { return _directory; }

    // One for the whole process.
    static Input const & Get()
    {
        static Input const input;
        return input;
    }

  private:
    wxInitializer _toolkit;
    std::string _directory;
};

} // namespace velm::fuzz

#endif
