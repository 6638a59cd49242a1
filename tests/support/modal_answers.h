#ifndef TESTS_SUPPORT_MODAL_ANSWERS_H
#define TESTS_SUPPORT_MODAL_ANSWERS_H

#include <deque>
#include <functional>
#include <ostream>
#include <string>
#include <vector>
#include <wx/modalhook.h>

namespace velm::test {

// A modal dialog that came up. text: a message box's message, or the texts of any other dialog, one a line.
// style: a message box's, else 0.
struct ShownDialog {
    std::string caption;
    std::string text;
    long style;

    bool operator==(ShownDialog const & other) const
    {
        return caption == other.caption && text == other.text && style == other.style;
    }
};

std::ostream & operator<<(std::ostream & out, ShownDialog const & dialog);

// Answers the modal dialogs that come up while it lives, in the order of the answers given beforehand, and
// tells what they showed. A dialog without an answer fails the test and is cancelled; so does, at the end, an
// answer that no dialog asked for. Progress dialogs aren't modal in this sense.
class ModalAnswers : public wxModalDialogHook {
  public:
    ModalAnswers();
    ~ModalAnswers() override;

    // Ends the next dialog with this id, such as wxID_OK or wxID_YES, without showing it.
    void Press(int id);

    // Enters the number into the next dialog's number field and confirms it.
    void EnterNumber(int number);

    // Shows the next dialog and calls the function with it, once it runs; the function has to end it.
    void Run(std::function<void(wxDialog &)> function);

    std::vector<ShownDialog> const & GetShown() const { return _shown; }

  protected:
    int Enter(wxDialog * dialog) override;

  private:
    std::deque<std::function<int(wxDialog &)>> _answers;
    std::vector<ShownDialog> _shown;
};

} // namespace velm::test

#endif
