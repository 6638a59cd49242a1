# Options, output directories, and the one way in which every target of this tree is compiled.

option(VELM_BUILD_TESTS "Build the tests" ON)
option(VELM_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(VELM_BUILD_FUZZERS "Build the libFuzzer targets (clang only)" OFF)
set(VELM_SANITIZE "" CACHE STRING "Value of -fsanitize= for the whole tree; empty for none")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

find_program(VELM_CCACHE ccache)
if(VELM_CCACHE)
  # Precompiled headers and ccache only work together with these; see docs/decisions.md.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${VELM_CCACHE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fpch-preprocess)
  endif()
endif()

find_program(VELM_MOLD mold)
if(VELM_MOLD)
  add_link_options(-fuse-ld=mold)
endif()

if(VELM_SANITIZE)
  add_compile_options(-fsanitize=${VELM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VELM_SANITIZE})
  # Instrumented code gains little from more optimisation and costs much to compile; full debug information
  # triples the link time and tells no more than a line number does.
  add_compile_options(-O1 -g1)
endif()

# The warnings of this tree, all of them errors; toolkit headers are system headers and exempt.
set(VELM_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual -Wcast-qual -Wunused -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # This compiler counts changes of sign among the conversions; the other doesn't, and the tree follows it.
  list(APPEND VELM_WARNINGS -Wno-sign-conversion)
endif()
if(VELM_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Instrumented code hides from this compiler what is initialised; the plain build still looks.
  list(APPEND VELM_WARNINGS -Wno-maybe-uninitialized)
endif()

# velm_target(<target>): what every target of the tree shares.
function(velm_target target)
  target_compile_options(${target} PRIVATE ${VELM_WARNINGS})
endfunction()

