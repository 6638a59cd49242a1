// The main function of every test program that needs a screen: a GUI application of the toolkit with an event
// loop that is active but doesn't run, a home directory of its own, and assertions that fail the test.

#include "support/assert_recorder.h"
#include "support/temp_directory.h"

#include <clocale>
#include <cstdio>
#include <gmock/gmock.h>
#include <memory>
#include <stdlib.h>
#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/log.h>

namespace {

class TestApp : public wxApp {
  public:
    bool OnInit() override
    {
        // Tests come and go with their frames; the application stays.
        SetExitOnFrameDelete(false);
        return true;
    }
};

} // namespace

int main(int argc, char ** argv)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    testing::InitGoogleMock(&argc, argv);
    velm::test::TempDirectory const home;
    setenv("HOME", home.GetPath().utf8_str(), 1);
    // No session services, which a test machine lacks, and no animated scroll bars, which repaint at will.
    setenv("GSETTINGS_BACKEND", "memory", 1);
    setenv("NO_AT_BRIDGE", "1", 1);
    setenv("GTK_OVERLAY_SCROLLING", "0", 1);

    wxApp::SetInstance(new TestApp);
    if (!wxEntryStart(argc, argv)) {
        std::fputs("no display\n", stderr);
        return 1;
    }
    velm::test::FailOnAssertions();
    wxLog::SetActiveTarget(new wxLogStderr);
    int result = 1;
    if (wxTheApp->CallOnInit()) {
        auto const loop = std::make_unique<wxEventLoop>();
        wxEventLoopActivator const activator(loop.get());
        result = RUN_ALL_TESTS();
    }
    wxEntryCleanup();
    return result;
}
