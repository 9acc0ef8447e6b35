# CMake before 3.27 finds wxWidgets but makes no target of it: make wxWidgets::wxWidgets from what
# find_package(wxWidgets) reported. Used by the build and by the installed package config alike.
if(NOT TARGET wxWidgets::wxWidgets)
  add_library(wxWidgets::wxWidgets INTERFACE IMPORTED)
  set_target_properties(wxWidgets::wxWidgets PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${wxWidgets_INCLUDE_DIRS}"
    INTERFACE_COMPILE_DEFINITIONS "${wxWidgets_DEFINITIONS}"
    INTERFACE_LINK_LIBRARIES "${wxWidgets_LIBRARIES}")
  if(wxWidgets_CXX_FLAGS)
    separate_arguments(_qx_wx_flags UNIX_COMMAND "${wxWidgets_CXX_FLAGS}")
    set_property(TARGET wxWidgets::wxWidgets PROPERTY INTERFACE_COMPILE_OPTIONS ${_qx_wx_flags})
  endif()
endif()
