#ifndef VELM_FLAT_FIELD_H
#define VELM_FLAT_FIELD_H

// Division of frames by calibration images. Internal.

#include "velm_export.h"

#include <cstddef>
#include <vector>

namespace velm {

// Corrects runs of pixels by runs of a calibration image: each becomes the low 16 bits of the truncation
// toward zero of (pixel / divisor) * mean in double precision, and 0 where the divisor is 0 or the result
// isn't a number that fits into 64 bits.
class VELM_API FlatField {
  public:
    // mean: of the calibration image.
    explicit FlatField(double mean) : _mean(mean) {}

    // The run of the calibration image for the runs of pixels that follow; kept by its address.
    void SetDivisors(unsigned short const * divisors, std::size_t count);

    // Corrects a run of as many pixels as there are divisors.
    void Apply(unsigned short * pixels) const;

  private:
    double _mean;
    unsigned short const * _divisors = nullptr;
    std::size_t _count = 0;

    // mean / divisor, or 0 for none, of the first divisors: as many as the machine has quick instructions
    // for.
    std::vector<float> _factors;
    std::size_t _quick = 0;
};

} // namespace velm

#endif
