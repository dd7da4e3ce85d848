# Finds AMD (approximate minimum degree ordering, SuiteSparse, BSD licence) as AMD::AMD.
find_path(AMD_INCLUDE_DIR amd.h PATH_SUFFIXES suitesparse)
find_library(AMD_LIBRARY amd)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AMD REQUIRED_VARS AMD_LIBRARY AMD_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install the package libsuitesparse-dev")
if(AMD_FOUND AND NOT TARGET AMD::AMD)
  add_library(AMD::AMD UNKNOWN IMPORTED)
  set_target_properties(AMD::AMD PROPERTIES IMPORTED_LOCATION "${AMD_LIBRARY}")
  target_include_directories(AMD::AMD SYSTEM INTERFACE "${AMD_INCLUDE_DIR}")
endif()
mark_as_advanced(AMD_INCLUDE_DIR AMD_LIBRARY)
