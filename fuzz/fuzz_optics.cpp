// The four files of the optical database: the first byte says which of them gets the bytes.

#include "fuzz_input.h"
#include "velm_db.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    velm::fuzz::Input const & input = velm::fuzz::Input::Get();
    auto const write = [&input](char const * name, std::string const & text) {
        input.Write(name, reinterpret_cast<std::uint8_t const *>(text.data()), text.size());
    };
    write("ex_filters.ini", "1=a\n");
    write("em_filters.ini", "1=a\n");
    write("markers.ini", "M\n0\n0\n");
    write("objectives.ini", "1=10x, 10\n");
    char const * const names[] = {"ex_filters.ini", "em_filters.ini", "markers.ini", "objectives.ini"};
    if (size > 0) {
        input.Write(names[data[0] % 4], data + 1, size - 1);
    }
    try {
        velm::VELM_Database const db(input.GetDirectory());
    } catch (velm::VELM_DBError const &) {
        // what a damaged file has to end in
    }
    return 0;
}
