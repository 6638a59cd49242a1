#include "velm_prompt.h"

#include "velm_log_macros.h"

#include <wx/app.h>
#include <wx/busyinfo.h>
#include <wx/choicdlg.h>
#include <wx/msgdlg.h>
#include <wx/numdlg.h>

namespace velm {

bool prompt::IsInteractive()
{
    // Not through wxTheApp, which takes any application for one with windows.
    wxAppConsole const * const application = wxAppConsole::GetInstance();
    return application != nullptr && application->IsGUI();
}

int prompt::ShowMessage(wxString const & text, wxString const & caption, long style, wxWindow * parent)
{
    if (IsInteractive()) {
        return wxMessageBox(text, caption, style, parent);
    }
    if ((style & wxICON_ERROR) != 0) {
        VELM_LOG_ERROR("%s", text);
    } else if ((style & wxICON_EXCLAMATION) != 0) {
        VELM_LOG_WARNING("%s", text);
    } else {
        VELM_LOG_MESSAGE("%s", text);
    }
    return (style & wxCANCEL) != 0 ? wxCANCEL : (style & wxNO) != 0 ? wxNO : wxOK;
}

void prompt::ShowLogged(wxString const & text)
{
    if (IsInteractive()) {
        wxMessageBox(text);
    }
}

int prompt::ChooseOne(wxString const & text, wxString const & caption, wxArrayString const & choices)
{
    if (!IsInteractive()) {
        VELM_LOG_MESSAGE("%s", text);
        return -1;
    }
    return wxGetSingleChoiceIndex(text, caption, choices, nullptr, -1, -1, true, 200, 150, 0);
}

long prompt::AskNumber(wxString const & message, wxString const & prompt, wxString const & caption,
                       long value, long min, long max)
{
    if (!IsInteractive()) {
        VELM_LOG_MESSAGE("%s", message);
        return -1;
    }
    return wxGetNumberFromUser(message, prompt, caption, value, min, max);
}

prompt::BusyBox::BusyBox(wxString const & text, wxWindow * parent)
{
    if (IsInteractive()) {
        _box = std::make_unique<wxBusyInfo>(text, parent);
    } else {
        VELM_LOG_MESSAGE("%s", text);
    }
}

prompt::BusyBox::~BusyBox() = default;

} // namespace velm
