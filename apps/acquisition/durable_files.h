#ifndef ACQUISITION_DURABLE_FILES_H
#define ACQUISITION_DURABLE_FILES_H

#include <filesystem>

namespace velm::acquisition {

// Returns once all files of the directory and of those below, and the directory's own entry in its parent,
// are on the physical disk, so that they outlive a loss of power. Throws std::system_error, also for a write
// that seemed to go well and failed later, which many file systems tell only here.
void ForceToDisk(std::filesystem::path const & directory);

} // namespace velm::acquisition

#endif
