#ifndef TESTS_SUPPORT_ASSERT_RECORDER_H
#define TESTS_SUPPORT_ASSERT_RECORDER_H

#include <string>
#include <vector>
#include <wx/debug.h>

namespace velm::test {

// Collects the conditions of the assertions that trip while it lives, and lets the program go on.
// AssertThrower throws AssertionTripped instead, for code that must not go on.
class AssertRecorder {
  public:
    AssertRecorder();
    ~AssertRecorder();
    AssertRecorder(AssertRecorder const &) = delete;
    AssertRecorder & operator=(AssertRecorder const &) = delete;

    std::vector<std::string> const & Conditions() const;

  private:
    wxAssertHandler_t _previous;
};

struct AssertionTripped {
    std::string condition;
};

class AssertThrower {
  public:
    AssertThrower();
    ~AssertThrower();
    AssertThrower(AssertThrower const &) = delete;
    AssertThrower & operator=(AssertThrower const &) = delete;

  private:
    wxAssertHandler_t _previous;
};

// Installs the handler that makes a tripped assertion a test failure; for the main function.
void FailOnAssertions();

} // namespace velm::test

// The condition of the assertion that the statement trips; empty when it trips none. The statement ends
// there.
#define VELM_TRIPPED_BY(statement)                                                                           \
    [&]() -> std::string {                                                                                   \
        ::velm::test::AssertThrower const thrower;                                                           \
        try {                                                                                                \
            statement;                                                                                       \
        } catch (::velm::test::AssertionTripped const & tripped) {                                           \
            return tripped.condition;                                                                        \
        }                                                                                                    \
        return {};                                                                                           \
    }()

#endif
