#include "sim_truth.h"

#include "sim/sim_rig.h"
#include "support/temp_directory.h"

#include <cstdlib>

namespace velm::sim::test {

using velm::test::TempDirectory;

// All numbers under a key, in order.
std::vector<double> Numbers(std::string const & text, std::string const & key)
{
    std::vector<double> numbers;
    std::string const quoted = "\"" + key + "\": ";
    for (std::size_t at = text.find(quoted); at != std::string::npos; at = text.find(quoted, at + 1)) {
        numbers.push_back(std::strtod(text.c_str() + at + quoted.size(), nullptr));
    }
    return numbers;
}

TEST(SimTruth, ListsTheNucleiOfTheAreaAndNoOther)
{
    TempDirectory dir;
    Machine machine(QuietConfig());
    ASSERT_TRUE(WriteTruth(machine, (dir / "truth.json").utf8_string(), {0.0, 0.0, 300.0, 200.0}));
    std::string const text = dir.Read("truth.json");
    std::size_t const count = machine.WithSlide([](Specimen & specimen, Fading const &) {
        std::size_t inside = 0;
        for (long y = -1; y < 30; ++y) {
            for (long x = -1; x < 30; ++x) {
                Nucleus const * const nucleus = specimen.NucleusOf(x, y);
                inside += nucleus != nullptr &&
                                  Area{0.0, 0.0, 300.0, 200.0}.Contains(nucleus->centre.x, nucleus->centre.y)
                              ? 1u
                              : 0u;
            }
        }
        return inside;
    });
    EXPECT_GT(count, 10u);
    EXPECT_EQ(Numbers(text, "semi_major").size(), count);
}

TEST(SimTruth, TheTruthOfARunHoldsThePlacesThatWereLit)
{
    TempDirectory dir;
    Machine machine(QuietConfig());
    wxString const path = dir / "truth.json";
    ASSERT_TRUE(WriteTruthOfLitCells(machine, path.utf8_string()));
    EXPECT_TRUE(Numbers(dir.Read("truth.json"), "semi_major").empty());
    Place const place = SomeNucleus(machine);
    TakeNucleus(machine);
    ASSERT_TRUE(WriteTruthOfLitCells(machine, path.utf8_string()));
    std::string const text = dir.Read("truth.json");
    std::vector<double> const cells = Numbers(text, "cell_x");
    ASSERT_FALSE(cells.empty());
    for (double const cell : cells) {
        EXPECT_NEAR((cell + 0.5) * Specimen::CELL, place.x, 32.0);
    }
    EXPECT_EQ(Numbers(text, "seed"), (std::vector<double>{1.0}));
}

TEST(SimTruth, TellsFocusVignettingAndChromaticTerms)
{
    TempDirectory dir;
    SimConfig config = QuietConfig();
    config.vignetting.strength = 0.35;
    config.markers[1].shift_x_um = 0.45;
    config.markers[1].focus_offset_um = -0.6;
    Machine machine(config);
    ASSERT_TRUE(WriteTruth(machine, (dir / "truth.json").utf8_string(), {0.0, 0.0, 1.0, 1.0}));
    std::string const text = dir.Read("truth.json");
    EXPECT_EQ(Numbers(text, "shift_x_um"), (std::vector<double>{0.0, 0.45}));
    EXPECT_EQ(Numbers(text, "focus_offset_um"), (std::vector<double>{0.0, -0.6}));
    EXPECT_EQ(Numbers(text, "height")[1], 500.0);
    EXPECT_EQ(Numbers(text, "amplitude").size(), 3u);
    EXPECT_NE(text.find("\"strength\": 0.35"), std::string::npos);
    EXPECT_NE(text.find("\"name\": \"Green\""), std::string::npos);
}

TEST(SimTruth, AFileThatCannotBeWrittenIsTold)
{
    Machine machine(QuietConfig());
    EXPECT_FALSE(WriteTruth(machine, "/no/such/directory/truth.json", {0.0, 0.0, 1.0, 1.0}));
}

TEST(SimTruth, TheExportedFunctionsSpeakOfTheMachineLastNamed)
{
    TempDirectory dir;
    std::string const path = (dir / "truth.json").utf8_string();
    SimConfig config = QuietConfig();
    Machine first(config);
    config.seed = 5;
    Machine second(config);
    EXPECT_EQ(velm_sim_write_truth(path.c_str(), 0.0, 0.0, 1.0, 1.0), -1);
    SetCurrentMachine(first);
    SetCurrentMachine(second);
    ForgetMachine(first);
    EXPECT_EQ(velm_sim_write_truth(path.c_str(), 0.0, 0.0, 1.0, 1.0), 0);
    EXPECT_EQ(Numbers(dir.Read("truth.json"), "seed"), (std::vector<double>{5.0}));
    ForgetMachine(second);
    EXPECT_EQ(velm_sim_last_mean(nullptr, 0, nullptr), 0u);
}

} // namespace velm::sim::test
