#ifndef TESTS_SUPPORT_TEMP_DIRECTORY_H
#define TESTS_SUPPORT_TEMP_DIRECTORY_H

#include <string>
#include <wx/string.h>

namespace velm::test {

// A new directory of its own under the system's temporary directory, removed with all in it at the end.
class TempDirectory {
  public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(TempDirectory const &) = delete;
    TempDirectory & operator=(TempDirectory const &) = delete;

    // Without a separator at the end.
    wxString const & GetPath() const { return _path; }

    // The path of something inside, made of components joined with "/".
    wxString operator/(wxString const & name) const { return _path + "/" + name; }

    // Writes a file inside, byte for byte, making its directories; gives its path.
    wxString Write(wxString const & name, std::string const & content) const;

    // The bytes of a file inside; a test failure when there is none.
    std::string Read(wxString const & name) const;

    // Takes the right to write into the directory or file away, or gives it back. Has no effect on root;
    // see OrdinaryUser.
    void SetReadOnly(wxString const & name, bool read_only) const;

  private:
    wxString _path;
};

// The bytes of any file.
std::string ReadFile(wxString const & path);
void WriteFile(wxString const & path, std::string const & content);

// Runs the rest of the scope as a user for whom file permissions count: root gives up its right to ignore
// them. Where that isn't possible, IsEffective is false and the test should skip.
class OrdinaryUser {
  public:
    OrdinaryUser();
    ~OrdinaryUser();
    OrdinaryUser(OrdinaryUser const &) = delete;
    OrdinaryUser & operator=(OrdinaryUser const &) = delete;

    bool IsEffective() const { return _effective; }

  private:
    bool _was_root;
    bool _effective = true;
};

} // namespace velm::test

#endif
