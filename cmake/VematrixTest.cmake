# vematrix_add_test(<name> [INTERNAL] [LABELS <label>...] [LIBRARIES <target>...] SOURCES <file>...)
#
# One GoogleTest executable, run by ctest as one test. A test sees the shared library as a host does; with
# INTERNAL it is linked with the library's objects instead and reaches functions that are not exported.
# What most tests include is parsed once. Tests are built with little optimisation: compiling them is most of the
# time that a check of a change takes.
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/TestHeaders.cpp" "")
add_library(vematrix_test_headers OBJECT "${CMAKE_CURRENT_BINARY_DIR}/TestHeaders.cpp")
target_link_libraries(vematrix_test_headers PRIVATE GTest::gtest GTest::gmock vematrix_usage vematrix_warnings)
target_compile_options(vematrix_test_headers PRIVATE $<$<CONFIG:Release>:-O1>)
target_precompile_headers(vematrix_test_headers PRIVATE <gtest/gtest.h> <gmock/gmock.h> <Eigen/Dense>
  <Eigen/SparseCore> <algorithm> <fstream> <functional> <random> <sstream> <string> <vector>)

function(vematrix_add_test name)
  cmake_parse_arguments(ARG "INTERNAL" "TIMEOUT" "SOURCES;LABELS;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE
    vematrix_test_support vematrix_warnings ${ARG_LIBRARIES}
    $<IF:$<BOOL:${ARG_INTERNAL}>,vematrix_internals,vematrix::vematrix> GTest::gtest GTest::gmock GTest::gtest_main)
  # GoogleTest's macros for parameterised suites leave variadic arguments out.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1>)
  target_precompile_headers(${name} REUSE_FROM vematrix_test_headers)
  add_test(NAME ${name} COMMAND ${name})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 600)
  endif()
  if("parallel" IN_LIST ARG_LABELS)
    set_property(GLOBAL APPEND PROPERTY VEMATRIX_PARALLEL_TESTS ${name})
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
