#include "sim_fading.h"

#include <unordered_set>

namespace velm::sim {

namespace {

// A cell as one number, and back. Cells of a stage's travel fit into 32 bits each.
std::uint64_t KeyOf(long cell_x, long cell_y)
{
    return (static_cast<std::uint64_t>(cell_x) << 32) | (static_cast<std::uint64_t>(cell_y) & 0xFFFFFFFFull);
}

std::pair<long, long> CellOf(std::uint64_t key)
{
    return {static_cast<std::int32_t>(key >> 32), static_cast<std::int32_t>(key & 0xFFFFFFFFull)};
}

} // namespace

void Fading::Light(std::string const & marker, Area const & area, double seconds)
{
    if (seconds <= 0.0) {
        return;
    }
    Doses & doses = _doses[marker];
    long const right = Specimen::CellOf(area.right);
    long const bottom = Specimen::CellOf(area.bottom);
    for (long y = Specimen::CellOf(area.top); y <= bottom; ++y) {
        for (long x = Specimen::CellOf(area.left); x <= right; ++x) {
            doses[KeyOf(x, y)] += seconds;
        }
    }
}

double Fading::LitSeconds(std::string const & marker, long cell_x, long cell_y) const
{
    auto const doses = _doses.find(marker);
    if (doses == _doses.end()) {
        return 0.0;
    }
    auto const dose = doses->second.find(KeyOf(cell_x, cell_y));
    return dose == doses->second.end() ? 0.0 : dose->second;
}

double Fading::Remaining(Marker const & marker, long cell_x, long cell_y) const
{
    return marker.Remaining(LitSeconds(marker.name, cell_x, cell_y));
}

std::vector<std::pair<long, long>> Fading::LitCells() const
{
    std::unordered_set<std::uint64_t> keys;
    for (auto const & [marker, doses] : _doses) {
        for (auto const & [key, seconds] : doses) {
            keys.insert(key);
        }
    }
    std::vector<std::pair<long, long>> cells;
    cells.reserve(keys.size());
    for (std::uint64_t const key : keys) {
        cells.push_back(CellOf(key));
    }
    return cells;
}

} // namespace velm::sim
