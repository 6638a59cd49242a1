# Foundations
velm_test(velm_list_test)
