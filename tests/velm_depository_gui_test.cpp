// The box that tells a user of a depository that can't be written.

#include "velm_depository.h"

#include "support/log_recorder.h"
#include "support/modal_answers.h"
#include "support/temp_depository.h"

#include <wx/filefn.h>
#include <wx/msgdlg.h>

namespace velm::test {

TEST(DepositoryWithAUser, OpeningReadOnlyIsToldInABox)
{
    TempDepository temp;
    temp->Open();
    wxMkdir(temp / "read-only-test.txt"); // nothing can be written under the name of a directory
    LogRecorder log;
    ModalAnswers answers;
    answers.Press(wxID_OK);
    EXPECT_TRUE(temp->Open());
    EXPECT_TRUE(temp->IsReadOnly());
    EXPECT_EQ(answers.GetShown(),
              (std::vector<ShownDialog>{{"Warning", "Opening depository in read-only mode.",
                                         wxOK | wxCENTRE | wxICON_EXCLAMATION}}));
    EXPECT_TRUE(log.Lines().empty());
}

} // namespace velm::test
