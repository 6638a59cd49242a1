#include "drivers/base/velm_base.h"

#include "support/log_recorder.h"
#include "support/modal_answers.h"
#include "support/stub_microscope.h"

#include <wx/frame.h>
#include <wx/msgdlg.h>
#include <wx/panel.h>
#include <wx/stattext.h>

namespace velm::test {

namespace {

using Lines = std::vector<LogLine>;
using Strings = std::vector<std::string>;

Strings const device_names{"camera", "zdrive", "stage", "shutter", "ex", "em", "body"};

Strings const init_names{"Camera",
                         "Z drive",
                         "Stage",
                         "Shutter",
                         "Excitation filter exchanger",
                         "Emission filter exchanger",
                         "Microscope body"};

// The same call on each device in order.
Strings OnEach(std::string const & call)
{
    Strings calls;
    for (std::string const & device : device_names) {
        calls.push_back(device + "." + call);
    }
    return calls;
}

class BaseControl : public testing::Test {
  protected:
    VELM_BaseControl & Build(std::string const & ini = StubMicroscope::WholeRig())
    {
        VELM_BaseControl & control = microscope.Build(ini);
        Rig().TakeCalls();
        log.Clear();
        return control;
    }

    static void FailOn(std::string const & call)
    {
        Rig().on_call[call] = [] { throw VELM_HWError("it smokes"); };
    }

    LogRecorder log;
    StubMicroscope microscope;
};

} // namespace

TEST_F(BaseControl, AGeneralBodyShowsTheModelOfItsSectionOrTheDefault)
{
    auto const model = [this](std::string const & entries) {
        VELM_BaseControl & control =
            Build(StubMicroscope::known_scale + "[MicroscopeBody]\nDriver=Stand\n[Stand]\nName=General\n" +
                  entries);
        wxFrame frame(nullptr, wxID_ANY, "test");
        auto * const panel = new wxPanel(&frame);
        control.MicroscopeBody_CreateControlWindow(panel);
        return dynamic_cast<wxStaticText &>(*panel->GetChildren().front()).GetLabelText();
    };
    EXPECT_EQ(model("Model=Stand 7\n"), "Model:         Stand 7");
    EXPECT_EQ(model(""), "Model:         General microscope body");
}

TEST_F(BaseControl, InitStartsTheDevicesInOrder)
{
    Build().Init();
    EXPECT_EQ(Rig().TakeCalls(), OnEach("InitHW()"));
    Lines expected{Message("=============== HW Initialization ==================")};
    for (std::size_t i = 0; i < device_names.size(); ++i) {
        expected.push_back(Message("-------------------- " + init_names[i] + " initialization..."));
        expected.push_back(Message("HW info:\nStub " + device_names[i] + "\nOK"));
    }
    expected.push_back(Message("HW successufully initialized and should work."));
    EXPECT_EQ(log.Lines(), expected);
}

TEST_F(BaseControl, ARigWithAMissingDeviceCannotStart)
{
    for (std::string const entry : {"", "DisableNoHwWarning=1\n"}) {
        Rig().absent = {"em"};
        VELM_BaseControl & control = Build(StubMicroscope::WholeRig(StubMicroscope::known_scale + entry));
        try {
            control.Init();
            ADD_FAILURE();
        } catch (VELM_BaseControlError const & error) {
            EXPECT_EQ(error.GetMessage(), "Serious errors occurred during driver initialization.");
        }
        EXPECT_EQ(log.Lines(), Lines{Error("======== HW does not work =========")});
        EXPECT_TRUE(Rig().TakeCalls().empty());
    }
}

TEST_F(BaseControl, ADeviceThatFailsToStartEndsTheStart)
{
    VELM_BaseControl & control = Build();
    FailOn("stage.InitHW");
    try {
        control.Init();
        ADD_FAILURE();
    } catch (VELM_HWError const & error) {
        EXPECT_EQ(error.GetMessage(), "HW initialization failed!");
    }
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"camera.InitHW()", "zdrive.InitHW()", "stage.InitHW()"}));
    EXPECT_FALSE(control.IsOK());
    EXPECT_TRUE(Rig().zdrive->IsInitialized());
    EXPECT_FALSE(Rig().stage->IsInitialized());
    EXPECT_EQ(Lines(log.Lines().end() - 3, log.Lines().end()),
              (Lines{Message("-------------------- Stage initialization..."), Error("it smokes"),
                     Error("HW does not work!.")}));
}

TEST_F(BaseControl, SomethingElseThanAnExceptionEndsTheStartToo)
{
    VELM_BaseControl & control = Build();
    Rig().on_call["camera.InitHW"] = [] { throw 7; };
    EXPECT_THROW(control.Init(), VELM_HWError);
    EXPECT_EQ(log.Texts('E'), (Strings{"Unknown exception", "HW does not work!."}));
}

TEST_F(BaseControl, AFailedStartIsForGood)
{
    VELM_BaseControl & control = Build();
    FailOn("stage.InitHW");
    EXPECT_THROW(control.Init(), VELM_HWError);
    Rig().on_call.clear();
    Rig().TakeCalls();
    try {
        control.Init();
        ADD_FAILURE();
    } catch (VELM_BaseControlError const & error) {
        EXPECT_EQ(error.GetMessage(), "Serious errors occurred during driver initialization.");
    }
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(BaseControl, CloseEndsTheDevicesInOrderAndOnce)
{
    VELM_BaseControl & control = Build();
    control.Init();
    Rig().TakeCalls();
    control.Close();
    control.Close();
    EXPECT_EQ(Rig().TakeCalls(), OnEach("CloseHW()"));
}

TEST_F(BaseControl, OneDevicesFailureToCloseDoesNotStopTheOthers)
{
    VELM_BaseControl & control = Build();
    control.Init();
    Rig().TakeCalls();
    log.Clear();
    FailOn("zdrive.CloseHW");
    Rig().on_call["ex.CloseHW"] = [] { throw std::runtime_error("bug"); };
    Rig().on_call["em.CloseHW"] = [] { throw 7; };
    control.Close();
    EXPECT_EQ(Rig().TakeCalls(), OnEach("CloseHW()"));
    EXPECT_EQ(log.Lines(), (Lines{Error("HW error: it smokes"),
                                  Error("velm::VELM_BaseControl::CloseControl: Unknown exception!"),
                                  Error("velm::VELM_BaseControl::CloseControl: Unknown exception!")}));
    EXPECT_FALSE(Rig().zdrive->IsInitialized());
}

TEST_F(BaseControl, DestructionClosesWhatIsOpenAndDeletesTheDevicesInOrder)
{
    Build().Init();
    Rig().stage->SetInitialized(false);
    Rig().TakeCalls();
    microscope.Delete();
    Strings expected{"camera.CloseHW()", "zdrive.CloseHW()", "shutter.CloseHW()",
                     "ex.CloseHW()",     "em.CloseHW()",     "body.CloseHW()"};
    for (std::string const & call : OnEach("~()")) {
        expected.push_back(call);
    }
    EXPECT_EQ(Rig().TakeCalls(), expected);
}

TEST_F(BaseControl, DestructionOfARigWithMissingDevicesIsQuiet)
{
    Rig().absent = {"camera", "body"};
    Build();
    microscope.Delete();
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"zdrive.~()", "stage.~()", "shutter.~()", "ex.~()", "em.~()"}));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(BaseControl, HWInfoTellsTheDescriptionAndEveryDevice)
{
    VELM_BaseControl const & control =
        Build(StubMicroscope::WholeRig(StubMicroscope::known_scale + "HWDesc=Room 12\n"));
    EXPECT_EQ(control.HWInfo(), "Base control of the microscope\n"
                                "Description: Room 12\n"
                                "Camera: Stub camera\n"
                                "Zdrive: Stub zdrive\n"
                                "Stage: Stub stage\n"
                                "Shutter: Stub shutter\n"
                                "Excitation: Stub ex\n"
                                "Emission: Stub em\n"
                                "Microscope body: Stub body");
}

TEST_F(BaseControl, UserInteractionIsSwitchedOnEachDevice)
{
    VELM_BaseControl & control = Build();
    control.EnableUserInteraction(true);
    EXPECT_EQ(Rig().TakeCalls(), OnEach("EnableUserInteraction(1)"));
    control.EnableUserInteraction(false);
    EXPECT_EQ(Rig().TakeCalls(), OnEach("EnableUserInteraction(0)"));
}

TEST_F(BaseControl, UserInteractionIsSwitchedOnTheDevicesThatExist)
{
    Rig().absent = {"camera", "zdrive", "stage", "shutter", "ex", "em"};
    Build().EnableUserInteraction(true);
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"body.EnableUserInteraction(1)"}));
}

TEST_F(BaseControl, AFailedKeypadIsShownAndLoggedAndTheOthersAreStillSwitched)
{
    VELM_BaseControl & control = Build();
    auto & on_call = Rig().on_call;
    on_call["camera.EnableUserInteraction"] = [] { throw VELM_CameraControlError("camera 100%"); };
    on_call["zdrive.EnableUserInteraction"] = [] { throw VELM_ZDriveControlError("z"); };
    on_call["stage.EnableUserInteraction"] = [] { throw VELM_StageControlError("stage"); };
    on_call["shutter.EnableUserInteraction"] = [] { throw VELM_ShutterControlError("shutter"); };
    on_call["ex.EnableUserInteraction"] = [] { throw VELM_FilterControlError("ex"); };
    on_call["em.EnableUserInteraction"] = [] { throw VELM_FilterControlError("em"); };
    on_call["body.EnableUserInteraction"] = [] { throw VELM_MicroscopeBodyControlError("body"); };
    ModalAnswers answers;
    std::vector<ShownDialog> shown;
    Lines lines;
    for (char const * text : {"camera 100%", "z", "stage", "shutter", "ex", "em", "body"}) {
        answers.Press(wxID_OK);
        shown.push_back({"Message", text, wxOK | wxCENTRE | wxICON_INFORMATION}); // the toolkit adds the icon
        lines.push_back(Error(text));
    }
    control.EnableUserInteraction(true);
    EXPECT_EQ(Rig().TakeCalls(), OnEach("EnableUserInteraction(1)"));
    EXPECT_EQ(answers.GetShown(), shown);
    EXPECT_EQ(log.Lines(), lines);
}

TEST_F(BaseControl, AnErrorOfAnotherDevicesClassPassesToTheCaller)
{
    VELM_BaseControl & control = Build();
    Rig().on_call["camera.EnableUserInteraction"] = [] { throw VELM_StageControlError("mixed up"); };
    EXPECT_THROW(control.EnableUserInteraction(true), VELM_StageControlError);
}

TEST_F(BaseControl, AMissingScaleIsAskedForAndWrittenToTheIniFile)
{
    ModalAnswers answers;
    answers.EnterNumber(6450);
    answers.EnterNumber(7400);
    microscope.Build("MicResX=0\nHWDesc=Room 12\n");
    EXPECT_EQ(answers.GetShown(),
              (std::vector<ShownDialog>{
                  {"Set MicResX", "Please enter X resolution of your system in nm/pixel\nMicResX = ", 0},
                  {"Set MicResY", "Please enter Y resolution of your system in nm/pixel\nMicResY = ", 0}}));
    EXPECT_EQ(microscope.GetIniText(), "MicResX=6450\nHWDesc=Room 12\nMicResY=7400\n");
    EXPECT_EQ(log.Lines().front(), Message("=============== Driver Initialization ==============="));
}

TEST_F(BaseControl, ACancelledPromptForTheScaleComesBackWithTheSameDefault)
{
    ModalAnswers answers;
    answers.Press(wxID_CANCEL);
    answers.Press(wxID_CANCEL);
    answers.Press(wxID_OK);
    microscope.Build("MicResY=5\n");
    EXPECT_EQ(answers.GetShown().size(), 3u);
    EXPECT_EQ(microscope.GetIniText(), "MicResY=5\nMicResX=100\n");
}

TEST_F(BaseControl, AnIniFileThatDoesNotExistAsksForBothScalesAndFindsNoDevice)
{
    ModalAnswers answers;
    answers.Press(wxID_OK);
    answers.Press(wxID_OK);
    TempDirectory directory;
    VELM_BaseControl const control(directory / "new.ini", &microscope.GetDatabase(),
                                   VELM_DriverManager::GetInstance());
    EXPECT_FALSE(control.IsOK());
    EXPECT_EQ(log.Texts('E'), Strings{"There were serious errors!."});
    EXPECT_EQ(directory.Read("new.ini"), "MicResX=100\nMicResY=100\n");
}

} // namespace velm::test
