#ifndef VELM_HARDWARE_PARAMS_H
#define VELM_HARDWARE_PARAMS_H

#include "velm_export.h"

#include <wx/string.h>

class wxConfigBase;

namespace velm {

// What took an image: travels with each field of view and volume of interest.
class VELM_API VELM_HardwareParams {
  public:
    // As the base control and its microscope body describe themselves; "Unknown" until set.
    wxString const & GetHWDesc() const { return _hw_desc; }
    void SetHWDesc(wxString const & desc) { _hw_desc = desc; }
    wxString const & GetObjDesc() const { return _obj_desc; }
    void SetObjDesc(wxString const & desc) { _obj_desc = desc; }

    // Reads from the current path; a missing entry gives "Unknown".
    void Load(wxConfigBase const & config);

    // Writes to the current path. Each refused entry logs "<prefix>Entry <key> not saved." and makes the
    // result false.
    bool Save(wxConfigBase & config, char const * prefix) const;

  private:
    wxString _hw_desc = "Unknown";
    wxString _obj_desc = "Unknown";
};

} // namespace velm

#endif
