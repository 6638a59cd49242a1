#ifndef SIM_HASH_H
#define SIM_HASH_H

#include <cstdint>

namespace velm::sim {

// Everything random in the simulation is a hash of what it belongs to, so that it doesn't depend on the order
// in which things are asked for.

// The finaliser of splitmix64: a bijection whose output bits all depend on all input bits.
constexpr std::uint64_t Mix(std::uint64_t value)
{
    value += 0x9E3779B97F4A7C15ull;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ull;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBull;
    return value ^ (value >> 31);
}

// Folds one more value into a hash.
constexpr std::uint64_t Join(std::uint64_t hash, std::uint64_t value)
{
    return Mix(hash + value * 0xD1342543DE82EF95ull);
}

template <typename... Rest>
constexpr std::uint64_t Join(std::uint64_t hash, std::uint64_t value, Rest... rest)
{
    return Join(Join(hash, value), static_cast<std::uint64_t>(rest)...);
}

// A signed coordinate as something to hash.
constexpr std::uint64_t Bits(long value)
{
    return static_cast<std::uint64_t>(value);
}

// A hash as a number from 0 up to but not including 1.
constexpr double Unit(std::uint64_t hash)
{
    return static_cast<double>(hash >> 11) * (1.0 / 9007199254740992.0);
}

// A sequence of numbers that belongs to one hash.
class Draws {
  public:
    explicit constexpr Draws(std::uint64_t hash) : _state(hash) {}

    constexpr std::uint64_t Next() { return _state = Mix(_state); }

    // From low up to but not including high.
    constexpr double Between(double low, double high) { return low + (high - low) * Unit(Next()); }

  private:
    std::uint64_t _state;
};

} // namespace velm::sim

#endif
