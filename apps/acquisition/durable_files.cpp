#include "acquisition/durable_files.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace velm::acquisition {

namespace fs = std::filesystem;

namespace {

void Sync(fs::path const & path)
{
    int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    int const error = file < 0 || fsync(file) != 0 ? errno : 0;
    if (file >= 0) {
        close(file);
    }
    // Some file systems of networks and removable media know no such operation for directories.
    if (error != 0 && !(error == EINVAL && fs::is_directory(path))) {
        throw std::system_error(error, std::generic_category(), path.string());
    }
}

} // namespace

void ForceToDisk(fs::path const & directory)
{
    for (fs::directory_entry const & entry : fs::recursive_directory_iterator(directory)) {
        Sync(entry.path());
    }
    Sync(directory);
    Sync(directory / "..");
}

} // namespace velm::acquisition
