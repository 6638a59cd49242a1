#ifndef FUZZ_BYTES_H
#define FUZZ_BYTES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velm::fuzz {

// Takes values off the fuzzer's bytes; zeros when they are used up.
class Bytes {
  public:
    Bytes(std::uint8_t const * data, std::size_t size) : _data(data), _size(size) {}

    template <typename T>
    T Take()
    {
        T value{};
        std::size_t const count = std::min(sizeof value, _size);
        std::memcpy(&value, _data, count);
        _data += count;
        _size -= count;
        return value;
    }

  protected:
    std::uint8_t const * _data;
    std::size_t _size;
};

} // namespace velm::fuzz

#endif
