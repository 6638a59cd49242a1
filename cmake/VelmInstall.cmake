# Libraries, headers, the simulated driver and its rig, programs, and the package configuration behind
# find_package(velm).

include(CMakePackageConfigHelpers)

set(VELM_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/velm)

install(TARGETS velm velm_export vexacore vexaalgo nubo EXPORT velmTargets)
install(TARGETS velm_sim LIBRARY DESTINATION ${VELM_DRIVER_SUBDIR})
install(TARGETS velm-scan)

foreach(library vexacore vexaalgo nubo)
  file(GLOB headers CONFIGURE_DEPENDS imaging/${library}/*.h)
  list(FILTER headers EXCLUDE REGEX "(cpu|file_io|grey_file|length_unit|parallel|source_map|spline_surface|tiff_handle|tiff_writer)\\.h$") # internal to the image libraries
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velm/${library})
endforeach()
get_target_property(headers velm VELM_PUBLIC_HEADERS)
foreach(header IN LISTS headers)
  cmake_path(GET header PARENT_PATH directory)
  install(FILES src/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velm/${directory})
endforeach()

install(FILES apps/export/ome_tiff.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velm/export)

install(DIRECTORY rigs/simulated/ DESTINATION ${VELM_RIG_SUBDIR})

install(EXPORT velmTargets NAMESPACE velm:: DESTINATION ${VELM_INSTALL_CMAKE})
configure_package_config_file(cmake/velmConfig.cmake.in ${CMAKE_BINARY_DIR}/velmConfig.cmake
  INSTALL_DESTINATION ${VELM_INSTALL_CMAKE} PATH_VARS VELM_DRIVER_SUBDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/velmConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/velmConfig.cmake ${CMAKE_BINARY_DIR}/velmConfigVersion.cmake
  cmake/VelmToolkit.cmake DESTINATION ${VELM_INSTALL_CMAKE})
