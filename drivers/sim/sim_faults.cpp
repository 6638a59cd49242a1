#include "sim_faults.h"

#include "sim_hash.h"

#include <algorithm>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace velm::sim {

namespace {

struct KindWord {
    char const * word;
    FaultKind kind;
};

constexpr KindWord KINDS[] = {{"throw", FaultKind::THROW}, {"hang", FaultKind::HANG},
                              {"early", FaultKind::EARLY}, {"short", FaultKind::SHORT},
                              {"drop", FaultKind::DROP},   {"corrupt", FaultKind::CORRUPT}};

// An operation and the faults that make sense in it, as the first letters of their words.
struct Operation {
    char const * name;
    char const * kinds;
};

// t throw, h hang, e early, s short, d drop, c corrupt
constexpr Operation OPERATIONS[] = {
    {"Camera.Init", "t"},
    {"Camera.StartFrameCapture", "thedc"},
    {"Camera.GetStatus", "th"},
    {"Camera.AbortAcquisition", "t"},
    {"ZDrive.Init", "t"},
    {"ZDrive.Move", "thes"},
    {"ZDrive.MoveRel", "thes"},
    {"ZDrive.ReadPos", "t"},
    {"ZDrive.IsMoving", "th"},
    {"Stage.Init", "t"},
    {"Stage.Move", "thes"},
    {"Stage.MoveRel", "thes"},
    {"Stage.ReadPos", "t"},
    {"Stage.IsMoving", "th"},
    {"Shutter.Init", "t"},
    {"Shutter.Open", "the"},
    {"Shutter.Close", "the"},
    {"Shutter.IsOpened", "t"},
    {"Shutter.IsMoving", "th"},
    {"ExFilter.Init", "t"},
    {"ExFilter.Move", "thes"},
    {"ExFilter.ReadPos", "t"},
    {"ExFilter.IsMoving", "th"},
    {"EmFilter.Init", "t"},
    {"EmFilter.Move", "thes"},
    {"EmFilter.ReadPos", "t"},
    {"EmFilter.IsMoving", "th"},
    {"Body.Init", "t"},
    {"Body.SetLightPathToCamera", "t"},
};

// Reads a fault line word by word, and says what is wrong with it.
class LineReader {
  public:
    LineReader(std::string const & entry, std::string const & line) : _entry(entry), _line(line), _words(line)
    {
        _words.imbue(std::locale::classic());
    }

    [[noreturn]] void Fail(std::string const & why) const
    {
        throw std::invalid_argument("Error in the simulated microscope's entry '" + _entry + "' (" + _line +
                                    "): " + why);
    }

    std::string Word(char const * what)
    {
        std::string word;
        if (!(_words >> word)) {
            Fail(std::string(what) + " is missing");
        }
        return word;
    }

    double Number(char const * what, double low, double high)
    {
        double value = 0.0;
        if (!(_words >> value) || value < low || value > high) {
            Fail(std::string(what) + " is missing or out of range");
        }
        return value;
    }

    // A number, if one comes next.
    double OptionalNumber(double otherwise)
    {
        _words >> std::ws;
        int const next = _words.peek();
        bool const digit = next >= '0' && next <= '9';
        return digit ? Number("the amount", 0.0, 1.0e12) : otherwise;
    }

    void End()
    {
        std::string rest;
        if (_words >> rest) {
            Fail("'" + rest + "' is too much");
        }
    }

  private:
    std::string _entry;
    std::string _line;
    std::istringstream _words;
};

} // namespace

std::vector<std::string> FaultScript::Operations()
{
    std::vector<std::string> names;
    for (Operation const & operation : OPERATIONS) {
        names.emplace_back(operation.name);
    }
    return names;
}

void FaultScript::Add(std::string const & entry, std::string const & text)
{
    LineReader reader(entry, text);
    Line line;
    line.operation = reader.Word("the operation");
    auto const operation =
        std::find_if(std::begin(OPERATIONS), std::end(OPERATIONS),
                     [&](Operation const & known) { return line.operation == known.name; });
    if (operation == std::end(OPERATIONS)) {
        reader.Fail("there is no operation '" + line.operation + "'");
    }
    std::string const what = reader.Word("what goes wrong");
    auto const kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                   [&](KindWord const & known) { return what == known.word; });
    if (kind == std::end(KINDS)) {
        reader.Fail("there is no fault '" + what + "'");
    }
    if (std::string(operation->kinds).find(what[0]) == std::string::npos) {
        reader.Fail("the fault '" + what + "' doesn't go with " + line.operation);
    }
    line.kind = kind->kind;
    if (line.kind == FaultKind::SHORT) {
        line.amount = reader.Number("by how much it is short", -1.0e9, 1.0e9);
    } else if (line.kind == FaultKind::HANG) {
        line.amount = 1000.0 * reader.OptionalNumber(Fault::FOR_EVER / 1000.0);
    }
    std::string const when = reader.Word("when it strikes");
    if (when == "at") {
        line.at = static_cast<long>(reader.Number("the number of the call", 1.0, 1.0e15));
    } else if (when == "from") {
        line.from = static_cast<long>(reader.Number("the number of the call", 1.0, 1.0e15));
    } else if (when == "every") {
        line.every = static_cast<long>(reader.Number("the number of calls", 1.0, 1.0e15));
    } else if (when == "p") {
        line.chance = reader.Number("the chance", 0.0, 1.0);
    } else {
        reader.Fail("'" + when + "' is not at, from, every or p");
    }
    reader.End();
    line.number = _lines.size();
    _lines.push_back(line);
}

bool FaultScript::Strikes(Line const & line, long call) const
{
    return call == line.at || (line.from > 0 && call >= line.from) ||
           (line.every > 0 && call % line.every == 0) ||
           Unit(Join(_seed, line.number, Bits(call))) < line.chance;
}

std::optional<Fault> FaultScript::Call(std::string const & operation)
{
    if (_lines.empty()) {
        return std::nullopt;
    }
    long const call = ++_calls[operation];
    for (Line const & line : _lines) {
        if (line.operation == operation && Strikes(line, call)) {
            return Fault{line.kind, line.amount,
                         "Simulated fault in " + operation + ", call " + std::to_string(call)};
        }
    }
    return std::nullopt;
}

} // namespace velm::sim
