# Finds Intel MKL as packaged by Debian and defines the imported target MKL::MKL:
# 32-bit integers, GNU OpenMP threading (one OpenMP runtime in the process).
#
# MKL_FOUND, MKL_INCLUDE_DIR, MKL_VERSION
find_path(MKL_INCLUDE_DIR mkl.h PATH_SUFFIXES mkl HINTS ENV MKLROOT)
set(_mkl_required MKL_INCLUDE_DIR)
foreach(_component mkl_gf_lp64 mkl_gnu_thread mkl_core)
  find_library(MKL_${_component}_LIBRARY ${_component} PATH_SUFFIXES intel64 HINTS ENV MKLROOT)
  list(APPEND _mkl_required MKL_${_component}_LIBRARY)
endforeach()

if(MKL_INCLUDE_DIR AND EXISTS "${MKL_INCLUDE_DIR}/mkl_version.h")
  file(STRINGS "${MKL_INCLUDE_DIR}/mkl_version.h" _mkl_lines REGEX "#define __INTEL_MKL(_MINOR|_UPDATE)?__ ")
  string(REGEX REPLACE ".*__INTEL_MKL__ +([0-9]+).*" "\\1" _mkl_major "${_mkl_lines}")
  string(REGEX REPLACE ".*__INTEL_MKL_UPDATE__ +([0-9]+).*" "\\1" _mkl_update "${_mkl_lines}")
  set(MKL_VERSION "${_mkl_major}.${_mkl_update}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MKL REQUIRED_VARS ${_mkl_required} VERSION_VAR MKL_VERSION
  REASON_FAILURE_MESSAGE "install the package libmkl-dev, or configure with -DVEMATRIX_MATH=portable")

if(MKL_FOUND AND NOT TARGET MKL::MKL)
  add_library(MKL::MKL INTERFACE IMPORTED)
  target_include_directories(MKL::MKL SYSTEM INTERFACE "${MKL_INCLUDE_DIR}")
  target_link_libraries(MKL::MKL INTERFACE
    "${MKL_mkl_gf_lp64_LIBRARY}" "${MKL_mkl_gnu_thread_LIBRARY}" "${MKL_mkl_core_LIBRARY}"
    gomp Threads::Threads m ${CMAKE_DL_LIBS})
endif()
mark_as_advanced(MKL_INCLUDE_DIR ${_mkl_required})
