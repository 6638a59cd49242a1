#include "support/assert_recorder.h"

#include <gtest/gtest.h>
#include <wx/string.h>

namespace velm::test {

namespace {

std::vector<std::string> recorded;

void Record(wxString const &, int, wxString const &, wxString const & condition, wxString const &)
{
    recorded.emplace_back(condition.utf8_str());
}

void Throw(wxString const &, int, wxString const &, wxString const & condition, wxString const &)
{
    throw AssertionTripped{std::string(condition.utf8_str())};
}

void Fail(wxString const & file, int line, wxString const &, wxString const & condition,
          wxString const & message)
{
    ADD_FAILURE() << "assertion \"" << condition.utf8_str() << "\" tripped at " << file.utf8_str() << ":"
                  << line << " " << message.utf8_str();
}

} // namespace

AssertRecorder::AssertRecorder() : _previous(wxSetAssertHandler(&Record))
{
    recorded.clear();
}

AssertRecorder::~AssertRecorder()
{
    wxSetAssertHandler(_previous);
}

std::vector<std::string> const & AssertRecorder::Conditions() const
{
    return recorded;
}

AssertThrower::AssertThrower() : _previous(wxSetAssertHandler(&Throw)) {}

AssertThrower::~AssertThrower()
{
    wxSetAssertHandler(_previous);
}

void FailOnAssertions()
{
    wxSetAssertHandler(&Fail);
}

} // namespace velm::test
