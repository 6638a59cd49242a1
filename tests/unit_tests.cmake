# Foundations
velm_test(velm_config_test)
velm_test(velm_error_test)
velm_test(velm_list_test)
velm_test(velm_log_test)
velm_test(velm_paths_test)
velm_test(velm_prompt_test)
velm_test(velm_tools_test)

# Reference data
velm_test(velm_db_test)

# Records
velm_test(velm_coords_test)
velm_test(velm_correction_settings_test)
velm_test(velm_crop_params_test)
velm_test(velm_time_interval_test)

# The image library
velm_test(vexacore_image_file_test)

# Hardware control
velm_gui_test(drivers/camera_setting_binder_test LIBRARIES velm_test_drivers)
velm_gui_test(drivers/camera_setting_test LIBRARIES velm_test_drivers)
velm_test(drivers/camera_test LIBRARIES velm_test_drivers)
velm_test(drivers/filter_test LIBRARIES velm_test_drivers)
velm_test(drivers/general_camera_setting_test)
velm_test(drivers/hw_control_test LIBRARIES velm_test_drivers)
velm_gui_test(drivers/microscope_body_test LIBRARIES velm_test_drivers)
velm_test(drivers/shutter_test LIBRARIES velm_test_drivers)
velm_test(drivers/stage_test LIBRARIES velm_test_drivers)
velm_test(drivers/zdrive_test LIBRARIES velm_test_drivers)
velm_test(velm_camset_reader_test LIBRARIES velm_test_drivers)
velm_test(velm_driver_manager_test LIBRARIES velm_test_drivers)
velm_test(velm_driver_package_test LIBRARIES velm_test_drivers)
velm_test(velm_hardware_params_test)
