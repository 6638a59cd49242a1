#include "vexaalgo/source_map.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <vector>

namespace vexa {

namespace {

// Positions up to the product of this and the square of any size are far from where numbers end.
constexpr double largest_coefficient = 1e30;

// Voxels per micron.
double ScaleOf(float resolution)
{
    return std::isfinite(resolution) && resolution > 0.0F ? double{resolution} : 1.0;
}

// The first number below count for which the condition holds, or count. It has to hold for all after the
// first.
template <typename Condition>
unsigned int FirstOf(unsigned int count, Condition condition)
{
    unsigned int begin = 0;
    while (begin < count) {
        unsigned int const middle = begin + (count - begin) / 2;
        if (condition(middle)) {
            count = middle;
        } else {
            begin = middle + 1;
        }
    }
    return begin;
}

// Where a position that rises all along, or falls, lies inside an axis of that size.
template <typename Position>
Stretch WhereInside(unsigned int count, Position position, unsigned int size)
{
    double const low = -SourceMap::tolerance;
    double const high = (size - 1.0) + SourceMap::tolerance;
    if (position(0U) <= position(count - 1)) {
        return {FirstOf(count, [&](unsigned int i) { return position(i) >= low; }),
                FirstOf(count, [&](unsigned int i) { return position(i) > high; })};
    }
    return {FirstOf(count, [&](unsigned int i) { return position(i) <= high; }),
            FirstOf(count, [&](unsigned int i) { return position(i) < low; })};
}

Stretch Common(Stretch const & a, Stretch const & b)
{
    return {std::max(a.first, b.first), std::min(a.end, b.end)};
}

struct Rectangle {
    Stretch x;
    Stretch y;

    std::uint64_t GetArea() const { return std::uint64_t{x.GetLength()} * y.GetLength(); }
};

bool IsBetter(Rectangle const & a, Rectangle const & b)
{
    std::uint64_t const area = a.GetArea();
    std::uint64_t const other = b.GetArea();
    return area != other ? area > other
                         : std::tie(a.x.first, a.y.first, a.x.end) < std::tie(b.x.first, b.y.first, b.x.end);
}

// The best rectangle of lines that lie beside one another, each with its valid stretch. What is valid in two
// lines is so in all between. make: the rectangle of some lines and a stretch of them.
template <typename Make>
Rectangle FindBest(std::vector<Stretch> const & lines, Make make)
{
    auto const count = static_cast<unsigned int>(lines.size());
    Rectangle best;
    std::uint64_t area = 0;
    for (unsigned int first = 0; first < count; ++first) {
        std::uint64_t const length = lines[first].GetLength();
        for (unsigned int end = count; end > first && (end - first) * length >= area && length > 0; --end) {
            Rectangle const candidate = make(Stretch{first, end}, Common(lines[first], lines[end - 1]));
            if (candidate.GetArea() > 0 && IsBetter(candidate, best)) {
                best = candidate;
                area = best.GetArea();
            }
        }
    }
    return best;
}

Rectangle FindBest(SourceMap const & map, unsigned int size_x, unsigned int size_y)
{
    std::vector<Stretch> lines(std::min(size_x, size_y));
    for (unsigned int i = 0; i < lines.size(); ++i) {
        lines[i] = size_x < size_y ? map.GetValidY(i) : map.GetValidX(i);
    }
    return size_x < size_y ? FindBest(lines,
                                      [](Stretch const & x, Stretch const & y) {
                                          return Rectangle{x, y};
                                      })
                           : FindBest(lines, [](Stretch const & y, Stretch const & x) {
                                 return Rectangle{x, y};
                             });
}

} // namespace

SourceMap::SourceMap(Vector3d<float> const & offset, Resolution const & resolution,
                     Vector3d<unsigned int> const & size, ChromAberParams const & params)
    : _size(size)
{
    // The polynomial of u = offset.x + x / rx and v = offset.y + y / ry, multiplied out, less what a voxel's
    // own place is: so the identity comes out as the identity exactly.
    double const rx = ScaleOf(resolution.GetRes().x);
    double const ry = ScaleOf(resolution.GetRes().y);
    double const rz = ScaleOf(resolution.GetRes().z);
    double const u = offset.x;
    double const v = offset.y;
    double const * const px = params.x_plane;
    double const * const py = params.y_plane;
    double const * const pz = params.z_surface;
    _x.constant = rx * (px[0] + (px[1] - 1.0) * u + px[2] * v);
    _x.along_x = px[1];
    _x.along_y = px[2] * rx / ry;
    _y.constant = ry * (py[0] + py[1] * u + (py[2] - 1.0) * v);
    _y.along_x = py[1] * ry / rx;
    _y.along_y = py[2];
    if (size.z > 1) {
        _z.constant = rz * (pz[0] + pz[1] * u + pz[2] * v + pz[3] * u * u + pz[4] * u * v + pz[5] * v * v);
        _z.along_x = rz / rx * (pz[1] + 2.0 * pz[3] * u + pz[4] * v);
        _z.along_y = rz / ry * (pz[2] + 2.0 * pz[5] * v + pz[4] * u);
        _z.along_xx = rz * pz[3] / (rx * rx);
        _z.along_xy = rz * pz[4] / (rx * ry);
        _z.along_yy = rz * pz[5] / (ry * ry);
    }
}

bool SourceMap::IsUsable() const
{
    double const all[] = {_x.constant, _x.along_x, _x.along_y, _y.constant, _y.along_x,  _y.along_y,
                          _z.constant, _z.along_x, _z.along_y, _z.along_xx, _z.along_xy, _z.along_yy};
    return std::all_of(std::begin(all), std::end(all),
                       [](double c) { return std::abs(c) <= largest_coefficient; });
}

bool SourceMap::KeepsZ() const
{
    double const all[] = {_z.constant, _z.along_x, _z.along_y, _z.along_xx, _z.along_xy, _z.along_yy};
    return std::all_of(std::begin(all), std::end(all), [](double c) { return c == 0.0; });
}

Stretch SourceMap::GetValidX(unsigned int y) const
{
    return Common(WhereInside(
                      _size.x, [&](unsigned int x) { return _x.At(x, y); }, _size.x),
                  WhereInside(
                      _size.x, [&](unsigned int x) { return _y.At(x, y); }, _size.y));
}

Stretch SourceMap::GetValidY(unsigned int x) const
{
    return Common(WhereInside(
                      _size.y, [&](unsigned int y) { return _x.At(x, y); }, _size.x),
                  WhereInside(
                      _size.y, [&](unsigned int y) { return _y.At(x, y); }, _size.y));
}

// The extremes in each row lie at its ends or beside the vertex of its parabola.
void SourceMap::FindShiftsOfZ(Stretch const & x, Stretch const & y, double & lowest, double & highest) const
{
    double const left = x.first;
    double const right = x.end - 1.0;
    lowest = GetRowZ(y.first).At(left);
    highest = lowest;
    for (unsigned int j = y.first; j < y.end; ++j) {
        Row const row = GetRowZ(j);
        double const vertex = row.square != 0.0 ? std::floor(-row.linear / (2.0 * row.square)) : left;
        for (double const at : {left, right, vertex, vertex + 1.0}) {
            double const shift = row.At(std::clamp(at, left, right));
            lowest = std::min(lowest, shift);
            highest = std::max(highest, shift);
        }
    }
}

bool SourceMap::FindValidBox(Vector3d<unsigned int> & first, Vector3d<unsigned int> & last) const
{
    Rectangle const best = FindBest(*this, _size.x, _size.y);
    if (best.GetArea() == 0) {
        return false;
    }
    double lowest = 0.0;
    double highest = 0.0;
    if (!KeepsZ()) {
        FindShiftsOfZ(best.x, best.y, lowest, highest);
    }
    Stretch const z = Common(WhereInside(
                                 _size.z, [&](unsigned int i) { return i + lowest; }, _size.z),
                             WhereInside(
                                 _size.z, [&](unsigned int i) { return i + highest; }, _size.z));
    if (z.IsEmpty()) {
        return false;
    }
    first = {best.x.first, best.y.first, z.first};
    last = {best.x.end - 1, best.y.end - 1, z.end - 1};
    return true;
}

} // namespace vexa
