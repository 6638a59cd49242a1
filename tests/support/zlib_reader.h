#ifndef TESTS_SUPPORT_ZLIB_READER_H
#define TESTS_SUPPORT_ZLIB_READER_H

#include <gtest/gtest.h>
#include <string>
#include <zlib.h>

namespace velm::test {

// What zlib makes of compressed data, all of which it must use. form: as zlib counts them, -15 for bare
// deflate blocks, 31 for a gzip member.
inline std::string InflatedByZlib(std::string packed, int form, std::size_t expected)
{
    std::string bytes(expected + 1, '\0');
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, form), Z_OK);
    stream.next_in = reinterpret_cast<unsigned char *>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<unsigned char *>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END) << (stream.msg != nullptr ? stream.msg : "");
    EXPECT_EQ(stream.avail_in, 0U);
    bytes.resize(stream.total_out);
    inflateEnd(&stream);
    return bytes;
}

// What zlib makes of deflate blocks none of which is final.
inline std::string BlocksInflatedByZlib(std::string const & packed, std::size_t expected)
{
    return InflatedByZlib(packed + std::string("\3\0", 2), -15, expected);
}

} // namespace velm::test

#endif
