// What the user is asked when a calibration image can't be read.

#include "velm_channel.h"

#include "drivers/base/general_camera_setting.h"
#include "support/log_recorder.h"
#include "support/modal_answers.h"
#include "support/temp_depository.h"
#include "velm_calib_img.h"

#include <wx/msgdlg.h>

namespace velm::test {

class VelmChannelWithAUser : public testing::Test {
  protected:
    VelmChannelWithAUser()
    {
        VELM_GeneralCameraSetting const setting("None", 1, 1, -1, -1, -1, -1, 10, 12, 12, 8, 6);
        _temp->Open();
        _channel.SetCalibType(CALIBRATION_YES);
        _channel.SetCameraSetting(&setting);
        VELM_Calibration_Image image;
        image.SetCameraSetting(&setting);
        image.SetId(3); // no such file
        image.SetMean(100.0);
        _channel.SetCalibImage(&image);
    }

    ShownDialog const _question = {"Warning",
                                   "Calibration image data cannot be loaded!\n\n"
                                   "Do you want to capture new image?\n"
                                   "Yes: \tThe new image will be captured.\n"
                                   "No: \tThe calibration will be ignored.",
                                   wxYES_NO | wxICON_EXCLAMATION};
    TempDepository _temp;
    LogRecorder _log;
    ModalAnswers _answers;
    VELM_Channel _channel{"", 0, 0, 0};
};

TEST_F(VelmChannelWithAUser, YesAsksForANewImage)
{
    _answers.Press(wxID_YES);
    EXPECT_FALSE(_channel.Calibrate(&*_temp, false));
    EXPECT_EQ(_answers.GetShown(), (std::vector<ShownDialog>{_question}));
}

TEST_F(VelmChannelWithAUser, NoIgnoresTheCalibration)
{
    _answers.Press(wxID_NO);
    EXPECT_TRUE(_channel.Calibrate(&*_temp, false));
    EXPECT_EQ(_answers.GetShown(), (std::vector<ShownDialog>{_question}));
}

} // namespace velm::test
