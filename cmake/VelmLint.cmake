# The target lint: clang-tidy over every source of the tree, with the configuration in .clang-tidy. It needs a
# configuration of its own: clang cannot read another compiler's precompiled headers.

find_program(VELM_RUN_CLANG_TIDY NAMES run-clang-tidy-14 run-clang-tidy)
if(VELM_RUN_CLANG_TIDY)
  set(lint_dir ${CMAKE_SOURCE_DIR}/build/lint)
  add_custom_target(lint
    COMMAND ${CMAKE_COMMAND} -S ${CMAKE_SOURCE_DIR} -B ${lint_dir} -G ${CMAKE_GENERATOR}
            -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON
            -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DVELM_BUILD_BENCHMARKS=ON
    COMMAND ${VELM_RUN_CLANG_TIDY} -quiet -p ${lint_dir}
            "^${CMAKE_SOURCE_DIR}/(imaging|src|drivers|apps|bench|examples)/"
    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
    COMMENT "Running clang-tidy"
    USES_TERMINAL VERBATIM)
else()
  add_custom_target(lint COMMAND ${CMAKE_COMMAND} -E echo "clang-tidy is not installed" COMMAND false VERBATIM)
endif()
