#include "vexacore/gzip_voxels.h"

#include "vexacore/little_endian.h"
#include "vexacore/parallel.h"
#include "vexacore/pixel_deflate.h"
#include "vexacore/pixel_inflate.h"

#include <algorithm>
#include <array>
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <new>
#include <zlib.h>

namespace vexa {

namespace {

// The fixed parts of a gzip member (RFC 1952).
constexpr std::array<unsigned char, 10> member_header = {0x1f, 0x8b, 8, 4, 0, 0, 0, 0, 4, 255};
constexpr std::array<unsigned char, 2> final_block = {3, 0}; // holds nothing
constexpr std::size_t trailer_length = 8;                    // sum and length of the bytes
constexpr std::size_t extra_position = member_header.size() + 2;

// The extra field: an identifier of our own and the length of what follows it, which is the size of the
// blocks and for each its length and its sum.
constexpr std::array<unsigned char, 2> table_id = {'V', 'B'};
constexpr std::size_t subfield_header = 4;
constexpr std::size_t table_header = 4;
constexpr std::size_t table_entry = 8;
constexpr std::size_t most_blocks = (0xffff - subfield_header - table_header) / table_entry;

// What one call of a compressor takes. A block is one such unit; of large images, whose table would not hold
// them all, several.
constexpr std::uint64_t unit_bytes = 2 * PixelDeflater::largest_count;
constexpr std::uint64_t largest_block = std::uint64_t{1} << 31;

constexpr std::uint64_t mega = std::uint64_t{1} << 20;
constexpr std::uint64_t memory_of_unit = mega;
constexpr std::uint64_t most_memory_to_write = 48 * mega;
constexpr std::uint64_t most_memory_to_read = 8 * mega;

// Slots for so many items of work in order, each of which needs so much memory, that stay below a limit of it
// all.
std::size_t SlotsFor(std::size_t items, std::uint64_t memory_of_each, std::uint64_t limit)
{
    std::size_t const threads = GetThreadCount();
    return std::clamp<std::size_t>(limit / memory_of_each, 1, std::min(threads + threads / 2, items));
}

std::uint64_t DivideUp(std::uint64_t a, std::uint64_t b)
{
    return a / b + (a % b != 0 ? 1 : 0);
}

// The sum of two stretches that follow one another, from theirs.
std::uint32_t JoinSums(std::uint32_t first, std::uint32_t second, std::uint64_t second_bytes)
{
    return static_cast<std::uint32_t>(::crc32_combine(first, second, static_cast<z_off_t>(second_bytes)));
}

// One unit on its way from the voxels to the file.
class Unit {
  public:
    void Compress(unsigned char const * bytes, std::size_t count)
    {
        std::size_t const pixels = count / 2;
        _count = count;
        _sum = libdeflate_crc32(0, bytes, count);
        _length = pixels > 0 ? _deflater.Compress(bytes, pixels, _packed.get()) : 0;
        if (count % 2 != 0) { // 8-bit voxels of an odd number end with a stored block of one byte
            for (int const byte : {0, 1, 0, 0xfe, 0xff, int{bytes[count - 1]}}) {
                _packed[_length++] = static_cast<unsigned char>(byte);
            }
        }
    }

    std::size_t GetCount() const { return _count; }
    std::uint32_t GetSum() const { return _sum; }
    unsigned char const * GetPacked() const { return _packed.get(); }
    std::size_t GetLength() const { return _length; }

  private:
    PixelDeflater _deflater;
    std::unique_ptr<unsigned char[]> _packed{
        new unsigned char[PixelDeflater::GetRoom(PixelDeflater::largest_count)]};
    std::size_t _count = 0;
    std::uint32_t _sum = 0;
    std::size_t _length = 0;
};

// A member's header with the table of its blocks, which is filled as they are written.
class TableWriter {
  public:
    TableWriter(OutputFile & file, std::uint64_t bytes) : _file(file), _position(file.GetPosition())
    {
        std::uint64_t const units = DivideUp(bytes, unit_bytes);
        while (DivideUp(units, _units_per_block) > most_blocks) {
            _units_per_block *= 2;
        }
        if (_units_per_block * unit_bytes > largest_block) {
            file.Reject("the image is too large to be compressed");
        }
        std::size_t const blocks = DivideUp(units, _units_per_block);
        std::size_t const table_length = table_header + blocks * table_entry;
        _header.resize(extra_position + subfield_header + table_length);
        std::copy(member_header.begin(), member_header.end(), _header.begin());
        StoreLittle16(&_header[member_header.size()], subfield_header + table_length);
        std::copy(table_id.begin(), table_id.end(), &_header[extra_position]);
        StoreLittle16(&_header[extra_position + table_id.size()], table_length);
        StoreLittle32(GetTable(), _units_per_block * unit_bytes);
        file.Write(_header.data(), _header.size());
    }

    void Add(std::uint64_t unit, Unit const & made)
    {
        unsigned char * const entry = GetTable() + table_header + unit / _units_per_block * table_entry;
        StoreLittle32(entry, LoadLittle32(entry) + made.GetLength());
        StoreLittle32(entry + 4, JoinSums(LoadLittle32(entry + 4), made.GetSum(), made.GetCount()));
        _sum = JoinSums(_sum, made.GetSum(), made.GetCount());
        _bytes += made.GetCount();
    }

    // Writes what ends the member, and its header once more, now with the table.
    void Finish()
    {
        std::array<unsigned char, final_block.size() + trailer_length> end;
        std::copy(final_block.begin(), final_block.end(), end.begin());
        StoreLittle32(&end[final_block.size()], _sum);
        StoreLittle32(&end[final_block.size() + 4], _bytes & 0xffffffff);
        _file.Write(end.data(), end.size());
        _file.WriteAt(_position, _header.data(), _header.size());
    }

  private:
    unsigned char * GetTable() { return &_header[extra_position + subfield_header]; }

    OutputFile & _file;
    std::uint64_t _position;
    std::uint64_t _units_per_block = 1;
    std::vector<unsigned char> _header;
    std::uint32_t _sum = 0;
    std::uint64_t _bytes = 0;
};

constexpr char const * damaged = "the compressed voxels are damaged";

} // namespace

BoxSpans::BoxSpans(Vector3d<unsigned int> const & size, Box const & box, unsigned int bytes_per_voxel)
    : _row_step(std::uint64_t{size.x} * bytes_per_voxel), _plane_step(_row_step * size.y)
{
    _first = static_cast<std::uint64_t>(box.offset.x) * bytes_per_voxel +
             static_cast<std::uint64_t>(box.offset.y) * _row_step +
             static_cast<std::uint64_t>(box.offset.z) * _plane_step;
    _length = std::uint64_t{box.size.x} * bytes_per_voxel;
    if (box.size.x != size.x) {
        _rows = box.size.y;
        _planes = box.size.z;
    } else if (box.size.y != size.y) {
        _length *= box.size.y;
        _planes = box.size.z;
    } else {
        _length *= std::uint64_t{box.size.y} * box.size.z;
    }
}

std::uint64_t BoxSpans::FindBehind(std::uint64_t position) const
{
    std::uint64_t low = 0;
    std::uint64_t high = GetCount();
    while (low < high) {
        std::uint64_t const middle = low + (high - low) / 2;
        if (GetStart(middle) + _length > position) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return low;
}

void BoxSpans::Copy(unsigned char const * source, std::uint64_t begin, std::uint64_t count,
                    unsigned char * target) const
{
    std::uint64_t const end = begin + count;
    for (std::uint64_t span = FindBehind(begin); span < GetCount() && GetStart(span) < end; ++span) {
        std::uint64_t const start = GetStart(span);
        std::uint64_t const from = std::max(start, begin);
        std::uint64_t const to = std::min(start + _length, end);
        std::copy(source + (from - begin), source + (to - begin), target + (span * _length + from - start));
    }
}

void WriteGzip(OutputFile & file, unsigned char const * bytes, std::uint64_t count)
{
    TableWriter table(file, count);
    OrderedWork work;
    work.count = DivideUp(count, unit_bytes);
    work.slots = SlotsFor(work.count, memory_of_unit, most_memory_to_write);
    std::vector<Unit> units(work.slots);
    work.make = [&](std::size_t unit, std::size_t slot) {
        std::uint64_t const begin = unit * unit_bytes;
        units[slot].Compress(bytes + begin, static_cast<std::size_t>(std::min(count - begin, unit_bytes)));
    };
    work.take = [&](std::size_t unit, std::size_t slot) {
        file.Write(units[slot].GetPacked(), units[slot].GetLength());
        table.Add(unit, units[slot]);
    };
    RunInOrder(work);
    table.Finish();
}

// Inflates deflate data from its beginning, piece by piece, within bounded memory.
class GzipReader::Stream {
  public:
    enum class Form { MEMBER, BLOCKS }; // with a member's header and trailer, or neither

    Stream(InputFile const & file, std::uint64_t position, Form form)
        : _file(file), _position(position), _form(form), _state(new inflate_state), _input(buffer_bytes),
          _scratch(buffer_bytes)
    {
        isal_inflate_init(_state.get());
        _state->crc_flag = form == Form::MEMBER ? ISAL_GZIP : ISAL_DEFLATE;
    }

    void Read(unsigned char * target, std::uint64_t count)
    {
        while (count > 0) {
            std::uint32_t const got = Inflate(target, count);
            target += got;
            count -= got;
        }
    }

    void Skip(std::uint64_t count)
    {
        while (count > 0) {
            count -= Inflate(_scratch.data(), count);
        }
    }

    // Reads what of the spans lies among the next bytes, which are those from begin to end; returns how far
    // that was.
    std::uint64_t ReadSpans(BoxSpans const & spans, std::uint64_t begin, std::uint64_t end,
                            unsigned char * target)
    {
        std::uint64_t position = begin;
        for (std::uint64_t span = spans.FindBehind(begin); span < spans.GetCount(); ++span) {
            std::uint64_t const start = spans.GetStart(span);
            std::uint64_t const from = std::max(start, begin);
            std::uint64_t const to = std::min(start + spans.GetLength(), end);
            if (from >= to) {
                break;
            }
            Skip(from - position);
            Read(target + (span * spans.GetLength() + from - start), to - from);
            position = to;
        }
        return position;
    }

    // Of the bytes so far; of a member's only its own trailer tells.
    std::uint32_t GetSum() const { return _sum; }

    // Reads to the end of the member, which holds nothing more, and checks its sum and its length.
    void Finish()
    {
        while (_state->block_state != ISAL_BLOCK_FINISH) {
            if (Step(_scratch.data(), 1) > 0) {
                _file.Reject(damaged);
            }
        }
    }

  private:
    static constexpr std::size_t buffer_bytes = std::size_t{1} << 18;

    // At least one byte, at most count.
    std::uint32_t Inflate(unsigned char * target, std::uint64_t count)
    {
        std::uint32_t got = 0;
        while (got == 0) {
            if (_state->block_state == ISAL_BLOCK_FINISH) {
                _file.Reject(damaged);
            }
            got = Step(target, static_cast<std::uint32_t>(std::min<std::uint64_t>(count, buffer_bytes)));
        }
        return got;
    }

    std::uint32_t Step(unsigned char * target, std::uint32_t count)
    {
        if (_state->avail_in == 0) {
            Refill();
        }
        std::uint32_t const available = _state->avail_in;
        _state->next_out = target;
        _state->avail_out = count;
        int const status = isal_inflate(_state.get());
        std::uint32_t const got = count - _state->avail_out;
        bool const stuck = got == 0 && _state->avail_in == available;
        if (status < 0 || (stuck && _state->block_state != ISAL_BLOCK_FINISH)) {
            _file.Reject(damaged);
        }
        if (_form == Form::BLOCKS) {
            _sum = libdeflate_crc32(_sum, target, got);
        }
        return got;
    }

    void Refill()
    {
        std::uint64_t const left = _file.GetSize() - _position;
        if (left == 0) {
            _file.Reject("the file ends too early");
        }
        auto const piece = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, buffer_bytes));
        _file.ReadAt(_position, _input.data(), piece);
        _position += piece;
        _state->next_in = _input.data();
        _state->avail_in = piece;
    }

    InputFile const & _file;
    std::uint64_t _position; // of the next byte to be fetched
    Form _form;
    std::uint32_t _sum = 0;
    std::unique_ptr<inflate_state> _state;
    std::vector<unsigned char> _input;
    std::vector<unsigned char> _scratch;
};

namespace {

// libdeflate's inflater, which takes any data that lie in memory as a whole.
class Inflater {
  public:
    Inflater() : _inflater(libdeflate_alloc_decompressor(), &libdeflate_free_decompressor)
    {
        if (_inflater == nullptr) {
            throw std::bad_alloc();
        }
    }

    libdeflate_decompressor * Get() { return _inflater.get(); }

  private:
    std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> _inflater;
};

} // namespace

// Inflates blocks that follow one another.
class GzipReader::BlockInflater {
  public:
    // Rejects the file when a block isn't what its table says.
    void Inflate(GzipReader const & reader, std::size_t first, std::size_t count, unsigned char * target)
    {
        Block const * const blocks = reader._blocks.data() + first;
        auto const length = static_cast<std::size_t>(blocks[count - 1].position + blocks[count - 1].length -
                                                     blocks->position);
        _packed.resize(length + PixelInflater::padding);
        reader._file.ReadAt(blocks->position, _packed.data(), length);
        _pieces.clear();
        for (std::size_t i = 0; i < count; ++i) {
            _pieces.push_back({_packed.data() + (blocks[i].position - blocks->position), blocks[i].length,
                               target + i * reader._block_bytes,
                               static_cast<std::size_t>(reader.GetBlockBytes(first + i))});
        }
        _inflater.Inflate(_pieces);
        for (std::size_t i = 0; i < count; ++i) {
            if ((!_pieces[i].whole && !InflateAnyhow(_pieces[i])) ||
                libdeflate_crc32(0, _pieces[i].target, _pieces[i].count) != blocks[i].sum) {
                reader._file.Reject(damaged);
            }
        }
    }

  private:
    // By libdeflate, for a table may lead to blocks that somebody else has written.
    static bool InflateAnyhow(PixelInflater::Piece const & piece)
    {
        // Only the member's last block is marked as such, so one that holds nothing follows.
        std::vector<unsigned char> packed(piece.packed, piece.packed + piece.length);
        packed.insert(packed.end(), final_block.begin(), final_block.end());
        std::size_t used = 0;
        std::size_t made = 0;
        libdeflate_result const result = libdeflate_deflate_decompress_ex(
            Inflater().Get(), packed.data(), packed.size(), piece.target, piece.count, &used, &made);
        return result == LIBDEFLATE_SUCCESS && used == packed.size() && made == piece.count;
    }

    PixelInflater _inflater;
    std::vector<PixelInflater::Piece> _pieces;
    std::vector<unsigned char> _packed;
};

GzipReader::GzipReader(InputFile const & file, std::uint64_t position, std::uint64_t bytes)
    : _file(file), _position(position), _bytes(bytes)
{
    std::array<unsigned char, extra_position + subfield_header> start;
    std::uint64_t const left = _file.GetSize() - _position;
    if (left < start.size()) {
        return;
    }
    _file.ReadAt(_position, start.data(), start.size());
    std::size_t const length = LoadLittle16(&start[member_header.size()]);
    constexpr std::size_t same = 4; // bytes of the header that no member with a table has otherwise
    if (std::equal(member_header.begin(), member_header.begin() + same, start.begin()) &&
        std::equal(table_id.begin(), table_id.end(), start.begin() + extra_position)) {
        _suspicious = left < extra_position + length || !ReadTable(length);
        _blocks.resize(_suspicious ? 0 : _blocks.size());
    }
}

// False when the extra field is no table of the blocks of this member.
bool GzipReader::ReadTable(std::size_t extra_length)
{
    std::vector<unsigned char> extra(extra_length);
    _file.ReadAt(_position + extra_position, extra.data(), extra_length);
    if (extra_length < subfield_header + table_header ||
        LoadLittle16(&extra[table_id.size()]) != extra_length - subfield_header) {
        return false;
    }
    unsigned char const * entry = &extra[subfield_header];
    std::size_t const entries_length = extra_length - subfield_header - table_header;
    _block_bytes = LoadLittle32(entry);
    if (_block_bytes == 0 || entries_length % table_entry != 0 ||
        entries_length / table_entry != DivideUp(_bytes, _block_bytes)) {
        return false;
    }
    entry += table_header;
    std::uint64_t position = _position + extra_position + extra_length;
    std::uint32_t sum = 0;
    _blocks.resize(entries_length / table_entry);
    for (std::size_t i = 0; i < _blocks.size(); ++i, entry += table_entry) {
        _blocks[i] = {position, LoadLittle32(entry), LoadLittle32(entry + 4)};
        position += _blocks[i].length;
        sum = JoinSums(sum, _blocks[i].sum, GetBlockBytes(i));
    }
    return EndsMember(position, sum);
}

// Whether what ends a member of that sum, and of as many bytes as this, is at the position.
bool GzipReader::EndsMember(std::uint64_t position, std::uint32_t sum) const
{
    std::array<unsigned char, final_block.size() + trailer_length> end;
    if (position > _file.GetSize() || _file.GetSize() - position < end.size()) {
        return false;
    }
    _file.ReadAt(position, end.data(), end.size());
    return std::equal(final_block.begin(), final_block.end(), end.begin()) &&
           LoadLittle32(&end[final_block.size()]) == sum &&
           LoadLittle32(&end[final_block.size() + 4]) == (_bytes & 0xffffffff);
}

std::uint64_t GzipReader::GetBlockBytes(std::size_t block) const
{
    return std::min(_block_bytes, _bytes - block * _block_bytes);
}

void GzipReader::ReadAll(unsigned char * target) const
{
    if (_blocks.empty()) {
        InflateAll(target);
        return;
    }
    // Each block is checked by its sum, and these together make up the member's. A thread takes as many at a
    // time as fill a large page: two threads that touched a fresh one together would both clear it.
    constexpr std::uint64_t large_page = 2 * mega;
    auto const at_once = static_cast<std::size_t>(std::max<std::uint64_t>(large_page / _block_bytes, 1));
    OrderedWork work;
    work.count = static_cast<std::size_t>(DivideUp(_blocks.size(), at_once));
    work.slots = SlotsFor(work.count, at_once * _block_bytes, most_memory_to_read);
    std::vector<BlockInflater> inflaters(work.slots);
    work.make = [&](std::size_t item, std::size_t slot) {
        std::size_t const first = item * at_once;
        inflaters[slot].Inflate(*this, first, std::min(at_once, _blocks.size() - first),
                                target + first * _block_bytes);
    };
    work.take = [](std::size_t, std::size_t) {};
    RunInOrder(work);
}

void GzipReader::InflateAll(unsigned char * target) const
{
    Stream stream(_file, _position, Stream::Form::MEMBER);
    stream.Read(target, _bytes);
    stream.Finish();
}

void GzipReader::ReadSpans(BoxSpans const & spans, unsigned char * target) const
{
    if (!_blocks.empty()) {
        ReadSpansOfBlocks(spans, target);
        return;
    }
    Stream stream(_file, _position, Stream::Form::MEMBER);
    std::uint64_t const position = stream.ReadSpans(spans, 0, _bytes, target);
    if (_suspicious) { // it may be damaged anywhere, so all of it is checked
        stream.Skip(_bytes - position);
        stream.Finish();
    }
}

void GzipReader::ReadSpansOfBlocks(BoxSpans const & spans, unsigned char * target) const
{
    std::uint64_t const last = spans.GetStart(spans.GetCount() - 1) + spans.GetLength() - 1;
    auto const first_block = static_cast<std::size_t>(spans.GetStart(0) / _block_bytes);
    bool const large = 2 * _block_bytes > most_memory_to_read;
    OrderedWork work;
    work.count = static_cast<std::size_t>(last / _block_bytes) + 1 - first_block;
    work.slots = SlotsFor(work.count, 2 * std::min(_block_bytes, most_memory_to_read), most_memory_to_read);
    std::vector<BlockInflater> inflaters(work.slots);
    std::vector<std::vector<unsigned char>> inflated(work.slots);
    work.make = [&](std::size_t item, std::size_t slot) {
        std::size_t const block = first_block + item;
        std::uint64_t const begin = block * _block_bytes;
        std::uint64_t const count = GetBlockBytes(block);
        std::uint64_t const span = spans.FindBehind(begin);
        if (span == spans.GetCount() || spans.GetStart(span) >= begin + count) {
            return;
        }
        if (large) {
            StreamBlock(block, spans, target);
            return;
        }
        inflated[slot].resize(static_cast<std::size_t>(count));
        inflaters[slot].Inflate(*this, block, 1, inflated[slot].data());
        spans.Copy(inflated[slot].data(), begin, count, target);
    };
    work.take = [](std::size_t, std::size_t) {};
    RunInOrder(work);
}

// Reads what of the spans lies in a block that is too large to be kept.
void GzipReader::StreamBlock(std::size_t block, BoxSpans const & spans, unsigned char * target) const
{
    std::uint64_t const begin = block * _block_bytes;
    std::uint64_t const end = begin + GetBlockBytes(block);
    Stream stream(_file, _blocks[block].position, Stream::Form::BLOCKS);
    stream.Skip(end - stream.ReadSpans(spans, begin, end, target));
    if (stream.GetSum() != _blocks[block].sum) {
        _file.Reject(damaged);
    }
}

} // namespace vexa
