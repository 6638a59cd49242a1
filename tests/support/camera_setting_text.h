#ifndef TESTS_SUPPORT_CAMERA_SETTING_TEXT_H
#define TESTS_SUPPORT_CAMERA_SETTING_TEXT_H

#include <string>

namespace velm::test {

// A stored camera setting of the driver CamA, up to the names of its additional entries.
inline std::string const camera_setting_text = "VERSION=1.6\n"
                                               "DRIVER=CamA\n"
                                               "SBIN=2\n"
                                               "PBIN=3\n"
                                               "CCD_SER_SIZE=1392\n"
                                               "CCD_PAR_SIZE=1040\n"
                                               "S1=10\n"
                                               "S2=20\n"
                                               "P1=30\n"
                                               "P2=40\n"
                                               "EXPOSURE=500\n"
                                               "MAX_BITDEPTH=12\n"
                                               "LAST_BIT=11\n";

} // namespace velm::test

#endif
