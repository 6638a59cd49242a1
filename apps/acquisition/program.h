#ifndef ACQUISITION_PROGRAM_H
#define ACQUISITION_PROGRAM_H

#include <wx/init.h>
#include <wx/string.h>

namespace velm::acquisition {

// What every program without windows sets up first: the character set of the locale, the toolkit, the log,
// assertions that are logged rather than shown, and that a write which cannot be done fails rather than ends
// the program.
class Program {
  public:
    Program();
    ~Program();
    Program(Program const &) = delete;
    Program & operator=(Program const &) = delete;

    // Also writes all messages, the less important ones too, to the end of the file. The terminal keeps
    // showing warnings and errors only.
    void LogToFile(wxString const & path);

  private:
    wxInitializer _toolkit;
};

} // namespace velm::acquisition

#endif
