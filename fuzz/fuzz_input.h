#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <wx/init.h>
#include <wx/log.h>

namespace velm::fuzz {

// The fuzzer's bytes as files, in a directory of the process's own in memory.
class Input {
  public:
    // The toolkit without its log: every input would fill it.
    Input() : _directory("/dev/shm/velm-fuzz-" + std::to_string(getpid()))
    {
        wxLog::EnableLogging(false);
        mkdir(_directory.c_str(), 0700);
    }

    // The path of a file with these bytes.
    std::string Write(char const * name, std::uint8_t const * data, std::size_t size) const
    {
        std::string const path = _directory + "/" + name;
        int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size) || close(file) != 0) {
            std::abort();
        }
        return path;
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
