#include "sim_specimen.h"

#include "sim_hash.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velm::sim {

namespace {

constexpr double PI = 3.14159265358979323846;
constexpr std::size_t FINE_BLOBS = 170;
constexpr std::size_t CELLS_KEPT = 8192;
constexpr double CLOSEST = 8.5; // microns between the centres of two nuclei

// Keeps the streams of numbers of different purposes apart.
enum Purpose : std::uint64_t { OCCUPANCY = 1, NUCLEUS, TEXTURE, SPOTS, BACKGROUND, SURFACE };

// Value noise from 0 to 1: hashed values at the corners of a lattice with smooth steps between.
double Noise(std::uint64_t seed, double x, double y, double lattice)
{
    double const u = x / lattice;
    double const v = y / lattice;
    double const column = std::floor(u);
    double const row = std::floor(v);
    auto const corner = [&](double dx, double dy) {
        return Unit(Join(seed, Bits(static_cast<long>(column + dx)), Bits(static_cast<long>(row + dy))));
    };
    auto const step = [](double t) { return t * t * t * (t * (t * 6.0 - 15.0) + 10.0); };
    double const a = step(u - column);
    double const b = step(v - row);
    double const above = corner(0, 0) + a * (corner(1, 0) - corner(0, 0));
    double const below = corner(0, 1) + a * (corner(1, 1) - corner(0, 1));
    return above + b * (below - above);
}

std::array<double, 3> Rotate(std::array<std::array<double, 3>, 3> const & rotation,
                             std::array<double, 3> const & v)
{
    std::array<double, 3> result{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            result[row] += rotation[row][column] * v[column];
        }
    }
    return result;
}

// A turn about the optical axis, then a lean of the whole body, for cells lie nearly flat on the glass.
std::array<std::array<double, 3>, 3> MakeRotation(double turn, double lean, double lean_direction)
{
    double const c = std::cos(lean);
    double const s = std::sin(lean);
    double const ux = std::cos(lean_direction);
    double const uy = std::sin(lean_direction);
    std::array<std::array<double, 3>, 3> const lean_matrix = {
        {{c + ux * ux * (1.0 - c), ux * uy * (1.0 - c), uy * s},
         {ux * uy * (1.0 - c), c + uy * uy * (1.0 - c), -ux * s},
         {-uy * s, ux * s, c}}};
    double const ct = std::cos(turn);
    double const st = std::sin(turn);
    std::array<std::array<double, 3>, 3> rotation{};
    for (std::size_t row = 0; row < 3; ++row) {
        rotation[row][0] = lean_matrix[row][0] * ct + lean_matrix[row][1] * st;
        rotation[row][1] = -lean_matrix[row][0] * st + lean_matrix[row][1] * ct;
        rotation[row][2] = lean_matrix[row][2];
    }
    return rotation;
}

// Points that fill the unit ball evenly: the additive sequence of the generalised golden ratio in three
// dimensions, from a place that differs by nucleus.
std::array<double, 3> BallPoint(std::size_t index, std::array<double, 3> const & start)
{
    constexpr std::array<double, 3> STEP = {0.8191725133961645, 0.6710436067037893, 0.5497004779019703};
    auto const part = [&](std::size_t axis) {
        double const value = start[axis] + static_cast<double>(index + 1) * STEP[axis];
        return value - std::floor(value);
    };
    double const radius = std::cbrt(part(0));
    double const height = 2.0 * part(1) - 1.0;
    double const angle = 2.0 * PI * part(2);
    double const ring = std::sqrt(std::max(0.0, 1.0 - height * height));
    return {radius * ring * std::cos(angle), radius * ring * std::sin(angle), radius * height};
}

// Chromatin: clumps at two scales, and one to three nucleoli that hardly shine.
class Texture {
  public:
    explicit Texture(std::uint64_t hash) : _hash(hash)
    {
        Draws draws(hash);
        _nucleoli.resize(1 + draws.Next() % 3);
        for (auto & nucleolus : _nucleoli) {
            double const angle = draws.Between(0.0, 2.0 * PI);
            double const radius = draws.Between(0.1, 0.6);
            nucleolus = {radius * std::cos(angle), radius * std::sin(angle), draws.Between(0.13, 0.24)};
        }
    }

    // Brightness at a point of the unit ball, about 1 on average.
    double At(std::array<double, 3> const & p) const
    {
        double value = 0.35 + 0.9 * Noise(_hash, p[0] + 7.0, p[1] + 3.0 + 5.0 * p[2], 0.55) +
                       0.4 * Noise(_hash + 1, p[0] + 5.0 * p[2], p[1], 0.22);
        for (auto const & nucleolus : _nucleoli) {
            double const dx = p[0] - nucleolus[0];
            double const dy = p[1] - nucleolus[1];
            double const distance = std::sqrt(dx * dx + dy * dy);
            double const edge = (distance - nucleolus[2]) / 0.06;
            value *= 0.25 + 0.75 / (1.0 + std::exp(-edge));
        }
        return value;
    }

  private:
    std::uint64_t _hash;
    std::vector<std::array<double, 3>> _nucleoli; // x, y, radius in the unit ball
};

void NormaliseWeights(std::vector<Blob> & blobs)
{
    double sum = 0.0;
    for (Blob const & blob : blobs) {
        sum += static_cast<double>(blob.weight);
    }
    for (Blob & blob : blobs) {
        blob.weight = static_cast<float>(static_cast<double>(blob.weight) / sum);
    }
}

std::vector<Blob> MakeFineBlobs(Nucleus const & nucleus, std::uint64_t hash)
{
    Texture const texture(Join(hash, TEXTURE));
    Draws draws(Join(hash, TEXTURE, 1));
    std::array<double, 3> const start = {draws.Between(0, 1), draws.Between(0, 1), draws.Between(0, 1)};
    auto const & axes = nucleus.semi_axes;
    double const volume = 4.0 / 3.0 * PI * axes[0] * axes[1] * axes[2];
    double const spacing = std::cbrt(volume / static_cast<double>(FINE_BLOBS));
    std::vector<Blob> blobs(FINE_BLOBS);
    for (std::size_t i = 0; i < FINE_BLOBS; ++i) {
        std::array<double, 3> p = BallPoint(i, start);
        double const radius = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
        // Smaller near the surface, where they make the edge.
        double const sigma = spacing * (radius > 0.75 ? 0.55 : 0.65);
        double const brightness = texture.At(p);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            p[axis] *= std::max(0.3, axes[axis] - 0.9 * sigma);
        }
        std::array<double, 3> const place = Rotate(nucleus.rotation, p);
        blobs[i] = {static_cast<float>(place[0]),
                    static_cast<float>(place[1]),
                    static_cast<float>(place[2]),
                    static_cast<float>(sigma),
                    0.0f,
                    static_cast<float>(brightness)};
    }
    NormaliseWeights(blobs);
    return blobs;
}

// Adds blobs up to one with their light, their centre and their variances.
class Merger {
  public:
    void Add(Blob const & blob)
    {
        double const w = static_cast<double>(blob.weight);
        double const x = static_cast<double>(blob.x);
        double const y = static_cast<double>(blob.y);
        double const z = static_cast<double>(blob.z);
        double const sigma = static_cast<double>(blob.sigma);
        double const depth = static_cast<double>(blob.depth);
        _weight += w;
        _x += w * x;
        _y += w * y;
        _z += w * z;
        _across += w * (sigma * sigma + 0.5 * (x * x + y * y));
        _along += w * (depth * depth + z * z);
    }

    Blob Result() const
    {
        double const x = _x / _weight;
        double const y = _y / _weight;
        double const z = _z / _weight;
        double const across = _across / _weight - 0.5 * (x * x + y * y);
        double const along = std::max(0.0, _along / _weight - z * z);
        return {static_cast<float>(x),
                static_cast<float>(y),
                static_cast<float>(z),
                static_cast<float>(std::sqrt(across)),
                static_cast<float>(std::sqrt(along)),
                static_cast<float>(_weight)};
    }

  private:
    double _weight = 0.0;
    double _x = 0.0; // first and second moments
    double _y = 0.0;
    double _z = 0.0;
    double _across = 0.0;
    double _along = 0.0;
};

Blob Merge(std::vector<Blob> const & blobs)
{
    Merger merger;
    for (Blob const & blob : blobs) {
        merger.Add(blob);
    }
    return merger.Result();
}

// Joins the blobs that share a box of a lattice over the nucleus.
std::vector<Blob> MergeByLattice(std::vector<Blob> const & fine, double across, double along)
{
    constexpr int SIDE = 16; // boxes to a side, more than any nucleus needs
    std::array<std::uint8_t, SIDE * SIDE * SIDE> numbers{};
    std::vector<Merger> groups;
    auto const index = [](float v, double lattice) {
        int const box = static_cast<int>(std::floor(static_cast<double>(v) / lattice + 0.5));
        return static_cast<std::size_t>(std::clamp(box + SIDE / 2, 0, SIDE - 1));
    };
    for (Blob const & blob : fine) {
        std::uint8_t & number =
            numbers[(index(blob.x, across) * SIDE + index(blob.y, across)) * SIDE + index(blob.z, along)];
        if (number == 0) {
            groups.emplace_back();
            number = static_cast<std::uint8_t>(groups.size());
        }
        groups[number - 1u].Add(blob);
    }
    std::vector<Blob> coarse;
    coarse.reserve(groups.size());
    for (Merger const & group : groups) {
        coarse.push_back(group.Result());
    }
    return coarse;
}

// Joins whole columns of blobs: each goes to the nearest across of the first few, which lie evenly in the
// nucleus. Boxes as wide as these groups would show in the picture.
std::vector<Blob> MergeColumns(std::vector<Blob> const & fine, std::size_t count)
{
    std::vector<Merger> groups(count);
    for (Blob const & blob : fine) {
        std::size_t nearest = 0;
        float least = std::numeric_limits<float>::max();
        for (std::size_t i = 0; i < count; ++i) {
            float const dx = blob.x - fine[i].x;
            float const dy = blob.y - fine[i].y;
            float const distance = dx * dx + dy * dy;
            nearest = distance < least ? i : nearest;
            least = std::min(distance, least);
        }
        groups[nearest].Add(blob);
    }
    std::vector<Blob> coarse;
    coarse.reserve(count);
    for (Merger const & group : groups) {
        coarse.push_back(group.Result());
    }
    return coarse;
}

// The mean variance of blobs across the axis.
double VarianceOf(std::vector<Blob> const & blobs)
{
    double sum = 0.0;
    for (Blob const & blob : blobs) {
        double const sigma = static_cast<double>(blob.sigma);
        sum += static_cast<double>(blob.weight) * sigma * sigma;
    }
    return sum;
}

std::vector<Grade> MakeGrades(std::vector<Blob> const & fine)
{
    std::vector<Grade> grades;
    double const variance = VarianceOf(fine);
    auto const add = [&](std::vector<Blob> blobs) {
        double const spread = std::sqrt(std::max(0.0, VarianceOf(blobs) - variance));
        grades.push_back({spread, std::move(blobs)});
    };
    add(fine);
    add(MergeByLattice(fine, 1.6, 1.6));
    add(MergeByLattice(fine, 1.9, 2.4));
    add(MergeColumns(fine, 14));
    add({Merge(fine)});
    return grades;
}

std::vector<Spot> MakeSpots(Nucleus const & nucleus, unsigned int kinds, std::uint64_t hash)
{
    std::vector<Spot> spots;
    Draws draws(Join(hash, SPOTS));
    for (unsigned int kind = 0; kind < kinds; ++kind) {
        unsigned int const count = 1 + static_cast<unsigned int>(draws.Next() % 4);
        for (unsigned int i = 0; i < count; ++i) {
            std::array<double, 3> const start = {draws.Between(0, 1), draws.Between(0, 1),
                                                 draws.Between(0, 1)};
            std::array<double, 3> p = BallPoint(0, start);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                p[axis] *= 0.85 * nucleus.semi_axes[axis];
            }
            std::array<double, 3> const offset = Rotate(nucleus.rotation, p);
            Place const place{nucleus.centre.x + offset[0], nucleus.centre.y + offset[1],
                              nucleus.centre.z + offset[2]};
            spots.push_back({kind, place, draws.Between(0.14, 0.28), draws.Between(0.6, 1.4)});
        }
    }
    return spots;
}

} // namespace

std::vector<Blob> const & Nucleus::BlobsFor(double blur, double pixel) const
{
    std::size_t grade = grades.size() - 1;
    while (grade > 0 && 2.0 * grades[grade].spread > std::max(blur, 3.6 * pixel)) {
        --grade;
    }
    return grades[grade].blobs;
}

Outline ProjectedOutline(Nucleus const & nucleus)
{
    // The shadow of an ellipsoid is the ellipse with the upper left block of its matrix R diag(a²) Rᵀ.
    double xx = 0.0, xy = 0.0, yy = 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const a2 = nucleus.semi_axes[axis] * nucleus.semi_axes[axis];
        double const x = nucleus.rotation[0][axis];
        double const y = nucleus.rotation[1][axis];
        xx += a2 * x * x;
        xy += a2 * x * y;
        yy += a2 * y * y;
    }
    double const mean = 0.5 * (xx + yy);
    double const spread = std::hypot(0.5 * (xx - yy), xy);
    return {std::sqrt(mean + spread), std::sqrt(std::max(0.0, mean - spread)),
            0.5 * std::atan2(2.0 * xy, xx - yy)};
}

FocusSurface::FocusSurface(std::uint64_t seed, double height, double tilt, double wave) : _height(height)
{
    Draws draws(Join(seed, SURFACE));
    double const direction = draws.Between(0.0, 2.0 * PI);
    _tilt_x = tilt / 1000.0 * std::cos(direction);
    _tilt_y = tilt / 1000.0 * std::sin(direction);
    std::array<double, 3> const shares = {0.5, 0.3, 0.2};
    for (std::size_t i = 0; i < 3; ++i) {
        double const length = draws.Between(800.0, 3000.0);
        double const heading = draws.Between(0.0, 2.0 * PI);
        _waves[i] = {wave * shares[i], 2.0 * PI / length * std::cos(heading),
                     2.0 * PI / length * std::sin(heading), draws.Between(0.0, 2.0 * PI)};
    }
}

double FocusSurface::At(double x, double y) const
{
    double z = _height + _tilt_x * x + _tilt_y * y;
    for (Wave const & wave : _waves) {
        z += wave.amplitude * std::sin(wave.kx * x + wave.ky * y + wave.phase);
    }
    return z;
}

long Specimen::CellOf(double coordinate)
{
    return static_cast<long>(std::floor(coordinate / CELL));
}

Specimen::Specimen(SpecimenParams const & params)
    : _params(params), _focus(params.seed, params.focus_height, params.focus_tilt, params.focus_wave)
{
}

double Specimen::Background(double x, double y) const
{
    double const part = _params.background_unevenness;
    return 1.0 - 0.5 * part +
           part * 0.7 * Noise(Join(_params.seed, BACKGROUND), x, y, 4.0 * BACKGROUND_LATTICE) +
           part * 0.3 * Noise(Join(_params.seed, BACKGROUND, 1), x, y, BACKGROUND_LATTICE);
}

double Specimen::Occupancy(double x, double y) const
{
    double const noise = 0.65 * Noise(Join(_params.seed, OCCUPANCY), x, y, 230.0) +
                         0.35 * Noise(Join(_params.seed, OCCUPANCY, 1), x, y, 70.0);
    // The first look at a slide is never at an empty part.
    double const crowd = noise + 0.35 * std::exp(-(x * x + y * y) / (250.0 * 250.0));
    double const chance = 2.4 * (crowd - 0.36) * _params.density;
    return std::clamp(chance, 0.0, 0.55);
}

Nucleus const * Specimen::NucleusOf(long cell_x, long cell_y)
{
    std::uint64_t const key = (Bits(cell_x) << 32) ^ (Bits(cell_y) & 0xFFFFFFFFull);
    auto const [place, added] = _cells.try_emplace(key);
    if (added) {
        auto const older = _older_cells.find(key);
        place->second = older != _older_cells.end() ? std::move(older->second) : Make(cell_x, cell_y);
    }
    return place->second.get();
}

double Specimen::AverageDensity()
{
    if (_average_density < 0.0) {
        // Every sixth cell of some 4 millimetres each way, apart from the crowd at the origin.
        constexpr long SIDE = 60;
        long count = 0;
        for (long y = 0; y < SIDE; ++y) {
            for (long x = 0; x < SIDE; ++x) {
                long const cell_x = 200 + 6 * x;
                long const cell_y = 200 + 6 * y;
                count += Grows(CandidateOf(cell_x, cell_y), cell_x, cell_y) ? 1 : 0;
            }
        }
        _average_density = static_cast<double>(count) / (SIDE * SIDE) / (CELL * CELL);
    }
    return _average_density;
}

void Specimen::Trim()
{
    if (_cells.size() > CELLS_KEPT) {
        _older_cells = std::move(_cells);
        _cells.clear();
    }
}

Specimen::Candidate Specimen::CandidateOf(long cell_x, long cell_y) const
{
    Draws draws(Join(_params.seed, NUCLEUS, Bits(cell_x), Bits(cell_y)));
    Candidate candidate{};
    candidate.x = (static_cast<double>(cell_x) + draws.Between(0.0, 1.0)) * CELL;
    candidate.y = (static_cast<double>(cell_y) + draws.Between(0.0, 1.0)) * CELL;
    candidate.luck = draws.Between(0.0, 1.0);
    candidate.rank = draws.Next();
    return candidate;
}

// Of two candidates that would lie in each other only the higher in rank can grow, whatever becomes of it.
bool Specimen::Grows(Candidate const & candidate, long cell_x, long cell_y) const
{
    if (candidate.luck >= Occupancy(candidate.x, candidate.y)) {
        return false;
    }
    for (long y = cell_y - 1; y <= cell_y + 1; ++y) {
        for (long x = cell_x - 1; x <= cell_x + 1; ++x) {
            Candidate const other = CandidateOf(x, y);
            double const dx = other.x - candidate.x;
            double const dy = other.y - candidate.y;
            bool const in_the_way = dx * dx + dy * dy < CLOSEST * CLOSEST && other.rank > candidate.rank;
            if (in_the_way && other.luck < Occupancy(other.x, other.y)) {
                return false;
            }
        }
    }
    return true;
}

std::unique_ptr<Nucleus> Specimen::Make(long cell_x, long cell_y) const
{
    Candidate const candidate = CandidateOf(cell_x, cell_y);
    if (!Grows(candidate, cell_x, cell_y)) {
        return nullptr;
    }
    std::uint64_t const hash = candidate.rank;
    Draws draws(hash);
    auto nucleus = std::make_unique<Nucleus>();
    nucleus->cell_x = cell_x;
    nucleus->cell_y = cell_y;
    double const radius = draws.Between(4.5, 5.3);
    double const stretch = draws.Between(1.0, 1.25);
    nucleus->semi_axes = {radius * std::sqrt(stretch), radius / std::sqrt(stretch), draws.Between(1.6, 2.6)};
    double const turn = draws.Between(0.0, PI);
    double const lean = draws.Between(0.0, 0.3);
    nucleus->rotation = MakeRotation(turn, lean, draws.Between(0.0, 2.0 * PI));
    nucleus->centre.x = candidate.x;
    nucleus->centre.y = candidate.y;
    nucleus->centre.z = _focus.At(nucleus->centre.x, nucleus->centre.y) + draws.Between(-0.8, 0.8);
    nucleus->strength = draws.Between(0.65, 1.35);
    nucleus->grades = MakeGrades(MakeFineBlobs(*nucleus, hash));
    nucleus->spots = MakeSpots(*nucleus, _params.spot_kinds, hash);
    return nucleus;
}

} // namespace velm::sim
