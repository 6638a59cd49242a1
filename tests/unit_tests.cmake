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
velm_test(velm_deconv_job_table_test)
velm_test(velm_group_test)
velm_test(velm_object_param_test)
velm_test(velm_time_interval_test)

# The image library
velm_test(vexacore_image_file_test)
