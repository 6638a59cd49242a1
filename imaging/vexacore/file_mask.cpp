#include "vexacore/file_mask.h"

#include <algorithm>
#include <dirent.h>
#include <fnmatch.h>
#include <memory>
#include <sys/stat.h>

namespace vexa {

namespace {

bool IsDirectory(std::string const & path, dirent const & entry)
{
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) {
        return entry.d_type == DT_DIR;
    }
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

unsigned int MaskExpand(char const * mask, std::vector<std::string> & out, bool with_directories)
{
    std::string const whole = mask;
    std::size_t const name_begin = whole.rfind('/') + 1; // 0 without a separator
    std::string const directory = whole.substr(0, name_begin);
    char const * const pattern = mask + name_begin;

    out.clear();
    std::unique_ptr<DIR, int (*)(DIR *)> const listing(::opendir(directory.empty() ? "." : directory.c_str()),
                                                       &::closedir);
    if (listing != nullptr) {
        while (dirent const * const entry = ::readdir(listing.get())) {
            std::string path = directory + entry->d_name;
            if (::fnmatch(pattern, entry->d_name, FNM_PERIOD) == 0 &&
                (with_directories || !IsDirectory(path, *entry))) {
                out.push_back(std::move(path));
            }
        }
    }
    std::sort(out.begin(), out.end());
    if (out.empty()) {
        out.push_back(whole);
    }
    return static_cast<unsigned int>(out.size());
}

} // namespace vexa
