// The four files of the optical database: the first byte says which of them gets the bytes.

#include "fuzz_input.h"
#include "velm_db.h"

#include <array>

namespace {

struct File {
    char const * name;
    char const * usual;
};

constexpr std::array<File, 4> files{{{"ex_filters.ini", "1=a\n"},
                                     {"em_filters.ini", "1=a\n"},
                                     {"markers.ini", "M\n0\n0\n"},
                                     {"objectives.ini", "1=10x, 10\n"}}};

// One directory for each file to be fuzzed, with the others as they should be.
bool WriteUsualFiles()
{
    velm::fuzz::Input const & input = velm::fuzz::Input::Get();
    for (File const & fuzzed : files) {
        std::filesystem::create_directories(input.GetDirectory() + "/" + fuzzed.name);
        for (File const & file : files) {
            input.Write(std::string(fuzzed.name) + "/" + file.name, file.usual);
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    static bool const written = WriteUsualFiles();
    static_cast<void>(written);
    if (size == 0) {
        return 0;
    }
    std::string const name = files[data[0] % files.size()].name;
    velm::fuzz::Input const & input = velm::fuzz::Input::Get();
    input.Write(name + "/" + name, data + 1, size - 1);
    try {
        velm::VELM_Database const db(input.GetDirectory() + "/" + name);
    } catch (velm::VELM_DBError const &) {
        // what a damaged file has to end in
    }
    return 0;
}
