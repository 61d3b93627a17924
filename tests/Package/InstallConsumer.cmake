# Installs the build to a fresh prefix and builds examples/consumer against
# it, then runs it: through the CMake package (MODE=cmake) or through
# pkg-config (MODE=pkgconfig).
#
#   cmake -DBUILD_DIR=<build> -DSOURCE_DIR=<source> -DWORK_DIR=<scratch>
#         -DMODE=cmake|pkgconfig -DCXX=<compiler> -DLIBDIR=<lib dir under the prefix>
#         -P InstallConsumer.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
                  TIMEOUT 600)
  if(NOT rc EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed (${rc}): ${command}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# Every file an installed header includes with a project path is installed.
file(GLOB_RECURSE installed RELATIVE ${prefix}/include ${prefix}/include/*)
foreach(header ${installed})
  file(STRINGS ${prefix}/include/${header} includes REGEX "^#include \"(OVUtility|OVLog)/")
  foreach(line ${includes})
    string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" target "${line}")
    if(NOT EXISTS ${prefix}/include/${target})
      message(FATAL_ERROR "${header} includes ${target}, which is not installed")
    endif()
  endforeach()
endforeach()

if(MODE STREQUAL "cmake")
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/consumer -B ${WORK_DIR}/build
      -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${CXX})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  run(${WORK_DIR}/build/consumer)
else()
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  run(pkg-config --cflags --libs ovutility)
  separate_arguments(flags UNIX_COMMAND "${run_output}")
  # The rpath lets a shared build's consumer find the libraries in the prefix.
  run(${CXX} -std=c++20 -O1 ${SOURCE_DIR}/examples/consumer/main.cpp ${flags}
      -Wl,-rpath,${prefix}/${LIBDIR} -o ${WORK_DIR}/consumer)
  run(${WORK_DIR}/consumer)
endif()
if(NOT run_output MATCHES "^55")
  message(FATAL_ERROR "consumer printed: ${run_output}")
endif()
message(STATUS "consumer (${MODE}) built against ${prefix} and ran")
