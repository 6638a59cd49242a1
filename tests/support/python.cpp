#include "support/python.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace velm::test {

void RunPython(TempDirectory const & directory, std::string const & script)
{
    std::string const path =
        std::string(directory.Write("script.py", "import numpy, tifffile\n" + script).utf8_str());
    std::string const command = "cd '" + std::string(directory.GetPath().utf8_str()) +
                                "' && PYTHONDONTWRITEBYTECODE=1 PYTHONPATH='" VELM_SOURCE_ROOT
                                "/tests/support' /usr/bin/python3 script.py > output 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << directory.Read("output");
}

} // namespace velm::test
