#ifndef VELM_BC_MIXER_H
#define VELM_BC_MIXER_H

#include "velm_export.h"
#include "velm_mixer.h"

namespace velm {

// Mixes the channels of a field of view with the corrections that are stored with it.
//
// A correction takes part when the master switch is on, its option is set and it says itself that it is
// applied. The shifts move the channels against the first chosen one; then each image is corrected for uneven
// illumination and, after that, for chromatic aberration. What chromatic corrections spoil at the borders of
// the common area is cut off, whether their option is set or not, so that pictures with and without them show
// the same part.
class VELM_API VELM_BC_Mixer : public VELM_FOV_Mixer {
  public:
    // The bits of the options.
    enum Option : int { MANUAL_SHIFT = 1, AUTOMATIC_SHIFT = 2, ILLUMINATION = 4, CHROMATIC_ABERRATION = 8 };

    explicit VELM_BC_Mixer(VELM_Depository * depository);
    VELM_BC_Mixer(VELM_BC_Mixer const &) = default;
    VELM_BC_Mixer & operator=(VELM_BC_Mixer const &) = default;
    ~VELM_BC_Mixer() override;

    // The master switch; off at first.
    void SetCorrection(bool corrected) { _corrected = corrected; }
    bool IsCorrected() const { return _corrected; }

    // Which kinds of correction take part; none at first.
    void SetCorrOptions(int options) { _options = options; }

    bool RecomputeOutputParams(VELM_MixerOutputParams & out) override;
    void AdjustParams() override;

    // A correction that fails leaves the image as it was before, with an error line; when it is that of the
    // illumination, the chromatic one is not tried.
    void PreprocessImage(long id, Image & image) override;

  private:
    // The channel's corrections; null when the source doesn't have the channel.
    VELM_CorrectionSettings const * FindCorrections(long id);

    bool TakesPart(VELM_Correction const & correction, Option option) const
    {
        return (_options & option) != 0 && correction.IsApplied();
    }

    // Sum of the shifts that take part, in chip pixels.
    vexa::Vector3d<long long> ShiftOf(long id);

    bool CorrectIllumination(long id, VELM_IlluminationCorrection const & correction, Image & image);
    bool DivideByCalibration(long id, Image & image);
    bool DivideByBackground(long id, Image & image);

    bool _corrected = false;
    int _options = 0;
};

} // namespace velm

#endif
