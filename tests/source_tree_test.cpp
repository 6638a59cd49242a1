// The index of units in src/README.md tells the truth: every unit is in it once, and units use only their own
// layer and those before it.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path const source_root = VELM_SOURCE_ROOT "/src";

// The layer of each unit, as the index gives it; a unit listed twice is a failure.
std::map<std::string, int> ReadIndex()
{
    std::map<std::string, int> layers;
    std::ifstream in(source_root / "README.md");
    std::regex const unit("`((drivers/base/)?[a-z_]+)`");
    int layer = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("| ", 0) != 0) {
            continue;
        }
        std::size_t const second = line.find('|', 1);
        std::size_t const third = line.find('|', second + 1);
        std::string const first_cell = line.substr(1, second - 1);
        if (std::size_t const digit = first_cell.find_first_of("0123456789"); digit != std::string::npos) {
            layer = first_cell[digit] - '0';
        }
        std::string const units = line.substr(second + 1, third - second - 1);
        for (std::sregex_iterator match(units.begin(), units.end(), unit), end; match != end; ++match) {
            EXPECT_TRUE(layers.emplace((*match)[1], layer).second) << (*match)[1] << " is listed twice";
        }
    }
    return layers;
}

std::string Relative(fs::path const & file)
{
    return file.lexically_relative(source_root).generic_string();
}

// A file's unit: its path without the ending; a source that only continues its unit belongs to that.
std::string UnitOf(std::string const & file, std::map<std::string, int> const & index)
{
    std::string unit = file.substr(0, file.rfind('.'));
    while (index.count(unit) == 0) {
        std::size_t const cut = unit.rfind('_');
        if (cut == std::string::npos) {
            return file.substr(0, file.rfind('.'));
        }
        unit.resize(cut);
    }
    return unit;
}

std::vector<fs::path> SourceFiles()
{
    std::vector<fs::path> files;
    for (auto const & entry : fs::recursive_directory_iterator(source_root)) {
        std::string const ending = entry.path().extension().string();
        if (ending == ".h" || ending == ".cpp") {
            files.push_back(entry.path());
        }
    }
    return files;
}

} // namespace

TEST(SourceTree, TheIndexListsEveryUnitOnce)
{
    std::map<std::string, int> const index = ReadIndex();
    std::set<std::string> units;
    for (fs::path const & file : SourceFiles()) {
        units.insert(UnitOf(Relative(file), index));
    }
    std::set<std::string> listed;
    for (auto const & [unit, layer] : index) {
        listed.insert(unit);
    }
    EXPECT_THAT(units, testing::ContainerEq(listed));
}

TEST(SourceTree, UnitsUseOnlyTheirOwnLayerAndThoseBeforeIt)
{
    std::map<std::string, int> const index = ReadIndex();
    std::regex const include("#include \"([^\"]+)\\.h\"");
    for (fs::path const & file : SourceFiles()) {
        std::string const unit = UnitOf(Relative(file), index);
        std::ifstream in(file);
        for (std::string line; std::getline(in, line);) {
            std::smatch match;
            if (std::regex_search(line, match, include) && index.count(match[1]) != 0 &&
                index.count(unit) != 0) {
                EXPECT_LE(index.at(match[1]), index.at(unit)) << Relative(file) << " includes " << match[1];
            }
        }
    }
}

TEST(SourceTree, TheImageLibraryKnowsNothingOfTheRest)
{
    for (auto const & entry : fs::recursive_directory_iterator(VELM_SOURCE_ROOT "/imaging")) {
        std::ifstream in(entry.path());
        for (std::string line; std::getline(in, line);) {
            EXPECT_EQ(line.find("#include \"velm_"), std::string::npos) << entry.path() << ": " << line;
            EXPECT_EQ(line.find("#include \"drivers/"), std::string::npos) << entry.path() << ": " << line;
        }
    }
}
