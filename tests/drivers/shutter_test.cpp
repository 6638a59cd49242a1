#include "drivers/base/shutter.h"

#include "support/stub_rig.h"

namespace velm::test {

TEST(Shutter, StartsOutsideEconomyMode)
{
    EXPECT_FALSE(StubShutter().HasEconomyMode());
}

} // namespace velm::test
