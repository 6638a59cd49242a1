#ifndef VEXACORE_GZIP_VOXELS_H
#define VEXACORE_GZIP_VOXELS_H

// How voxels are written as one gzip member and read from one. Internal to the image libraries.
//
// The members that are written here consist of blocks that can be read and checked without the ones before;
// docs/formats/ics.md has the form of their table. Any other program takes them for ordinary members, and any
// other program's members are read here, too.

#include "vexacore/file_io.h"
#include "vexacore/geometry.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace vexa {

// The runs of a box that are contiguous among the voxels of its image: rows, or planes, or all of it, all of
// the same length and in ascending order. Positions and lengths are in bytes.
class BoxSpans {
  public:
    // The box lies inside an image of that size and is not empty.
    BoxSpans(Vector3d<unsigned int> const & size, Box const & box, unsigned int bytes_per_voxel);

    std::uint64_t GetCount() const { return _rows * _planes; }
    std::uint64_t GetLength() const { return _length; }
    std::uint64_t GetStart(std::uint64_t span) const
    {
        return _first + span / _rows * _plane_step + span % _rows * _row_step;
    }

    // The first span that ends behind the position; GetCount() when none does.
    std::uint64_t FindBehind(std::uint64_t position) const;

    // Copies what of the spans lies among the bytes from begin on to its place in target, which holds the
    // spans one behind the other.
    void Copy(unsigned char const * source, std::uint64_t begin, std::uint64_t count,
              unsigned char * target) const;

  private:
    std::uint64_t _first;
    std::uint64_t _length;
    std::uint64_t _rows = 1; // spans in a plane
    std::uint64_t _planes = 1;
    std::uint64_t _row_step;
    std::uint64_t _plane_step;
};

// Writes the bytes as one gzip member, compressed on all cores. Needs about 1.5 MB for each of them and never
// more than 50 MB. The same bytes give the same member, whatever the number of threads. Throws IOException.
void WriteGzip(OutputFile & file, unsigned char const * bytes, std::uint64_t count);

// The gzip member that begins at a position of a file. Its operations throw IOException.
class GzipReader {
  public:
    // bytes: what the member holds uncompressed. The file stays open as long as the reader is used.
    GzipReader(InputFile const & file, std::uint64_t position, std::uint64_t bytes);

    // Reads everything and checks all sums and lengths; bytes behind the member do no harm.
    void ReadAll(unsigned char * target) const;

    // Reads the spans one behind the other. Of a member of blocks only those are read that hold some of the
    // spans, and they are checked; any other member is read up to the last span.
    void ReadSpans(BoxSpans const & spans, unsigned char * target) const;

  private:
    struct Block {
        std::uint64_t position; // in the file
        std::uint32_t length;   // in the file
        std::uint32_t sum;      // CRC-32 of its bytes when uncompressed
    };
    class Stream;
    class BlockInflater;

    bool ReadTable(std::size_t extra_length);
    bool EndsMember(std::uint64_t position, std::uint32_t sum) const;
    std::uint64_t GetBlockBytes(std::size_t block) const;
    void InflateAll(unsigned char * target) const;
    void ReadSpansOfBlocks(BoxSpans const & spans, unsigned char * target) const;
    void StreamBlock(std::size_t block, BoxSpans const & spans, unsigned char * target) const;

    InputFile const & _file;
    std::uint64_t _position;
    std::uint64_t _bytes;
    std::uint64_t _block_bytes = 0; // of every block but the last when uncompressed
    std::vector<Block> _blocks;     // empty when the member isn't known to consist of blocks
    bool _suspicious = false;       // has a table of blocks, but one that doesn't fit
};

} // namespace vexa

#endif
