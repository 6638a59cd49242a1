#ifndef VELM_PATHS_H
#define VELM_PATHS_H

#include "velm_export.h"

#include <wx/string.h>

namespace velm::Path {

// File-system operations that log their own failures, so that a caller need only test a bool: true means
// success.

// Makes one directory, mode 0755; its parent must exist. No message on failure.
VELM_API bool MakeDirectory(wxString const & path);

// Removes a directory and all in it, hidden files too. Goes on after what it cannot remove, with one error
// line for each; false when the directory then remains.
VELM_API bool RemoveDirectory(wxString const & path);

// Makes the file, or empties it.
VELM_API bool CreateEmptyFile(wxString const & path);

// Changes the process's working directory.
VELM_API bool ChangeDirectory(wxString const & path);

} // namespace velm::Path

#endif
