#include "acquisition/watchdog.h"

#include "drivers/base/velm_base.h"

#include <gtest/gtest.h>

namespace velm::acquisition {

// What it does when the time is over ends the process, which the tests of velm-scan show.

TEST(Watchdog, TellsWhereTheDevicesWereLastSeen)
{
    VELM_LastSeen seen;
    EXPECT_EQ(DescribeLastSeen(seen), "The shutter was never seen, nor was the Z drive.");
    seen.shutter = VELM_LastSeen::Shutter::CLOSED;
    seen.z = -15;
    EXPECT_EQ(DescribeLastSeen(seen), "The shutter was last seen closed, the Z drive at -1.5 microns.");
    seen.shutter = VELM_LastSeen::Shutter::OPEN;
    EXPECT_EQ(DescribeLastSeen(seen), "The shutter was last seen open, the Z drive at -1.5 microns.");
}

} // namespace velm::acquisition
