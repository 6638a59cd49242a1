# Driver libraries that only tests load, and the rig behind them, which test and library share.

add_library(velm_stub_rig SHARED support/stub_rig.cpp)
velm_target(velm_stub_rig)
set_target_properties(velm_stub_rig PROPERTIES CXX_VISIBILITY_PRESET default VISIBILITY_INLINES_HIDDEN OFF)
target_include_directories(velm_stub_rig PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(velm_stub_rig PUBLIC velm::velm)

set(VELM_TEST_PLUGIN_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/plugins)

# velm_test_plugin(<target> <source> [<definition>...])
function(velm_test_plugin target source)
  add_library(${target} MODULE support/plugins/${source}.cpp)
  velm_target(${target})
  target_compile_definitions(${target} PRIVATE ${ARGN})
  target_link_libraries(${target} PRIVATE velm_stub_rig)
  set_target_properties(${target} PROPERTIES
    PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${VELM_TEST_PLUGIN_DIRECTORY})
  add_dependencies(velm_test_plugins ${target})
endfunction()

add_custom_target(velm_test_plugins)
velm_test_plugin(plugin_stub_a stub_driver VELM_STUB_NAME="StubA")
velm_test_plugin(plugin_stub_b stub_driver VELM_STUB_NAME="StubB")
velm_test_plugin(plugin_combo stub_driver VELM_STUB_NAME="StubCombo")
velm_test_plugin(plugin_empty_name stub_driver VELM_STUB_NAME="")
velm_test_plugin(plugin_no_entry no_entry)
velm_test_plugin(plugin_refusing refusing)
velm_test_plugin(plugin_throwing_own throwing VELM_THROWN=OwnError\(\))
velm_test_plugin(plugin_throwing_number throwing VELM_THROWN=7)
velm_test_plugin(plugin_throwing_name throwing_name VELM_THROWN=OwnError\(\))
velm_test_plugin(plugin_throwing_name_number throwing_name VELM_THROWN=7)
velm_test_plugin(plugin_missing_symbol missing_symbol)

# The example driver is built as its readers build it, and tested as one of the plug-ins.
add_subdirectory(${CMAKE_SOURCE_DIR}/examples/driver ${CMAKE_CURRENT_BINARY_DIR}/example_driver)
velm_target(example_driver)
set_target_properties(example_driver PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${VELM_TEST_PLUGIN_DIRECTORY})
add_dependencies(velm_test_plugins example_driver)

# What a test that loads driver libraries links.
add_library(velm_test_drivers STATIC support/plugins.cpp support/stub_microscope.cpp)
velm_target(velm_test_drivers)
target_compile_definitions(velm_test_drivers PRIVATE VELM_TEST_PLUGIN_DIRECTORY="${VELM_TEST_PLUGIN_DIRECTORY}")
target_link_libraries(velm_test_drivers PUBLIC velm_test_support velm_stub_rig)
target_precompile_headers(velm_test_drivers REUSE_FROM velm_test_support)
set_target_properties(velm_test_drivers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
add_dependencies(velm_test_drivers velm_test_plugins)
