#include "support/modal_answers.h"

#include <gtest/gtest.h>
#include <wx/dialog.h>
#include <wx/msgdlg.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>

namespace velm::test {

namespace {

std::string Utf8(wxString const & text)
{
    return std::string(text.utf8_str());
}

ShownDialog Describe(wxDialog const & dialog)
{
    if (auto const * box = dynamic_cast<wxMessageDialog const *>(&dialog)) {
        return {Utf8(box->GetCaption()), Utf8(box->GetMessage()), box->GetMessageDialogStyle()};
    }
    wxString text;
    for (wxWindow const * child : dialog.GetChildren()) {
        if (auto const * label = dynamic_cast<wxStaticText const *>(child)) {
            text << (text.empty() ? "" : "\n") << label->GetLabel();
        }
    }
    return {Utf8(dialog.GetTitle()), Utf8(text), 0};
}

void EnterNumberAndConfirm(wxDialog & dialog, int number)
{
    for (wxWindow * child : dialog.GetChildren()) {
        if (auto * const field = dynamic_cast<wxSpinCtrl *>(child)) {
            field->SetValue(number);
        }
    }
    wxCommandEvent confirm(wxEVT_BUTTON, wxID_OK);
    dialog.GetEventHandler()->ProcessEvent(confirm);
}

} // namespace

std::ostream & operator<<(std::ostream & out, ShownDialog const & dialog)
{
    return out << "[" << dialog.caption << "] " << dialog.text << " (style " << dialog.style << ")";
}

ModalAnswers::ModalAnswers()
{
    Register();
}

ModalAnswers::~ModalAnswers()
{
    EXPECT_TRUE(_answers.empty()) << _answers.size() << " dialogs did not come up";
}

void ModalAnswers::Press(int id)
{
    _answers.push_back([id](wxDialog &) { return id; });
}

void ModalAnswers::EnterNumber(int number)
{
    Run([number](wxDialog & dialog) { EnterNumberAndConfirm(dialog, number); });
}

void ModalAnswers::Run(std::function<void(wxDialog &)> function)
{
    _answers.push_back([function = std::move(function)](wxDialog & dialog) {
        dialog.CallAfter([function, &dialog] { function(dialog); });
        return static_cast<int>(wxID_NONE);
    });
}

int ModalAnswers::Enter(wxDialog * dialog)
{
    _shown.push_back(Describe(*dialog));
    if (_answers.empty()) {
        ADD_FAILURE() << "unexpected dialog: " << _shown.back();
        return wxID_CANCEL;
    }
    auto const answer = _answers.front();
    _answers.pop_front();
    return answer(*dialog);
}

} // namespace velm::test
