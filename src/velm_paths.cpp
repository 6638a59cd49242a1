#include "velm_paths.h"

#include "velm_log_macros.h"

#include <cstdio>
#include <wx/crt.h>
#include <wx/dir.h>
#include <wx/filefn.h>
#include <wx/filename.h>

namespace velm {

namespace {

// Runs a call of the toolkit without the toolkit's own log lines: these operations word their failures
// themselves, once.
template <typename Call>
bool Quietly(Call const & call)
{
    wxLogNull const quiet;
    return call();
}

} // namespace

bool Path::MakeDirectory(wxString const & path)
{
    return Quietly([&] { return wxMkdir(path, 0755); });
}

bool Path::RemoveDirectory(wxString const & path)
{
    wxString directory = path;
    // An empty path names no directory: with a separator behind, it would name the root.
    if (!directory.empty() && !directory.EndsWith(wxFileName::GetPathSeparator())) {
        directory << wxFileName::GetPathSeparator();
    }
    if (!wxDir::Exists(directory)) {
        VELM_LOG_ERROR("%s: The directory '%s' doesn't exist.", VELM_FUNCTION, directory);
        return false;
    }
    wxDir listing;
    if (!Quietly([&] { return listing.Open(directory); })) {
        VELM_LOG_ERROR("%s: The directory '%s' cannot be enumerated.", VELM_FUNCTION, directory);
        return false;
    }

    wxString name;
    bool more = listing.GetFirst(&name, wxEmptyString, wxDIR_FILES | wxDIR_DIRS | wxDIR_HIDDEN);
    while (more) {
        wxString const entry = directory + name;
        bool const is_link = wxFileName::Exists(entry, wxFILE_EXISTS_SYMLINK | wxFILE_EXISTS_NO_FOLLOW);
        if (!is_link && wxDir::Exists(entry)) {
            RemoveDirectory(entry);
        } else if (!Quietly([&] { return wxRemoveFile(entry); })) {
            VELM_LOG_ERROR("%s: The file '%s' cannot be removed.", VELM_FUNCTION, entry);
        }
        more = listing.GetNext(&name);
    }
    listing.Close();

    if (!Quietly([&] { return wxRmdir(directory); })) {
        VELM_LOG_ERROR("%s: The directory '%s' cannot be removed.", VELM_FUNCTION, directory);
        return false;
    }
    return true;
}

bool Path::CreateEmptyFile(wxString const & path)
{
    FILE * const file = wxFopen(path, "w");
    bool const created = file != nullptr && std::fclose(file) == 0;
    if (!created) {
        VELM_LOG_ERROR("%s: Can't create '%s' file.", VELM_FUNCTION, path);
    }
    return created;
}

bool Path::ChangeDirectory(wxString const & path)
{
    bool const changed = Quietly([&] { return wxSetWorkingDirectory(path); });
    if (!changed) {
        VELM_LOG_ERROR("%s: Cannot change path to %s.", VELM_FUNCTION, path);
    }
    return changed;
}

} // namespace velm
