#include "velm_coords.h"

#include "velm_log_macros.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <wx/filefn.h>

namespace velm {

template class VELM_List<VELM_Coord>;

namespace {

// The names of the types, by value. Each is one word: a blank ends it in the file.
constexpr std::array<char const *, 5> TYPE_NAMES = {"Unknown", "User-defined", "Auto-generated",
                                                    "Tarn-import", "Crop-generated"};

struct CloseFile {
    void operator()(FILE * file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

File OpenFile(wxString const & name, char const * mode)
{
    return File(std::fopen(name.fn_str(), mode));
}

// The whole content, or nothing when the file can't be read.
std::optional<std::string> ReadFile(wxString const & name)
{
    File const file = OpenFile(name, "r");
    if (!file) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 16384> block;
    for (std::size_t count = 0; (count = std::fread(block.data(), 1, block.size(), file.get())) > 0;) {
        content.append(block.data(), count);
    }
    return std::ferror(file.get()) == 0 ? std::optional(content) : std::nullopt;
}

// Takes a text apart by the rules of the C library's scanf: white space before a number or a word is skipped,
// a literal has to stand at once. Unlike it, a number that doesn't fit its type is no number.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : _rest(text) {}

    bool IsAtEnd() const { return _rest.empty(); }

    bool SkipSpace()
    {
        while (!_rest.empty() && std::isspace(static_cast<unsigned char>(_rest.front())) != 0) {
            _rest.remove_prefix(1);
        }
        return true;
    }

    bool Literal(char c)
    {
        if (_rest.empty() || _rest.front() != c) {
            return false;
        }
        _rest.remove_prefix(1);
        return true;
    }

    template <typename T>
    bool Number(T & value)
    {
        SkipSpace();
        // The conversion itself takes a minus sign only, and would take one behind the plus.
        if (_rest.size() > 1 && _rest[0] == '+' && _rest[1] != '-') {
            _rest.remove_prefix(1);
        }
        auto const [end, error] = std::from_chars(_rest.data(), _rest.data() + _rest.size(), value);
        if (error != std::errc()) {
            return false;
        }
        _rest.remove_prefix(static_cast<std::size_t>(end - _rest.data()));
        return true;
    }

    bool Word(std::string & word)
    {
        SkipSpace();
        std::size_t length = 0;
        while (length < _rest.size() && std::isspace(static_cast<unsigned char>(_rest[length])) == 0) {
            ++length;
        }
        word = _rest.substr(0, length);
        _rest.remove_prefix(length);
        return length > 0;
    }

  private:
    std::string_view _rest;
};

// One line of the file.
struct Record {
    static constexpr int NUM_FIELDS = 9;

    std::array<long, 4> place{}; // id, x, y, z
    std::array<int, 4> region{}; // x1, y1, x2, y2
    std::string type;

    // Reads "id [x y z] [x1 y1 x2 y2] type" and the white space behind it; the number of fields filled.
    int Read(Scanner & in)
    {
        int fields = 0;
        auto const number = [&](auto & value) { return in.Number(value) && ++fields > 0; };
        auto const open = [&] { return in.SkipSpace() && in.Literal('['); };

        bool const is_whole = number(place[0]) && open() && number(place[1]) && number(place[2]) &&
                              number(place[3]) && in.Literal(']') && open() && number(region[0]) &&
                              number(region[1]) && number(region[2]) && number(region[3]) &&
                              in.Literal(']') && in.Word(type);
        in.SkipSpace();
        return is_whole ? NUM_FIELDS : fields;
    }
};

} // namespace

void VELM_Coord::GetPosition(long & x, long & y, long & z) const
{
    x = _x;
    y = _y;
    z = _z;
}

void VELM_Coord::GetStagePosition(long & x, long & y) const
{
    x = _x;
    y = _y;
}

void VELM_Coord::SetStagePosition(long x, long y)
{
    _x = x;
    _y = y;
}

void VELM_Coord::GetCameraRegion(int & x1, int & y1, int & x2, int & y2) const
{
    x1 = _x1;
    y1 = _y1;
    x2 = _x2;
    y2 = _y2;
}

void VELM_Coord::SetCameraRegion(int x1, int y1, int x2, int y2)
{
    _x1 = x1;
    _y1 = y1;
    _x2 = x2;
    _y2 = y2;
}

bool VELM_Coord::IsFullFrame() const
{
    return _x1 == -1 && _y1 == -1 && _x2 == -1 && _y2 == -1;
}

wxString VELM_Coord::GetCameraRegionToString() const
{
    if (IsFullFrame()) {
        return "Full frame";
    }
    // In long, since a file may hold any int.
    return wxString::Format("%ld x %ld", long{_x2} - _x1 + 1, long{_y2} - _y1 + 1);
}

bool VELM_Coord::operator==(VELM_Coord const & other) const
{
    return (other._id == -1 || _id == other._id) && _x == other._x && _y == other._y && _z == other._z &&
           _x1 == other._x1 && _y1 == other._y1 && _x2 == other._x2 && _y2 == other._y2 &&
           _type == other._type;
}

wxString VELM_Coord::TypeToString(CoordType const & type)
{
    auto const index = static_cast<std::size_t>(type);
    return index < TYPE_NAMES.size() ? TYPE_NAMES[index] : TYPE_NAMES[UNKNOWN];
}

VELM_Coord::CoordType VELM_Coord::StringToType(wxString const & text)
{
    for (std::size_t i = 0; i < TYPE_NAMES.size(); ++i) {
        if (text == TYPE_NAMES[i]) {
            return static_cast<CoordType>(i);
        }
    }
    return UNKNOWN;
}

bool VELM_CoordList::Save(wxString const & file) const
{
    {
        wxLogNull const quiet; // a first save has nothing to rename
        wxRenameFile(file, wxString::Format("%s.old", file), true);
    }
    File out = OpenFile(file, "w");
    if (!out) {
        VELM_LOG_ERROR("Can't open file '%s'.", file);
        return false;
    }
    // By lines, so that a full disk shows at the line that it happens at.
    std::setvbuf(out.get(), nullptr, _IOLBF, BUFSIZ);

    unsigned long lines = 0;
    bool ok = true;
    for (VELM_Coord const & coord : _items) {
        long x = 0;
        long y = 0;
        long z = 0;
        coord.GetPosition(x, y, z);
        int x1 = 0;
        int y1 = 0;
        int x2 = 0;
        int y2 = 0;
        coord.GetCameraRegion(x1, y1, x2, y2);
        ok = std::fprintf(out.get(), "%ld [%ld %ld %ld] [%d %d %d %d] %s\n", coord.GetId(), x, y, z, x1, y1,
                          x2, y2, VELM_Coord::TypeToString(coord.GetType()).utf8_str().data()) >= 0;
        if (!ok) {
            break;
        }
        ++lines;
    }
    ok = std::fclose(out.release()) == 0 && ok;
    if (!ok) {
        VELM_LOG_ERROR("Saving file '%s' failed (%lu lines written)!", file, lines);
    }
    return ok;
}

bool VELM_CoordList::Load(wxString const & file)
{
    std::optional<std::string> const content = ReadFile(file);
    if (!content) {
        VELM_LOG_ERROR("Can't open file '%s'.", file);
        return false;
    }
    Clear();

    Scanner in(*content);
    in.SkipSpace();
    for (int line = 1; !in.IsAtEnd(); ++line) {
        Record record;
        int const fields = record.Read(in);
        if (fields < Record::NUM_FIELDS) {
            VELM_LOG_ERROR("Error reading file '%s', line %d, field %d", file, line, fields);
            return false;
        }
        auto const [id, x, y, z] = record.place;
        auto const [x1, y1, x2, y2] = record.region;
        VELM_Coord coord(-1, x, y, z, x1, y1, x2, y2,
                         VELM_Coord::StringToType(wxString::FromUTF8(record.type)));
        Add(coord);
    }
    return true;
}

bool VELM_CoordList::Exists(VELM_Coord const & coord) const
{
    return std::any_of(_items.begin(), _items.end(), [&](VELM_Coord const & item) { return item == coord; });
}

} // namespace velm
