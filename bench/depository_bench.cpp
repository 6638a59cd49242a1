// How long a large depository takes to open, beside a bare walk of its directories with one stat each.

#include "side_by_side.h"
#include "velm_db.h"
#include "velm_depository.h"

#include <cstdio>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <wx/init.h>
#include <wx/log.h>

namespace {

namespace fs = std::filesystem;

constexpr long fovs = 9999;
constexpr long first_voi = 10000;
constexpr long vois = 100000;

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

} // namespace

int main(int argc, char ** argv)
{
    velm::bench::Table table(argc, argv);
    char const * const row = "open a depository of 9999 FOVs and 100000 VOIs";
    if (!table.Wants(row)) {
        return 0;
    }
    wxInitializer const toolkit;
    wxLog::SetLogLevel(wxLOG_Warning);
    std::string name = (fs::temp_directory_path() / "velm-bench-XXXXXX").string();
    fs::path const root = mkdtemp(name.data());
    MakeDepository(root / "dep");
    WriteOptics(root / "optics");
    velm::VELM_Database db((root / "optics").string());
    velm::VELM_Depository depository((root / "dep").string(), &db);

    long walked = 0;
    table.Row(
        row, velm::bench::AtLeast(1.0), [&] { depository.Open(); },
        [&] { walked = Walk((root / "dep/rawdata").string()) + Walk((root / "dep/regions").string()); });
    bool const complete =
        depository.FOV_GetCount() == fovs && depository.VOI_GetCount() == vois && walked == fovs + vois + 4;
    fs::remove_all(root);
    return complete ? 0 : 1;
}
