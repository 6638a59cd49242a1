#ifndef TESTS_SUPPORT_EVERY_MACHINE_H
#define TESTS_SUPPORT_EVERY_MACHINE_H

#include "vexacore/cpu.h"
#include "vexacore/parallel.h"

#include <gtest/gtest.h>

namespace velm::test {

// Runs the check with each instruction set that there is here. Afterwards the best is used, as at the start.
template <typename Check>
void WithEveryInstructionSet(Check check)
{
    for (vexa::InstructionSet const set : {vexa::InstructionSet::Plain, vexa::InstructionSet::Avx2}) {
        SCOPED_TRACE(testing::Message() << "instruction set " << static_cast<int>(set));
        vexa::SetInstructionSet(set);
        check();
    }
}

// Runs the check as each kind of machine would: with each instruction set, and with one, two and more threads
// than cores. Afterwards both are as at the start.
template <typename Check>
void OnEveryMachine(Check check)
{
    WithEveryInstructionSet([&] {
        for (unsigned int const threads : {1U, 2U, 5U}) {
            SCOPED_TRACE(testing::Message() << threads << " threads");
            vexa::SetThreadCount(threads);
            check();
        }
    });
    vexa::SetThreadCount(0);
}

} // namespace velm::test

#endif
