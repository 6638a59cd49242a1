# Installs the build tree into a fresh prefix, builds the outside project against it and runs it.
# Needs BUILD_DIR, SOURCE_DIR (this directory), WORK_DIR, GENERATOR, CXX, CXX_FLAGS and RIG_SUBDIR.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/velm_user ${WORK_DIR}/prefix/${RIG_SUBDIR}/optics ${WORK_DIR}/depository)
if(NOT output MATCHES "installed velm works")
  message(FATAL_ERROR "${output}")
endif()
run(${WORK_DIR}/prefix/bin/velm-scan --version)
