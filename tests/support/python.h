#ifndef TESTS_SUPPORT_PYTHON_H
#define TESTS_SUPPORT_PYTHON_H

#include "support/temp_directory.h"

namespace velm::test {

// Runs a script in the directory with numpy, tifffile and the modules of tests/support at hand. An assertion
// that fails there fails the test.
void RunPython(TempDirectory const & directory, std::string const & script);

} // namespace velm::test

#endif
