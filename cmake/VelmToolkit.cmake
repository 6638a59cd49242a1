# Finds wxWidgets and wraps it in the target velm::toolkit. Used by this tree and, installed, by the
# package configuration, so that both see the toolkit in the same way.

find_package(wxWidgets 3.2 REQUIRED COMPONENTS core net base)

if(NOT TARGET velm::toolkit)
  add_library(velm::toolkit INTERFACE IMPORTED)
  set_target_properties(velm::toolkit PROPERTIES
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${wxWidgets_INCLUDE_DIRS}"
    INTERFACE_INCLUDE_DIRECTORIES "${wxWidgets_INCLUDE_DIRS}"
    INTERFACE_COMPILE_DEFINITIONS "${wxWidgets_DEFINITIONS}"
    INTERFACE_COMPILE_OPTIONS "${wxWidgets_CXX_FLAGS}"
    INTERFACE_LINK_LIBRARIES "${wxWidgets_LIBRARIES}")
endif()
