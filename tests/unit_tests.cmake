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

# The image pipeline
velm_test(velm_convert_test)
velm_test(velm_frame_buffer_test)
velm_test(velm_image_mapper_test)

# The image library; its .ics files are checked against the reference library (libics-dev)
find_library(ICS_REFERENCE ics REQUIRED)
velm_test(nubo_histogram_test)
velm_test(vexaalgo_correction_params_test)
velm_test(vexaalgo_labeled_image_test)
velm_test(vexaalgo_lut_test)
velm_test(vexaalgo_projection_test)
velm_test(vexaalgo_resample_test)
velm_test(vexacore_color_planes_test)
velm_test(vexacore_file_mask_test)
velm_test(vexacore_geometry_test)
velm_test(vexacore_ics_file_test LIBRARIES ${ICS_REFERENCE})
velm_test(vexacore_image_file_test)
velm_test(vexacore_image3d_test)
velm_test(vexacore_tiff_file_test)
