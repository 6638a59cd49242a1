#ifndef VEXACORE_LITTLE_ENDIAN_H
#define VEXACORE_LITTLE_ENDIAN_H

// Numbers as files hold them, the lowest byte first. Internal to the image libraries.

#include <cstdint>
#include <cstring>

namespace vexa {

inline std::uint32_t LoadLittle16(unsigned char const * source)
{
    return source[0] | std::uint32_t{source[1]} << 8;
}

inline std::uint32_t LoadLittle32(unsigned char const * source)
{
    return LoadLittle16(source) | LoadLittle16(source + 2) << 16;
}

inline std::uint64_t LoadLittle64(unsigned char const * source)
{
    std::uint64_t value;
    std::memcpy(&value, source, sizeof(value));
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? __builtin_bswap64(value) : value;
}

inline void StoreLittle16(unsigned char * target, std::uint64_t value)
{
    auto const low = static_cast<std::uint16_t>(value);
    std::uint16_t const stored = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? __builtin_bswap16(low) : low;
    std::memcpy(target, &stored, sizeof(stored));
}

inline void StoreLittle32(unsigned char * target, std::uint64_t value)
{
    StoreLittle16(target, value);
    StoreLittle16(target + 2, value >> 16);
}

inline void StoreLittle64(unsigned char * target, std::uint64_t value)
{
    std::uint64_t const stored = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? __builtin_bswap64(value) : value;
    std::memcpy(target, &stored, sizeof(stored));
}

} // namespace vexa

#endif
