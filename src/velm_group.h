#ifndef VELM_GROUP_H
#define VELM_GROUP_H

#include "velm_export.h"
#include "velm_list.h"

#include <wx/string.h>

class wxFileConfig;

namespace velm {

// A named group of objects, known to the whole depository.
class VELM_API VELM_Group {
  public:
    explicit VELM_Group(long id = -1, wxString const & name = wxEmptyString) : _id(id), _name(name) {}

    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    wxString const & GetName() const { return _name; }
    void SetName(wxString const & name) { _name = name; }

    // Entries at the current path. Loading goes on after a missing entry, with an error line and the result
    // false; a missing id stays as it was.
    bool Load(wxFileConfig & config);
    bool Save(wxFileConfig & config) const;

  private:
    friend class VELM_List<VELM_Group>;

    long _id;
    wxString _name;
};

extern template class VELM_API VELM_List<VELM_Group>;

// The groups of a depository. The highest id ever given out is kept in the file, so that the id of a deleted
// group, which other files may still mention, is never given to another.
class VELM_API VELM_GroupList : public VELM_List<VELM_Group> {
  public:
    // Replaces the list by the groups at the current path. One that loads badly is kept, with an error line
    // and the result false.
    bool Load(wxFileConfig & config);

    // Writes all groups and flushes. False, with an error line for each, when some weren't saved. The path is
    // inside the last group afterwards.
    bool Save(wxFileConfig & config) const;
};

} // namespace velm

#endif
