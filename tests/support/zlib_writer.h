#ifndef TESTS_SUPPORT_ZLIB_WRITER_H
#define TESTS_SUPPORT_ZLIB_WRITER_H

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <zlib.h>

namespace velm::test {

// Bare deflate blocks that zlib makes of the bytes. flush: Z_SYNC_FLUSH or Z_FULL_FLUSH, which end on a whole
// byte and make no final block, or Z_FINISH.
inline std::string DeflatedByZlib(std::string bytes, int level, int strategy, int flush)
{
    constexpr int bare = -15;
    constexpr int most_memory = 9;
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, bare, most_memory, strategy), Z_OK);
    constexpr std::size_t room_to_flush = 64;
    std::string packed(deflateBound(&stream, static_cast<uLong>(bytes.size())) + room_to_flush, '\0');
    stream.next_in = reinterpret_cast<unsigned char *>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<unsigned char *>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&stream, flush), flush == Z_FINISH ? Z_STREAM_END : Z_OK);
    EXPECT_GT(stream.avail_out, 0U) << "not all of it";
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

} // namespace velm::test

#endif
