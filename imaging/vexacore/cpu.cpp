#include "vexacore/cpu.h"

#include <algorithm>
#include <atomic>

namespace vexa {

namespace {

InstructionSet BestOfMachine()
{
#if VEXA_HAS_AVX2
    __builtin_cpu_init(); // this may run before the constructors of the program
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") ? InstructionSet::Avx2
                                                                            : InstructionSet::Plain;
#else
    return InstructionSet::Plain;
#endif
}

std::atomic<InstructionSet> & InForce()
{
    static std::atomic<InstructionSet> set{BestOfMachine()};
    return set;
}

} // namespace

InstructionSet GetInstructionSet()
{
    return InForce().load(std::memory_order_relaxed);
}

void SetInstructionSet(InstructionSet set)
{
    InForce().store(std::min(set, BestOfMachine()), std::memory_order_relaxed);
}

} // namespace vexa
