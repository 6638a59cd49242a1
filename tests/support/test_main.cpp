// The main function of every test program that needs no screen: a console application of the toolkit, a home
// directory of its own, and assertions that fail the test.

#include "support/assert_recorder.h"
#include "support/temp_directory.h"

#include <clocale>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <wx/init.h>
#include <wx/log.h>

int main(int argc, char ** argv)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    testing::InitGoogleMock(&argc, argv);
    velm::test::TempDirectory const home;
    setenv("HOME", home.GetPath().utf8_str(), 1);
    wxInitializer const toolkit;
    if (!toolkit.IsOk()) {
        return 1;
    }
    velm::test::FailOnAssertions();
    wxLog::SetActiveTarget(new wxLogStderr);
    return RUN_ALL_TESTS();
}
