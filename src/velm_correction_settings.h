#ifndef VELM_CORRECTION_SETTINGS_H
#define VELM_CORRECTION_SETTINGS_H

#include "velm_correction.h"
#include "velm_export.h"
#include "velm_illumination_correction.h"
#include "vexaalgo/correction_params.h"
#include "vexacore/geometry.h"

#include <memory>
#include <vector>

class wxFileConfig;

namespace velm {

// Moves a channel's images by whole chip pixels.
class VELM_API VELM_ShiftCorrection : public VELM_Correction {
  public:
    explicit VELM_ShiftCorrection(wxString const & name) : VELM_Correction(name) {}
    ~VELM_ShiftCorrection() override;

    VELM_ShiftCorrection * Clone() const override;
    bool SaveParams(wxFileConfig & config) const override;
    void LoadParams(wxFileConfig const & config) override;
    void ResetParams() override;

    // In chip pixels (unbinned).
    vexa::Vector3d<int> const & GetShift() const { return _shift; }
    void SetShift(vexa::Vector3d<int> const & shift) { _shift = shift; }

  private:
    vexa::Vector3d<int> _shift;
};

class VELM_API VELM_ManualShiftCorrection : public VELM_ShiftCorrection {
  public:
    VELM_ManualShiftCorrection();
    ~VELM_ManualShiftCorrection() override;
    VELM_ManualShiftCorrection * Clone() const override;
};

class VELM_API VELM_AutomaticShiftCorrection : public VELM_ShiftCorrection {
  public:
    VELM_AutomaticShiftCorrection();
    ~VELM_AutomaticShiftCorrection() override;
    VELM_AutomaticShiftCorrection * Clone() const override;
};

// Resamples a channel's images through a polynomial.
class VELM_API VELM_ChromAberCorrection : public VELM_Correction {
  public:
    VELM_ChromAberCorrection();
    ~VELM_ChromAberCorrection() override;

    VELM_ChromAberCorrection * Clone() const override;
    bool SaveParams(wxFileConfig & config) const override;
    void LoadParams(wxFileConfig const & config) override;
    void ResetParams() override;

    vexa::ChromAberParams const & GetSurface() const { return _surface; }
    void SetSurface(vexa::ChromAberParams const & surface) { _surface = surface; }

  private:
    vexa::ChromAberParams _surface;
};

// The four corrections of a channel, which it owns: manual shift, automatic shift, illumination and chromatic
// aberration, in this order. Copies are deep.
class VELM_API VELM_CorrectionSettings {
  public:
    VELM_CorrectionSettings();
    VELM_CorrectionSettings(VELM_CorrectionSettings const & other);
    VELM_CorrectionSettings & operator=(VELM_CorrectionSettings const & other);
    ~VELM_CorrectionSettings();

    unsigned int GetCount() const { return static_cast<unsigned int>(_corrections.size()); }

    // By position; null, with an error line, when out of range.
    VELM_Correction * Get(unsigned int i);
    VELM_Correction const * Get(unsigned int i) const;

    VELM_ManualShiftCorrection * GetManualShiftCorrection();
    VELM_ManualShiftCorrection const * GetManualShiftCorrection() const;
    VELM_AutomaticShiftCorrection * GetAutomaticShiftCorrection();
    VELM_AutomaticShiftCorrection const * GetAutomaticShiftCorrection() const;
    VELM_IlluminationCorrection * GetIlluminationCorrection();
    VELM_IlluminationCorrection const * GetIlluminationCorrection() const;
    VELM_ChromAberCorrection * GetChromAberCorrection();
    VELM_ChromAberCorrection const * GetChromAberCorrection() const;

    // Store a copy of the argument, which must not be null.
    void SetManualShiftCorrection(VELM_ManualShiftCorrection const * correction);
    void SetAutomaticShiftCorrection(VELM_AutomaticShiftCorrection const * correction);
    void SetIlluminationCorrection(VELM_IlluminationCorrection const * correction);
    void SetChromAberCorrection(VELM_ChromAberCorrection const * correction);

    // One group per correction, below the current path. What is missing takes its default. Saving goes on
    // after a correction that isn't saved, with an error line and the result false.
    void Load(wxFileConfig & config);
    bool Save(wxFileConfig & config) const;

  private:
    std::vector<std::unique_ptr<VELM_Correction>> _corrections; // always four, in the order above
};

} // namespace velm

#endif
