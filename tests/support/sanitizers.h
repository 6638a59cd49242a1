#ifndef TESTS_SUPPORT_SANITIZERS_H
#define TESTS_SUPPORT_SANITIZERS_H

namespace velm::test {

// Whether the program runs under a sanitizer whose allocator ends it at an impossible size, where the
// ordinary one throws std::bad_alloc.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool allocator_ends_the_program = true;
#else
constexpr bool allocator_ends_the_program = false;
#endif

} // namespace velm::test

#endif
