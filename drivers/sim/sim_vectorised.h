#ifndef SIM_VECTORISED_H
#define SIM_VECTORISED_H

// Marks a function whose loops are worth compiling twice, for any machine and for wide registers; the program
// picks one at start. Both give the same numbers: wide registers change no rounding as long as products and
// sums stay apart. The sanitizers don't survive the selection at start, so their builds have one form only.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&     \
    !defined(__SANITIZE_THREAD__)
#define SIM_VECTORISED __attribute__((target_clones("avx2", "default")))
#else
#define SIM_VECTORISED
#endif

#endif
