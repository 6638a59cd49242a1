#ifndef NUBO_HISTOGRAM_H
#define NUBO_HISTOGRAM_H

#include "vexacore/export.h"

#include <cstddef>
#include <cstdint>
#include <vector>
#include <wx/string.h>

namespace nubo {

// Counts how often values occur, in bins of equal width over a closed range of values.
//
// The counters are the user's to increment, too, and wrap around at 2^32. T is unsigned short.
template <typename T>
class VEXA_API Histogram {
  public:
    // No bins, the range from 0 to 0.
    Histogram();
    Histogram(Histogram const &);
    Histogram(Histogram &&) noexcept;
    Histogram & operator=(Histogram const &);
    Histogram & operator=(Histogram &&) noexcept;
    virtual ~Histogram();

    // Divides the range from low to high into so many bins and sets all counters to 0. Throws
    // vexa::InternalException unless low is at most high and there is at least one bin and at most one for
    // each value.
    void Init(T low, T high, std::size_t bins);

    T GetLow() const { return _low; }
    T GetHigh() const { return _high; }

    // The bin that counts the value: floor((value - low) * bins / (high - low + 1)); the first or the last
    // bin for values outside the range. There must be bins.
    std::size_t GetBinPos(T value) const
    {
        T const inside = value < _low ? _low : value > _high ? _high : value;
        std::size_t const distance = static_cast<std::size_t>(inside - _low);
        std::size_t const values = static_cast<std::size_t>(_high - _low) + 1;
        return values == _bins.size() ? distance : distance * _bins.size() / values;
    }

    // The counters, one per bin, in one block; its address stays until Init, Load or an assignment.
    std::vector<std::uint32_t> & GetBins() { return _bins; }
    std::vector<std::uint32_t> const & GetBins() const { return _bins; }

    // Adds every value to the counter of its bin, as GetBinPos tells it. There must be bins.
    void Count(T const * values, std::size_t count);

    // Writes or reads the histogram file; docs/formats/hist.md tells its layout. False on any failure: Save
    // then leaves no file, or the one that was there before, and Load leaves the histogram as it was.
    bool Save(wxString const & path) const;
    bool Load(wxString const & path);

  private:
    T _low = 0;
    T _high = 0;
    std::vector<std::uint32_t> _bins;
};

} // namespace nubo

#endif
