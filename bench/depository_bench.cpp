// How long a large depository takes to open, beside a bare walk of its directories with one stat each.
//
// Prints one line: ours and the walk in milliseconds (medians), and their ratio.

#include "velm_db.h"
#include "velm_depository.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <vector>
#include <wx/init.h>
#include <wx/log.h>

namespace {

namespace fs = std::filesystem;

constexpr long fovs = 9999;
constexpr long first_voi = 10000;
constexpr long vois = 100000;
constexpr int repeats = 9;

void MakeDepository(fs::path const & root)
{
    auto const make = [](fs::path const & parent, char const * format, long first, long count) {
        fs::create_directories(parent);
        for (long id = first; id < first + count; ++id) {
            char name[16];
            std::snprintf(name, sizeof name, format, id);
            fs::create_directory(parent / name);
        }
    };
    make(root / "rawdata", "%04ld", 1, fovs);
    make(root / "regions", "%06ld", first_voi, vois);
    fs::create_directories(root / "calib_images");
    for (char const * const file : {"channels.cfg", "coordinates.txt", "groups.txt"}) {
        std::ofstream touch(root / file);
    }
}

void WriteOptics(fs::path const & directory)
{
    fs::create_directories(directory);
    std::ofstream(directory / "objectives.ini") << "1=10x, 10\n";
    std::ofstream(directory / "markers.ini") << "";
}

// Lists a directory and asks for the status of each entry.
long Walk(std::string const & directory)
{
    long found = 0;
    DIR * const listing = opendir(directory.c_str());
    while (dirent const * const entry = readdir(listing)) {
        struct stat status {};
        std::string const path = directory + "/" + entry->d_name;
        found += stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
    }
    closedir(listing);
    return found;
}

template <typename Work>
double MedianMilliseconds(Work work)
{
    std::vector<double> times;
    for (int i = 0; i < repeats; ++i) {
        auto const start = std::chrono::steady_clock::now();
        work();
        std::chrono::duration<double, std::milli> const elapsed = std::chrono::steady_clock::now() - start;
        times.push_back(elapsed.count());
    }
    std::nth_element(times.begin(), times.begin() + repeats / 2, times.end());
    return times[repeats / 2];
}

} // namespace

int main()
{
    wxInitializer const toolkit;
    wxLog::SetLogLevel(wxLOG_Warning);
    std::string name = (fs::temp_directory_path() / "velm-bench-XXXXXX").string();
    fs::path const root = mkdtemp(name.data());
    MakeDepository(root / "dep");
    WriteOptics(root / "optics");
    velm::VELM_Database db((root / "optics").string());
    velm::VELM_Depository depository((root / "dep").string(), &db);

    long walked = 0;
    double const walk = MedianMilliseconds(
        [&] { walked = Walk((root / "dep/rawdata").string()) + Walk((root / "dep/regions").string()); });
    double const open = MedianMilliseconds([&] { depository.Open(); });
    bool const complete =
        depository.FOV_GetCount() == fovs && depository.VOI_GetCount() == vois && walked == fovs + vois + 4;
    std::printf(
        "open a depository of %ld FOVs and %ld VOIs: %.1f ms, bare walk %.1f ms, ratio %.2f, goal 1.00, %s\n",
        fovs, vois, open, walk, walk / open, walk >= open ? "ok" : "short");
    fs::remove_all(root);
    return complete ? 0 : 1;
}
