#ifndef SIM_FADING_H
#define SIM_FADING_H

#include "sim_optics.h"
#include "sim_specimen.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace velm::sim {

// How long each cell of the slide has been lit in the excitation light of each marker, and what is left of
// its light. Not locked.
class Fading {
  public:
    // Adds lit time, in seconds, to every cell of the area.
    void Light(std::string const & marker, Area const & area, double seconds);

    double LitSeconds(std::string const & marker, long cell_x, long cell_y) const;

    // Share of the marker's light that is left at a cell.
    double Remaining(Marker const & marker, long cell_x, long cell_y) const;

    // The cells that have been lit at all, by any marker's light, in no order.
    std::vector<std::pair<long, long>> LitCells() const;

  private:
    using Doses = std::unordered_map<std::uint64_t, double>; // by cell

    std::unordered_map<std::string, Doses> _doses;
};

} // namespace velm::sim

#endif
