#ifndef VELM_CORRECTION_H
#define VELM_CORRECTION_H

#include "velm_export.h"

#include <wx/string.h>

class wxFileConfig;

namespace velm {

// One correction of a channel's images: whether it is applied, and its parameters. The data only; the
// arithmetic is the mixer's.
class VELM_API VELM_Correction {
  public:
    virtual ~VELM_Correction();

    // A copy of the object's own class, owned by the caller.
    virtual VELM_Correction * Clone() const = 0;

    // Write and read the parameters at the current path. Saving stops at a refused entry.
    virtual bool SaveParams(wxFileConfig & config) const = 0;
    virtual void LoadParams(wxFileConfig const & config) = 0;

    // Back to the parameters that change nothing.
    virtual void ResetParams() = 0;

    // The name of its group in the file.
    wxString GetName() const { return _name; }

    void Apply(bool apply) { _applied = apply; }
    bool IsApplied() const { return _applied; }

    // Write and read the correction's group, below the current path.
    bool Save(wxFileConfig & config) const;
    void Load(wxFileConfig & config);

    // Resets the parameters; whether it is applied stays.
    void Reset() { ResetParams(); }

  protected:
    explicit VELM_Correction(wxString const & name) : _name(name) {}
    VELM_Correction(VELM_Correction const &) = default;
    VELM_Correction & operator=(VELM_Correction const &) = default;

  private:
    wxString _name;
    bool _applied = false;
};

} // namespace velm

#endif
