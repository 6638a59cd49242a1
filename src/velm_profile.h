#ifndef VELM_PROFILE_H
#define VELM_PROFILE_H

#include "velm_export.h"

#include <vector>
#include <wx/arrstr.h>
#include <wx/string.h>

namespace velm {

// A microscope: a name for a directory of optical data and a hardware description file.
class VELM_API VELM_Profile {
  public:
    explicit VELM_Profile(wxString const & name = wxEmptyString, wxString const & db_dir = wxEmptyString,
                          wxString const & hw_file = wxEmptyString)
        : _name(name), _db_dir(db_dir), _hw_file(hw_file)
    {
    }

    // Replaces all three texts, as the constructor sets them.
    void Set(wxString const & name = wxEmptyString, wxString const & db_dir = wxEmptyString,
             wxString const & hw_file = wxEmptyString);

    wxString const & GetName() const { return _name; }
    wxString const & GetDB_Dir() const { return _db_dir; }
    wxString const & GetHW_File() const { return _hw_file; }

  private:
    wxString _name;
    wxString _db_dir;
    wxString _hw_file;
};

// The microscopes of an installation, in the order of the file's entries: by name.
class VELM_API VELM_ProfileList {
  public:
    unsigned int GetCount() const { return static_cast<unsigned int>(_prof_list.size()); }

    // By position; a position out of range trips the assertion.
    VELM_Profile const & Get(unsigned int i) const;

    // Replaces the array.
    void GetProfileNames(wxArrayString & names) const;

    // Appends the file's profiles; an entry of another form is skipped with a warning. False, with a log line
    // and a message box, when there is no file or no profile.
    bool Load(wxString const & file);

  private:
    std::vector<VELM_Profile> _prof_list;
};

} // namespace velm

#endif
