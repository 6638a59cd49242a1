# Foundations
velm_test(velm_list_test)

# Reference data
velm_test(velm_db_test)
