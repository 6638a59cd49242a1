#include "acquisition/depository_lock.h"

#include "acquisition/scan_plan.h"
#include "velm_paths.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <wx/filefn.h>

namespace velm::acquisition {

DepositoryLock::DepositoryLock(wxString const & directory)
{
    if (!wxDirExists(directory)) {
        Path::MakeDirectory(directory); // a failure shows when the depository is opened
    }
    _file = open(directory.fn_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (_file >= 0 && flock(_file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        close(_file);
        throw PlanError("Another run is storing into the depository " + directory.utf8_string() + ".");
    }
}

DepositoryLock::~DepositoryLock()
{
    if (_file >= 0) {
        close(_file);
    }
}

} // namespace velm::acquisition
