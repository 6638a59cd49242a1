// Image Cytometry Standard 2.0: a header of text lines, then the voxels, in one file. docs/formats/ics.md has
// the grammar.

#include "vexacore/exceptions.h"
#include "vexacore/file_io.h"
#include "vexacore/grey_file.h"
#include "vexacore/gzip_voxels.h"
#include "vexacore/length_unit.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa {

namespace {

constexpr bool machine_is_big_endian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
constexpr std::size_t largest_header = std::size_t{1} << 20;

// Deflate cannot pack more than this many bytes into one.
constexpr std::uint64_t largest_deflate_ratio = 1032;

// Lines of the category "history", which other programs show, hold what the format has no place for.
constexpr std::string_view channel_key = "channel";
constexpr std::string_view acquired_key = "acquired";

struct IcsHeader {
    Vector3d<unsigned int> size;
    Vector3d<float> offset;
    Resolution resolution;
    unsigned int bytes_per_voxel = 0;
    bool compressed = false;
    bool big_endian = machine_is_big_endian;
    ImageNotes notes;
    std::size_t length = 0; // bytes up to the first one of the voxels
};

std::vector<std::string_view> Split(std::string_view line, char separator)
{
    std::vector<std::string_view> words;
    for (std::size_t begin = 0; begin <= line.size();) {
        std::size_t const end = std::min(line.find(separator, begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

template <typename Number>
bool ParseNumber(std::string_view text, Number & number)
{
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// The lines of a header, gathered before any is believed; then made into an image's description.
class HeaderParser {
  public:
    HeaderParser(InputFile const & file, std::string_view text) : _file(file), _text(text) {}

    IcsHeader Parse()
    {
        ReadSeparators();
        bool ended = false;
        while (!ended) {
            std::size_t const end = _text.find(_line_separator, _position);
            if (end == std::string_view::npos) {
                _file.Reject("the header has no end");
            }
            std::string_view line = _text.substr(_position, end - _position);
            _position = end + 1;
            if (!line.empty() && line.back() == '\r') {
                line.remove_suffix(1);
            }
            ended = ReadLine(Split(line, _field_separator));
        }
        IcsHeader header;
        header.length = _position;
        FillLayout(header);
        FillRepresentation(header);
        FillGeometry(header);
        header.notes = {std::string(_channel), std::string(_acquired)};
        return header;
    }

  private:
    using Words = std::vector<std::string_view>;

    // The first two characters of the file separate fields and lines.
    void ReadSeparators()
    {
        if (_text.size() < 2 || _text[0] == _text[1]) {
            _file.Reject("not an ICS file");
        }
        _field_separator = _text[0];
        _line_separator = _text[1];
        _position = 2;
        if (_text.size() > 2 && _text[1] == '\r' && _text[2] == '\n') {
            _line_separator = '\n';
            _position = 3;
        }
        constexpr std::string_view version = "ics_version";
        if (_text.substr(_position, version.size()) != version) {
            _file.Reject("not an ICS file");
        }
    }

    // True at the line that ends the header. Unknown lines are skipped.
    bool ReadLine(Words const & words)
    {
        if (words[0] == "end") {
            return true;
        }
        if (words[0] == "ics_version" && (words.size() != 2 || words[1] != "2.0")) {
            _file.Reject("only version 2.0 of ICS is supported");
        }
        if (words[0] == "source") {
            _file.Reject("the voxels are in another file");
        }
        if (words.size() < 3) {
            return false;
        }
        Words const values(words.begin() + 2, words.end());
        if (words[0] == "layout") {
            if (words[1] == "order") {
                _order = values;
            } else if (words[1] == "sizes") {
                _sizes = values;
            }
        } else if (words[0] == "representation") {
            if (words[1] == "format") {
                _format = values[0];
            } else if (words[1] == "sign") {
                _sign = values[0];
            } else if (words[1] == "compression") {
                _compression = values[0];
            } else if (words[1] == "byte_order") {
                _byte_order = values;
            }
        } else if (words[0] == "parameter") {
            if (words[1] == "origin") {
                _origin = values;
            } else if (words[1] == "scale") {
                _scale = values;
            } else if (words[1] == "units") {
                _units = values;
            }
        } else if (words[0] == "history") {
            if (words[1] == channel_key) {
                _channel = values[0];
            } else if (words[1] == acquired_key) {
                _acquired = values[0];
            }
        }
        return false;
    }

    // Finds which entry of the tables is x, which y and which z. Other dimensions may exist with size 1.
    void FillLayout(IcsHeader & header)
    {
        if (_order.empty() || _order.size() != _sizes.size() || _order[0] != "bits") {
            _file.Reject("the header gives no valid layout");
        }
        static constexpr std::string_view names[] = {"x", "y", "z"};
        header.size = {1, 1, 1};
        unsigned int found = 0;
        for (std::size_t i = 1; i < _order.size(); ++i) {
            unsigned int size = 0;
            if (!ParseNumber(_sizes[i], size) || size == 0) {
                _file.Reject("the header gives no valid sizes");
            }
            if (found < 3 && _order[i] == names[found]) {
                header.size[found] = size;
                _axis[found++] = i;
            } else if (size != 1) {
                _file.Reject("the image is not a stack in the order x, y, z");
            }
        }
        if (found < 2) {
            _file.Reject("the image is not a stack in the order x, y, z");
        }
        unsigned int bits = 0;
        if (!ParseNumber(_sizes[0], bits) || (bits != 8 && bits != 16)) {
            _file.Reject("only 8 and 16 bits per voxel are supported");
        }
        header.bytes_per_voxel = bits / 8;
    }

    void FillRepresentation(IcsHeader & header)
    {
        if (_format != "integer" || (!_sign.empty() && _sign != "unsigned")) {
            _file.Reject("only unsigned integer voxels are supported");
        }
        if (_compression != "uncompressed" && _compression != "gzip" && !_compression.empty()) {
            _file.Reject("unknown compression");
        }
        header.compressed = _compression == "gzip";
        if (header.bytes_per_voxel == 2 && !_byte_order.empty()) {
            bool const little = _byte_order == Words{"1", "2"};
            if (!little && _byte_order != Words{"2", "1"}) {
                _file.Reject("unknown byte order");
            }
            header.big_endian = !little;
        }
    }

    void FillGeometry(IcsHeader & header)
    {
        Vector3d<double> scale(0.0, 0.0, 1.0); // a single plane may go without a z axis
        for (unsigned int i = 0; i < 3; ++i) {
            double const microns = AxisUnit(i);
            if (_axis[i] == 0 || microns == 0.0) {
                scale[i] = _axis[i] == 0 ? scale[i] : 0.0;
                continue;
            }
            if (_axis[i] < _scale.size() && ParseNumber(_scale[_axis[i]], scale[i])) {
                scale[i] *= microns;
            } else {
                scale[i] = 0.0;
            }
            header.offset[i] = AxisOrigin(i, microns);
        }
        header.resolution = ResolutionFromScale(scale.x, scale.y, scale.z);
    }

    double AxisUnit(unsigned int i) const
    {
        return _axis[i] < _units.size() ? MicronsPerUnit(_units[_axis[i]]) : 1.0;
    }

    // Read as it is stored, so that no digit of a float is lost on the way through a wider type.
    float AxisOrigin(unsigned int i, double microns) const
    {
        float narrow = 0.0F;
        double wide = 0.0;
        if (_axis[i] >= _origin.size() || !ParseNumber(_origin[_axis[i]], wide) ||
            !ParseNumber(_origin[_axis[i]], narrow)) {
            return 0.0F;
        }
        float const result = microns == 1.0 ? narrow : static_cast<float>(wide * microns);
        return std::isfinite(result) ? result : 0.0F;
    }

    InputFile const & _file;
    std::string_view _text;
    std::size_t _position = 0;
    char _field_separator = 0;
    char _line_separator = 0;
    Words _order;
    Words _sizes;
    Words _byte_order;
    Words _origin;
    Words _scale;
    Words _units;
    std::string_view _format;
    std::string_view _sign;
    std::string_view _compression;
    std::string_view _channel;
    std::string_view _acquired;
    Vector3d<std::size_t> _axis; // place of x, y and z in the tables, 0 when the axis is missing
};

class IcsReader : public GreyReader {
  public:
    explicit IcsReader(char const * path) : _file(path)
    {
        ReadHeader();
        _header.size = _ics.size;
        _header.offset = _ics.offset;
        _header.resolution = _ics.resolution;
        _notes = _ics.notes;
        _bytes_per_voxel = _ics.bytes_per_voxel;
        std::uint64_t const stored = _file.GetSize() - _ics.length;
        std::uint64_t const most = !_ics.compressed ? stored
                                   : stored > UINT64_MAX / largest_deflate_ratio
                                       ? UINT64_MAX
                                       : stored * largest_deflate_ratio;
        if (!CountBytes(_header.size, _bytes_per_voxel, _bytes) || _bytes > most) {
            _file.Reject("the file holds fewer voxels than its header promises");
        }
    }

    void ReadVoxels(Box const & box, unsigned char * target) override
    {
        BoxSpans const spans(_header.size, box, _bytes_per_voxel);
        if (!_ics.compressed) {
            ReadPlain(spans, target);
        } else if (box.size == _header.size) {
            GzipReader(_file, _ics.length, _bytes).ReadAll(target);
        } else {
            GzipReader(_file, _ics.length, _bytes).ReadSpans(spans, target);
        }
        if (_bytes_per_voxel == 2 && _ics.big_endian != machine_is_big_endian) {
            SwapBytes(target, std::size_t{box.size.x} * box.size.y * box.size.z);
        }
    }

  private:
    // Only the header's few lines are wanted, so as much of the file is fetched as holds them.
    void ReadHeader()
    {
        std::string text;
        std::size_t end = std::string::npos;
        for (std::size_t length = 4096; end == std::string::npos; length *= 4) {
            bool const all = length >= _file.GetSize() || length >= largest_header;
            length =
                static_cast<std::size_t>(std::min<std::uint64_t>({_file.GetSize(), largest_header, length}));
            text.resize(length);
            _file.ReadAt(0, text.data(), length);
            end = FindEnd(text);
            if (all) {
                break;
            }
        }
        _ics = HeaderParser(_file, text).Parse();
    }

    // On all cores where it's much: handing out the memory costs more than copying.
    void ReadPlain(BoxSpans const & spans, unsigned char * target) const
    {
        constexpr std::uint64_t spans_at_once = 64;
        constexpr std::uint64_t bytes_at_once = std::uint64_t{1} << 21;
        std::uint64_t const length = spans.GetLength();
        std::uint64_t const pieces = (length - 1) / bytes_at_once + 1; // of one span
        bool const little = spans.GetCount() * length < bytes_at_once;
        std::uint64_t const spans_each = little ? spans.GetCount() : pieces > 1 ? 1 : spans_at_once;
        std::uint64_t const parts = (spans.GetCount() - 1) / spans_each + 1;
        ParallelFor(static_cast<std::size_t>(parts * pieces), [&](std::size_t item) {
            std::uint64_t const first = item / pieces * spans_each;
            if (pieces == 1) {
                ReadSpans(spans, first, std::min(first + spans_each, spans.GetCount()), target);
                return;
            }
            std::uint64_t const begin = item % pieces * bytes_at_once;
            _file.ReadAt(_ics.length + spans.GetStart(first) + begin, target + first * length + begin,
                         static_cast<std::size_t>(std::min(length - begin, bytes_at_once)));
        });
    }

    // Spans that lie close together are read with what is between them, as a system call takes as long as
    // copying that.
    void ReadSpans(BoxSpans const & spans, std::uint64_t first, std::uint64_t end,
                   unsigned char * target) const
    {
        constexpr std::uint64_t worth_a_call = 4096;
        constexpr std::size_t most_together = std::size_t{1} << 16;
        std::uint64_t const length = spans.GetLength();
        std::vector<unsigned char> together;
        while (first < end) {
            std::uint64_t const start = spans.GetStart(first);
            std::uint64_t stop = start + length;
            std::uint64_t next = first + 1;
            while (next < end && spans.GetStart(next) - stop < worth_a_call &&
                   spans.GetStart(next) + length - start <= most_together) {
                stop = spans.GetStart(next++) + length;
            }
            if (next == first + 1) {
                _file.ReadAt(_ics.length + start, target + first * length, static_cast<std::size_t>(length));
            } else {
                together.resize(most_together);
                _file.ReadAt(_ics.length + start, together.data(), static_cast<std::size_t>(stop - start));
                spans.Copy(together.data(), start, stop - start, target);
            }
            first = next;
        }
    }

    // Where the line "end" begins, of which all must be there. The reference library gives it an empty field.
    static std::size_t FindEnd(std::string const & text)
    {
        constexpr std::string_view line = "\nend";
        std::string const behind = {'\r', '\n', text.empty() ? '\n' : text.front()};
        std::size_t end = text.find(line);
        while (end != std::string::npos &&
               (text.find_first_of(behind, end + line.size()) != end + line.size() ||
                text.find('\n', end + line.size()) == std::string::npos)) {
            end = text.find(line, end + 1);
        }
        return end;
    }

    InputFile _file;
    IcsHeader _ics;
    std::uint64_t _bytes = 0; // of all voxels
};

// A text as a line of the header can hold it: short and free of separators, no character cut in two.
std::string TextForHeader(std::string_view text)
{
    constexpr std::size_t longest = 200;
    std::size_t length = std::min(text.size(), longest);
    while (length < text.size() && length > 0 && (text[length] & 0xc0) == 0x80) {
        --length;
    }
    std::string clean(text.substr(0, length));
    std::replace_if(
        clean.begin(), clean.end(), [](unsigned char c) { return c < ' '; }, '_');
    return clean;
}

// The name in the header is for people: without the directory and the ending.
std::string NameForHeader(std::string_view path)
{
    std::string_view const name = path.substr(path.find_last_of('/') + 1);
    std::string const clean = TextForHeader(name.substr(0, name.rfind('.')));
    return clean.empty() ? "image" : clean;
}

std::string NoteLine(std::string_view key, std::string const & text)
{
    return text.empty() ? "" : "\nhistory\t" + std::string(key) + '\t' + TextForHeader(text);
}

std::string MakeHeader(char const * path, GreyView const & image, bool compress)
{
    auto const & [size, offset, resolution] = image.header;
    bool const wide = image.bytes_per_voxel == 2;
    std::string const bits = wide ? "16" : "8";
    std::string text = "\t\nics_version\t2.0\nfilename\t" + NameForHeader(path);
    text += "\nlayout\tparameters\t4\nlayout\torder\tbits\tx\ty\tz\nlayout\tsizes\t" + bits;
    for (unsigned int i = 0; i < 3; ++i) {
        text += '\t' + std::to_string(size[i]);
    }
    text += "\nlayout\tcoordinates\tvideo\nlayout\tsignificant_bits\t" + bits;
    text +=
        "\nrepresentation\tformat\tinteger\nrepresentation\tsign\tunsigned\nrepresentation\tcompression\t";
    text += compress ? "gzip" : "uncompressed";
    text += "\nrepresentation\tbyte_order\t";
    text += !wide ? "1" : machine_is_big_endian ? "2\t1" : "1\t2";
    text += "\nparameter\torigin\t0";
    for (unsigned int i = 0; i < 3; ++i) {
        text += '\t' + NumberText(offset[i]);
    }
    if (HasScale(resolution)) {
        text += "\nparameter\tscale\t1";
        for (unsigned int i = 0; i < 3; ++i) {
            text += '\t' + NumberText(1.0 / double{resolution.GetRes()[i]});
        }
    }
    text += "\nparameter\tunits\trelative\tmicrometers\tmicrometers\tmicrometers";
    text += NoteLine(channel_key, image.notes.channel) + NoteLine(acquired_key, image.notes.acquired);
    return text + "\nend\n";
}

} // namespace

std::unique_ptr<GreyReader> OpenIcs(char const * path)
{
    return std::make_unique<IcsReader>(path);
}

void SaveIcs(char const * path, GreyView const & image, bool compress)
{
    OutputFile file(path);
    std::string const header = MakeHeader(path, image, compress);
    file.Write(header.data(), header.size());
    if (compress) {
        WriteGzip(file, image.voxels, image.GetByteCount());
    } else {
        file.Write(image.voxels, image.GetByteCount());
    }
    file.Commit();
}

} // namespace vexa
