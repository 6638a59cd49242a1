#ifndef SIM_FAULTS_H
#define SIM_FAULTS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velm::sim {

// What a device does wrong.
enum class FaultKind {
    THROW,  // the call fails with the device's error
    HANG,   // the device stays busy for a time
    EARLY,  // the device says that it is done while it is not
    SHORT,  // the device stops before it is there
    DROP,   // the frame never comes
    CORRUPT // the frame comes with rows of rubbish
};

// A fault that strikes in a call.
struct Fault {
    FaultKind kind;
    double amount;    // HANG: microseconds, FOR_EVER for no end; SHORT: units of position
    std::string text; // what to say about it

    static constexpr double FOR_EVER = 1.0e18;
};

// The faults that are scripted for the machine, one line of text each:
//
//   <device>.<operation> <what> [<amount>] <when>
//
// what: throw, hang [<milliseconds>], early, short <units>, drop or corrupt. when: "at <n>" for the n-th call
// of the operation, "from <n>" for that and all later ones, "every <n>" for each n-th, "p <chance>" for any
// call with that chance.
class FaultScript {
  public:
    explicit FaultScript(std::uint64_t seed = 1) : _seed(seed) {}

    // Adds a line; entry is where it stands, for the message. Throws std::invalid_argument with a sentence
    // that names the entry and says what is wrong with it.
    void Add(std::string const & entry, std::string const & line);

    // Counts a call of the operation and gives the fault that strikes in it, the first in order of the lines.
    std::optional<Fault> Call(std::string const & operation);

    // The operations that lines may name.
    static std::vector<std::string> Operations();

  private:
    struct Line {
        std::string operation;
        FaultKind kind;
        double amount = 0.0;
        long at = 0;    // the n-th call
        long from = 0;  // the n-th call and all later ones
        long every = 0; // each n-th call
        double chance = 0.0;
        std::uint64_t number = 0; // of the line, for its luck
    };

    bool Strikes(Line const & line, long call) const;

    std::uint64_t _seed;
    std::vector<Line> _lines;
    std::map<std::string, long> _calls;
};

} // namespace velm::sim

#endif
