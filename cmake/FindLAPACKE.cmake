# Finds LAPACKE and CBLAS on top of whatever BLAS and LAPACK the system has, as LAPACKE::LAPACKE.
find_path(LAPACKE_INCLUDE_DIR lapacke.h)
find_path(CBLAS_INCLUDE_DIR cblas.h)
find_library(LAPACKE_LIBRARY lapacke)
find_library(CBLAS_LIBRARY NAMES cblas openblas blas)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LAPACKE
  REQUIRED_VARS LAPACKE_LIBRARY LAPACKE_INCLUDE_DIR CBLAS_LIBRARY CBLAS_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install the packages liblapacke-dev and libopenblas-dev")
if(LAPACKE_FOUND AND NOT TARGET LAPACKE::LAPACKE)
  add_library(LAPACKE::LAPACKE INTERFACE IMPORTED)
  target_include_directories(LAPACKE::LAPACKE SYSTEM INTERFACE "${LAPACKE_INCLUDE_DIR}" "${CBLAS_INCLUDE_DIR}")
  target_link_libraries(LAPACKE::LAPACKE INTERFACE "${LAPACKE_LIBRARY}" "${CBLAS_LIBRARY}")
endif()
mark_as_advanced(LAPACKE_INCLUDE_DIR CBLAS_INCLUDE_DIR LAPACKE_LIBRARY CBLAS_LIBRARY)
