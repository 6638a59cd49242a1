# Foundations
velm_test(velm_config_test)
velm_test(velm_error_test)
velm_test(velm_list_test)
velm_gui_test(velm_log_gui_test)
velm_test(velm_log_test)
velm_test(velm_paths_test)
velm_gui_test(velm_prompt_gui_test)
velm_test(velm_prompt_test)
velm_test(velm_tools_test)

# Reference data
velm_test(velm_db_test)
velm_gui_test(velm_filter_substitution_test)
velm_gui_test(velm_prefs_gui_test)
velm_test(velm_prefs_test)
velm_test(velm_profile_test)

# Records
velm_test(velm_calib_img_test)
velm_gui_test(velm_channel_gui_test)
velm_test(velm_channel_test)
velm_test(velm_coords_test)
velm_test(velm_correction_settings_test)
velm_test(velm_crop_params_test)
velm_test(velm_deconv_job_table_test)
velm_test(velm_fov_test)
velm_test(velm_group_test)
velm_test(velm_object_param_test)
velm_test(velm_time_interval_test)

# The image pipeline
velm_test(velm_bc_mixer_test)
velm_test(velm_convert_test)
velm_test(velm_flat_field_test)
velm_test(velm_frame_buffer_test)
velm_test(velm_image_mapper_test)
velm_test(velm_mixer_test)

# The image library; its .ics files are checked against the reference library (libics-dev)
find_library(ICS_REFERENCE ics REQUIRED)
velm_test(nubo_histogram_test)
velm_test(vexaalgo_chromatic_test)
velm_test(vexaalgo_correction_params_test)
velm_test(vexaalgo_illumination_test)
velm_test(vexaalgo_labeled_image_test)
velm_test(vexaalgo_lut_test)
velm_test(vexaalgo_projection_test)
velm_test(vexaalgo_resample_test)
velm_test(vexaalgo_slice_statistics_test)
velm_test(vexaalgo_spline_surface_test)
velm_test(vexacore_color_planes_test)
velm_test(vexacore_file_io_test)
velm_test(vexacore_cpu_test)
velm_test(vexacore_file_mask_test)
velm_test(vexacore_geometry_test)
find_package(ZLIB REQUIRED)
velm_test(vexacore_gzip_voxels_test LIBRARIES ${ICS_REFERENCE} ZLIB::ZLIB)
velm_test(vexacore_ics_file_test LIBRARIES ${ICS_REFERENCE})
velm_test(vexacore_image_file_test)
velm_test(vexacore_image3d_test)
velm_test(vexacore_parallel_test)
velm_test(vexacore_pixel_deflate_test LIBRARIES ZLIB::ZLIB)
velm_test(vexacore_pixel_inflate_test LIBRARIES ZLIB::ZLIB)
velm_test(vexacore_tiff_file_test)

# Hardware control
velm_gui_test(drivers/camera_setting_binder_test LIBRARIES velm_test_drivers)
velm_gui_test(drivers/camera_setting_test LIBRARIES velm_test_drivers)
velm_test(drivers/camera_test LIBRARIES velm_test_drivers)
velm_test(drivers/example_driver_test LIBRARIES velm_test_drivers)
velm_test(drivers/filter_test LIBRARIES velm_test_drivers)
velm_test(drivers/general_camera_setting_test)
velm_test(drivers/hw_control_test LIBRARIES velm_test_drivers)
velm_gui_test(drivers/microscope_body_test LIBRARIES velm_test_drivers)
velm_test(drivers/shutter_test LIBRARIES velm_test_drivers)
velm_test(drivers/stage_test LIBRARIES velm_test_drivers)
velm_test(drivers/velm_base_autofocus_steps_test LIBRARIES velm_test_drivers)
velm_test(drivers/velm_base_autofocus_test LIBRARIES velm_test_drivers)
velm_test(drivers/velm_base_calibrate_test LIBRARIES velm_test_drivers)
velm_test(drivers/velm_base_operations_test LIBRARIES velm_test_drivers)
velm_test(drivers/velm_base_startup_test LIBRARIES velm_test_drivers)
velm_gui_test(drivers/velm_base_test LIBRARIES velm_test_drivers)
velm_test(drivers/zdrive_test LIBRARIES velm_test_drivers)
velm_test(velm_camset_reader_test LIBRARIES velm_test_drivers)
velm_test(velm_driver_manager_test LIBRARIES velm_test_drivers)
velm_test(velm_driver_package_test LIBRARIES velm_test_drivers)
velm_test(velm_hardware_params_test)

# The depository
velm_gui_test(velm_depository_gui_test)
velm_test(velm_depository_images_test)
velm_test(velm_depository_records_test)
velm_test(velm_depository_test)
velm_test(velm_thumbnail_test)

# Programs
add_library(old_contract MODULE support/plugins/old_contract.cpp)
velm_target(old_contract)
set_target_properties(old_contract PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/old-plugins)
velm_test(apps/confirmed_devices_test LIBRARIES velm_acquisition velm_test_drivers)
velm_test(apps/depository_lock_test LIBRARIES velm_acquisition)
velm_test(apps/durable_files_test LIBRARIES velm_acquisition)
velm_test(apps/installation_test LIBRARIES velm_acquisition)
add_dependencies(installation_test old_contract velm_sim)
target_compile_definitions(installation_test PRIVATE VELM_OLD_DRIVER_DIR="${CMAKE_CURRENT_BINARY_DIR}/old-plugins"
  VELM_SIM_DRIVER_DIR="${CMAKE_BINARY_DIR}/${VELM_DRIVER_SUBDIR}")
velm_test(apps/ome_tiff_test LIBRARIES velm::export)
velm_test(apps/progress_test LIBRARIES velm_acquisition)
velm_test(apps/scan_plan_test LIBRARIES velm_acquisition)
velm_test(apps/watchdog_test LIBRARIES velm_acquisition)
velm_test(apps/watched_task_test LIBRARIES velm_acquisition velm_test_drivers)
velm_test(apps/velm_scan_options_test LIBRARIES velm_acquisition SOURCES ${PROJECT_SOURCE_DIR}/apps/velm-scan/options.cpp)

# The tree
velm_test(source_tree_test)
set_source_files_properties(source_tree_test.cpp PROPERTIES COMPILE_DEFINITIONS VELM_SOURCE_ROOT="${PROJECT_SOURCE_DIR}")
# What scores against the truth rely on
velm_test(bench/spot_finder_test SOURCES ${PROJECT_SOURCE_DIR}/bench/spot_finder.cpp)
target_include_directories(spot_finder_test PRIVATE ${PROJECT_SOURCE_DIR}/bench)
# The simulated microscope
foreach(unit IN ITEMS sim_clock sim_config sim_fading sim_faults sim_machine sim_machine_fault sim_motion
                      sim_noise sim_optics sim_renderer sim_specimen sim_truth)
  velm_test(sim/${unit}_test LIBRARIES velm_sim_core)
endforeach()
velm_gui_test(sim/sim_camera_setting_test LIBRARIES velm_sim_core)
velm_gui_test(sim/sim_devices_test LIBRARIES velm_sim_core)
foreach(unit IN ITEMS sim_focus sim_rig)
  velm_test(sim/${unit}_test)
  add_dependencies(${unit}_test velm_sim)
  target_compile_definitions(${unit}_test PRIVATE
    VELM_RIG_DIR="${CMAKE_SOURCE_DIR}/rigs/simulated"
    VELM_SIM_DRIVER_DIR="${CMAKE_BINARY_DIR}/${VELM_DRIVER_SUBDIR}")
endforeach()

# Whole runs of the program
add_library(velm_scenario_support STATIC scenarios/scan_rig.cpp)
velm_target(velm_scenario_support)
target_link_libraries(velm_scenario_support PUBLIC velm_test_support)
target_precompile_headers(velm_scenario_support REUSE_FROM velm_test_support)
set_target_properties(velm_scenario_support PROPERTIES POSITION_INDEPENDENT_CODE OFF)
target_compile_definitions(velm_scenario_support PRIVATE
  VELM_SOURCE_ROOT="${PROJECT_SOURCE_DIR}" VELM_SCAN_PROGRAM="$<TARGET_FILE:velm-scan>"
  VELM_SIM_DRIVER_DIR="${CMAKE_BINARY_DIR}/${VELM_DRIVER_SUBDIR}")
add_dependencies(velm_scenario_support velm-scan velm_sim)
velm_test(scenarios/export_test LIBRARIES velm_scenario_support)
velm_test(scenarios/failing_files_test SOURCES support/failing_files.cpp)
# Defines functions of the C library, under both of their names, which the shared header's options forbid.
set_source_files_properties(support/failing_files.cpp PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
target_link_libraries(failing_files_test PRIVATE ${CMAKE_DL_LIBS})
velm_test(scenarios/fault_test LIBRARIES velm_scenario_support)
velm_test(scenarios/focus_test LIBRARIES velm_scenario_support)
velm_test(scenarios/kill_test LIBRARIES velm_scenario_support)
velm_test(scenarios/mix_test LIBRARIES velm_scenario_support)
velm_test(scenarios/overview_test LIBRARIES velm_scenario_support)
velm_test(scenarios/scan_test LIBRARIES velm_scenario_support)

# An outside project, against an installation; a sanitized library wants a sanitized program
if(VELM_SANITIZE)
  set(install_test_flags -fsanitize=${VELM_SANITIZE})
endif()
add_test(NAME install_test COMMAND ${CMAKE_COMMAND}
  -D BUILD_DIR=${CMAKE_BINARY_DIR} -D SOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}/install
  -D WORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/install-test -D GENERATOR=${CMAKE_GENERATOR}
  -D CXX=${CMAKE_CXX_COMPILER} "-DCXX_FLAGS=${install_test_flags}"
  -D RIG_SUBDIR=${VELM_RIG_SUBDIR} -P ${CMAKE_CURRENT_SOURCE_DIR}/install/run.cmake)
