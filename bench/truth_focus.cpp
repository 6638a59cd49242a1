#include "truth.h"
#include "truth_rig.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <random>
#include <vector>

namespace velm::bench {

namespace {

constexpr int starts = 200;
constexpr double farthest_start = 3.0; // microns from focus
constexpr double farthest_place = 20000.0;
constexpr double step = 1.0; // of the search, in microns
constexpr double half_a_step = 0.5 * step;

// Where a field is in focus: the mean height of the nuclei whose centres lie in it, each with the square of
// its strength, for that is what it adds to a sum of squared differences. Nothing for a blank field.
std::optional<double> FocusOf(sim::Specimen & specimen, sim::Area const & field)
{
    double weights = 0.0;
    double sum = 0.0;
    for (long y = sim::Specimen::CellOf(field.top); y <= sim::Specimen::CellOf(field.bottom); ++y) {
        for (long x = sim::Specimen::CellOf(field.left); x <= sim::Specimen::CellOf(field.right); ++x) {
            sim::Nucleus const * const nucleus = specimen.NucleusOf(x, y);
            if (nucleus != nullptr && field.Contains(nucleus->centre.x, nucleus->centre.y)) {
                double const weight = nucleus->strength * nucleus->strength;
                weights += weight;
                sum += weight * nucleus->centre.z;
            }
        }
    }
    specimen.Trim();
    return weights > 0.0 ? std::optional(sum / weights) : std::nullopt;
}

// What the whole sensor sees around a place, under the objective of the start.
sim::Area FieldAround(sim::SimConfig const & config, double x, double y)
{
    double const magnification = config.objectives.front().magnification;
    double const half_x = 0.5 * config.camera.width * config.pixel_x_nm / magnification / 1000.0;
    double const half_y = 0.5 * config.camera.height * config.pixel_y_nm / magnification / 1000.0;
    return {x - half_x, y - half_y, x + half_x, y + half_y};
}

// How far from focus a search began and ended, in microns.
struct Outcome {
    double start_error;
    double error;

    double Loss() const { return error - start_error; }
};

Outcome Search(Rig & rig, double x, double y, double focus, double distance)
{
    rig.GoTo(x, y, focus + distance);
    double const start_error = std::abs(rig.GetZ() - focus);
    VELM_Channel channel = rig.ChannelOf(0);
    rig.Base().AutoFocus(&rig.Database(), channel, VELM_AutoFocusParams(), nullptr);
    rig.Base().Camera_SetDefaultSetting(); // before the channel's goes
    return {start_error, std::abs(rig.GetZ() - focus)};
}

struct Outcomes {
    std::vector<Outcome> textured;
    std::vector<Outcome> blank;
};

// Searches at places all over the slide until so many textured fields were met.
Outcomes SearchAll(Rig & rig, unsigned long seed)
{
    sim::Specimen specimen(rig.Config().specimen);
    double const offset = rig.Config().markers.front().focus_offset_um;
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> place(-farthest_place, farthest_place);
    std::uniform_real_distribution<double> distance(-farthest_start, farthest_start);
    Outcomes outcomes;
    while (outcomes.textured.size() < starts) {
        double const x = place(random);
        double const y = place(random);
        std::optional<double> const height = FocusOf(specimen, FieldAround(rig.Config(), x, y));
        double const focus = height.value_or(specimen.Focus().At(x, y)) + offset;
        (height ? outcomes.textured : outcomes.blank).push_back(Search(rig, x, y, focus, distance(random)));
    }
    rig.CheckLog();
    return outcomes;
}

} // namespace

void ScoreFocus(unsigned long seed, Report & report)
{
    Rig rig(seed, "Binning=2\nExposure=40000\n");
    auto [textured, blank] = SearchAll(rig, seed);
    auto const is_good = [](Outcome const & outcome) { return outcome.error <= half_a_step; };
    auto const is_lost = [](Outcome const & outcome) { return outcome.Loss() > step; };
    auto const good = std::count_if(textured.begin(), textured.end(), is_good);
    double worst_loss = -farthest_start;
    for (Outcome const & outcome : textured) {
        worst_loss = std::max(worst_loss, outcome.Loss());
    }
    std::sort(textured.begin(), textured.end(),
              [](Outcome const & a, Outcome const & b) { return a.error < b.error; });
    report.Row("autofocus: share of 200 errors within half a step",
               static_cast<double>(good) / static_cast<double>(starts), "", AtLeast(0.95));
    report.Row("autofocus: worst loss against the start", worst_loss, "um", AtMost(step));
    report.Number("autofocus: median error", textured[textured.size() / 2].error, "um");
    report.Number("autofocus: largest error", textured.back().error, "um");
    report.Number("autofocus: blank fields, counted apart", static_cast<double>(blank.size()), "fields");
    report.Number("autofocus: of these, worse than the start by more than a step",
                  static_cast<double>(std::count_if(blank.begin(), blank.end(), is_lost)), "fields");
}

} // namespace velm::bench
