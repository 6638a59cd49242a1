#include "drivers/base/filter.h"

#include "support/stub_rig.h"

namespace velm::test {

TEST(Filter, StartsAtPositionZero)
{
    EXPECT_EQ(StubFilter("ex").GetAskedPos(), 0);
}

} // namespace velm::test
