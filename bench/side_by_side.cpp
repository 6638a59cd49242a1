#include "side_by_side.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace velm::bench {

namespace {

constexpr std::size_t least_rounds = 7;
constexpr std::size_t most_rounds = 300;
constexpr double enough_ms = 20000.0; // for one row, once the least number of rounds is done
constexpr double steady = 0.01;       // the uncertainty of a median, as a part of it

double Milliseconds(Table::Work const & work)
{
    auto const start = std::chrono::steady_clock::now();
    work();
    std::chrono::duration<double, std::milli> const span = std::chrono::steady_clock::now() - start;
    return span.count();
}

// What lies so far along the sorted times, from 0 to 1.
double Quantile(std::vector<double> times, double share)
{
    auto const at = times.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(times.size()));
    std::nth_element(times.begin(), at, times.end());
    return *at;
}

double Median(std::vector<double> const & times)
{
    return Quantile(times, 0.5);
}

// Whether more rounds would hardly move the median: the distance of the quartiles, over the root of the
// number of times, stands for its error, since other programs spoil the ends of the distribution only.
bool IsSteady(std::vector<double> const & times)
{
    double const spread = Quantile(times, 0.75) - Quantile(times, 0.25);
    return spread / std::sqrt(static_cast<double>(times.size())) < steady * Median(times);
}

// Runs the works in turn, so that what else the machine does meets all of them, until their medians are
// steady.
std::vector<double> MediansInTurn(std::vector<Table::Work const *> const & works)
{
    for (Table::Work const * const work : works) {
        (*work)(); // fills caches and makes files once
    }
    std::vector<std::vector<double>> times(works.size());
    double spent_ms = 0.0;
    auto const enough = [&] {
        std::size_t const rounds = times.front().size();
        return rounds >= least_rounds && (rounds >= most_rounds || spent_ms > enough_ms ||
                                          std::all_of(times.begin(), times.end(), IsSteady));
    };
    while (!enough()) {
        for (std::size_t i = 0; i < works.size(); ++i) {
            times[i].push_back(Milliseconds(*works[i]));
            spent_ms += times[i].back();
        }
    }
    std::vector<double> medians(times.size());
    std::transform(times.begin(), times.end(), medians.begin(), Median);
    return medians;
}

} // namespace

Table::Table(int argc, char ** argv)
{
    for (int i = 1; i < argc; ++i) {
        std::string const argument = argv[i];
        if (argument == "--csv") {
            _csv = true;
        } else if (_filter.empty() && argument.rfind("--", 0) != 0) {
            _filter = argument;
        } else {
            std::fprintf(stderr, "usage: %s [--csv] [part of a name]\n", argv[0]);
            std::exit(2);
        }
    }
}

bool Table::Wants(std::string const & name) const
{
    return name.find(_filter) != std::string::npos;
}

void Table::Row(std::string const & name, Goal goal, Work const & ours, Work const & baseline)
{
    if (Wants(name)) {
        std::vector<double> const medians = MediansInTurn({&ours, &baseline});
        Amounts(name, goal, medians[0], medians[1], "ms");
    }
}

void Table::Row(std::string const & name, Goal goal, Work const & ours, double baseline_ms)
{
    if (Wants(name)) {
        Amounts(name, goal, MediansInTurn({&ours})[0], baseline_ms, "ms");
    }
}

void Table::Amounts(std::string const & name, Goal goal, double ours, double baseline,
                    std::string const & unit)
{
    if (!Wants(name)) {
        return;
    }
    double const ratio = goal.at_most ? ours / baseline : baseline / ours;
    bool const reached = goal.at_most ? ratio <= goal.ratio : ratio >= goal.ratio;
    char const * const kind = goal.at_most ? "at most" : "at least";
    char const * const verdict = reached ? "ok" : "short";
    if (_csv) {
        std::printf("\"%s\",%.6g,%.6g,%s,%.4f,%s,%g,%s\n", name.c_str(), ours, baseline, unit.c_str(), ratio,
                    kind, goal.ratio, verdict);
    } else {
        std::printf("%-58s %10.3f %s   baseline %10.3f %s   ratio %7.2f   goal %-8s %6.2f   %s\n",
                    name.c_str(), ours, unit.c_str(), baseline, unit.c_str(), ratio, kind, goal.ratio,
                    verdict);
    }
    std::fflush(stdout);
}

} // namespace velm::bench
