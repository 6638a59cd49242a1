#ifndef VELM_PROMPT_H
#define VELM_PROMPT_H

// The only place that shows a message box, a choice, a number prompt or a busy box from a record or service.
// Internal to the library.
//
// With a GUI application running, each operation shows the toolkit's own box. Without one it writes the text
// to the log, at warning level for the exclamation icon, error level for the error icon and message level
// otherwise, and takes the answer that changes nothing.

#include "velm_export.h"

#include <memory>
#include <wx/arrstr.h>
#include <wx/defs.h>
#include <wx/string.h>

class wxBusyInfo;
class wxWindow;

namespace velm::prompt {

// Whether somebody can be asked: a GUI application runs.
VELM_API bool IsInteractive();

// Shows a message box of the toolkit's styles and gives the button's id, such as wxYES. Unattended: wxCANCEL
// when the style has that button, else wxNO when it has that, else wxOK.
VELM_API int ShowMessage(wxString const & text, wxString const & caption, long style = wxOK | wxCENTRE,
                         wxWindow * parent = nullptr);

// Shows a message box with the toolkit's default caption for a text that the caller logs too. Unattended:
// nothing.
VELM_API void ShowLogged(wxString const & text);

// Shows a list of 200 by 150 pixels in the middle of the screen, the first item preselected, and gives the
// chosen index; -1 when cancelled. Unattended: -1.
VELM_API int ChooseOne(wxString const & text, wxString const & caption, wxArrayString const & choices);

// Asks for a number from min to max; -1 when cancelled. Unattended: -1.
VELM_API long AskNumber(wxString const & message, wxString const & prompt, wxString const & caption,
                        long value, long min, long max);

// Shows a busy box as long as it lives. Unattended: one log line.
class VELM_API BusyBox {
  public:
    explicit BusyBox(wxString const & text, wxWindow * parent = nullptr);
    ~BusyBox();
    BusyBox(BusyBox const &) = delete;
    BusyBox & operator=(BusyBox const &) = delete;

  private:
    std::unique_ptr<wxBusyInfo> _box;
};

} // namespace velm::prompt

#endif
