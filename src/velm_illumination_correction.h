#ifndef VELM_ILLUMINATION_CORRECTION_H
#define VELM_ILLUMINATION_CORRECTION_H

#include "velm_correction.h"
#include "velm_export.h"
#include "vexaalgo/correction_params.h"

#include <wx/arrstr.h>
#include <wx/string.h>

namespace velm {

// How uneven illumination is corrected.
class VELM_API VELM_IlluminationCorrectionMethod {
  public:
    enum Method : int { NONE = 0, CALIBRATION_IMAGE = 1, BSPLINE = 2, HOMOMORPHIC = 3 };

    VELM_IlluminationCorrectionMethod();
    explicit VELM_IlluminationCorrectionMethod(Method method);

    Method Get() const { return _method; }
    void Set(Method method) { _method = method; }

    // By its exact name; an unknown one means none.
    void Set(wxString const & name);

    wxString GetName() const;

    // Whether the method has parameters to edit.
    bool HasParams() const { return _method == HOMOMORPHIC; }

    // Replaces the array by the names of all methods.
    void GetMethodList(wxArrayString & names) const { names = _names; }

  private:
    Method _method = NONE;
    wxArrayString _names; // by value of the method
};

class VELM_API VELM_IlluminationCorrection : public VELM_Correction {
  public:
    VELM_IlluminationCorrection();
    ~VELM_IlluminationCorrection() override;

    VELM_IlluminationCorrection * Clone() const override;
    bool SaveParams(wxFileConfig & config) const override;
    void LoadParams(wxFileConfig const & config) override;
    void ResetParams() override;

    VELM_IlluminationCorrectionMethod const & GetMethod() const { return _method; }
    void SetMethod(VELM_IlluminationCorrectionMethod const & method) { _method = method; }

    vexa::HomomorphicFilterParams const & GetHomFilterParams() const { return _hom_filter; }
    void SetHomFilterParams(vexa::HomomorphicFilterParams const & params) { _hom_filter = params; }

  private:
    VELM_IlluminationCorrectionMethod _method;
    vexa::HomomorphicFilterParams _hom_filter; // all 1 leaves an image as it is
};

} // namespace velm

#endif
