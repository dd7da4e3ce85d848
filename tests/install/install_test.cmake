# cmake -DBUILD_DIR=… -DCONSUMER_DIR=… -DWORK_DIR=… -DCXX=… -DLIBDIR=… -P install_test.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}" --component library)
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}" --component development)

if(SANITIZE)
  set(sanitize "-fsanitize=${SANITIZE}")
endif()

# find_package(vematrix CONFIG)
run("${CMAKE_COMMAND}" -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" "-DCMAKE_PREFIX_PATH=${prefix}"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${sanitize}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")

# pkg-config
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run(pkg-config --cflags --libs vematrix)
separate_arguments(flags UNIX_COMMAND "${output}")
run("${CXX}" -std=c++17 ${sanitize} "${CONSUMER_DIR}/main.cpp" -o "${WORK_DIR}/consumer" ${flags}
    "-Wl,-rpath,${prefix}/${LIBDIR}")
run("${WORK_DIR}/consumer")
