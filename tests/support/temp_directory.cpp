#include "support/temp_directory.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdlib.h>
#include <unistd.h>

namespace velm::test {

namespace fs = std::filesystem;

namespace {

fs::path Native(wxString const & path)
{
    return fs::path(std::string(path.utf8_str()));
}

uid_t const unprivileged = 65534; // "nobody"

} // namespace

TempDirectory::TempDirectory()
{
    std::string name = (fs::temp_directory_path() / "velm-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary directory");
    }
    fs::permissions(name, fs::perms::all);
    _path = wxString::FromUTF8(name.c_str());
}

TempDirectory::~TempDirectory()
{
    std::error_code ignored;
    for (auto const & entry : fs::recursive_directory_iterator(Native(_path), ignored)) {
        if (entry.is_directory() && !entry.is_symlink()) {
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
    }
    fs::remove_all(Native(_path), ignored);
}

wxString TempDirectory::Write(wxString const & name, std::string const & content) const
{
    wxString const path = *this / name;
    fs::create_directories(Native(path).parent_path());
    WriteFile(path, content);
    return path;
}

std::string TempDirectory::Read(wxString const & name) const
{
    return ReadFile(*this / name);
}

void TempDirectory::SetReadOnly(wxString const & name, bool read_only) const
{
    auto const write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions(Native(name.empty() ? _path : *this / name), write,
                    read_only ? fs::perm_options::remove : fs::perm_options::add);
}

std::string ReadFile(wxString const & path)
{
    std::ifstream in(Native(path), std::ios::binary);
    if (!in) {
        ADD_FAILURE() << "cannot read " << path.utf8_str();
    }
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void WriteFile(wxString const & path, std::string const & content)
{
    std::ofstream out(Native(path), std::ios::binary | std::ios::trunc);
    out << content;
    if (!out) {
        ADD_FAILURE() << "cannot write " << path.utf8_str();
    }
}

OrdinaryUser::OrdinaryUser() : _was_root(geteuid() == 0)
{
    if (_was_root) {
        _effective = seteuid(unprivileged) == 0;
    }
}

OrdinaryUser::~OrdinaryUser()
{
    if (_was_root && seteuid(0) != 0) {
        ADD_FAILURE() << "cannot become root again";
    }
}

} // namespace velm::test
