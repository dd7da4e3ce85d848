# cmake -DBUILD_DIR=… -DSOURCE_DIR=… -DWORK_DIR=… -DCXX=… -DSANITIZE=… -P start_test.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
foreach(component library development)
  run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/prefix" --component ${component})
endforeach()
if(SANITIZE)
  set(sanitize "-fsanitize=${SANITIZE}")
endif()
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" "-DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${sanitize}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/start")
