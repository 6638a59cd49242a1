#include "vexacore/cpu.h"

namespace velm::test {

using vexa::InstructionSet;

TEST(InstructionSet, IsTheBestOfTheMachineUnlessHeldBack)
{
    InstructionSet const best = vexa::GetInstructionSet();
    vexa::SetInstructionSet(InstructionSet::Plain);
    EXPECT_EQ(vexa::GetInstructionSet(), InstructionSet::Plain);
    vexa::SetInstructionSet(InstructionSet::Avx2);
    EXPECT_EQ(vexa::GetInstructionSet(), best) << "what the machine lacks stays unused";
}

} // namespace velm::test
