#ifndef VEXACORE_CPU_H
#define VEXACORE_CPU_H

// Which instructions the library's inner loops use. Internal to the image libraries and the core library.
//
// A loop that gains by wide registers is compiled twice, for any machine and, behind VEXA_AVX2, for those
// with AVX2 and BMI2, which came together, and picks one at run time by GetInstructionSet. Both give the same
// results bit for bit.

#include "vexacore/export.h"

#if defined(__x86_64__) && defined(__GNUC__)
#define VEXA_HAS_AVX2 1
#define VEXA_AVX2 __attribute__((target("avx2,bmi2")))
#else
#define VEXA_HAS_AVX2 0
#define VEXA_AVX2
#endif

// The body of a loop that the compiler itself is to make vector instructions of, once for each form.
#if defined(__GNUC__)
#define VEXA_LOOP_BODY inline __attribute__((always_inline))
#else
#define VEXA_LOOP_BODY inline
#endif

namespace vexa {

enum class InstructionSet { Plain, Avx2 };

// The best that this machine has, unless SetInstructionSet holds it back.
VEXA_API InstructionSet GetInstructionSet();

// Holds for calls that begin later, in the whole process. What the machine lacks stays unused. For tests and
// benchmarks.
VEXA_API void SetInstructionSet(InstructionSet set);

} // namespace vexa

#endif
