# Builds and runs the consumer program of tests/package against zelk, in one of two ways:
#   MODE=package       install BUILD_DIR into a fresh prefix, then find_package(zelk CONFIG)
#   MODE=subdirectory  add_subdirectory of SOURCE_DIR
# Variables: MODE, SOURCE_DIR, BUILD_DIR, WORK_DIR, GENERATOR, MAKE_PROGRAM, CXX_COMPILER.
foreach(variable MODE SOURCE_DIR BUILD_DIR WORK_DIR GENERATOR CXX_COMPILER)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "check-package.cmake needs -D${variable}=...")
  endif()
endforeach()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed (${status}): ${command}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

set(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=Debug -DZELK_CONSUMER_MODE=${MODE})
if(MAKE_PROGRAM)
  list(APPEND configure -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM})
endif()

if(MODE STREQUAL "package")
  set(prefix ${WORK_DIR}/prefix)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
  foreach(file include/zelk/zelk.h include/zelk/export.h)
    if(NOT EXISTS ${prefix}/${file})
      message(FATAL_ERROR "the install lacks ${file}")
    endif()
  endforeach()
  # Only the install prefix: nothing of the build tree may leak into the consumer.
  run(${configure} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
elseif(MODE STREQUAL "subdirectory")
  run(${configure} -DZELK_SOURCE_DIR=${SOURCE_DIR})
else()
  message(FATAL_ERROR "unknown MODE ${MODE}")
endif()

run(${CMAKE_COMMAND} --build ${WORK_DIR}/build -j 2)
run(${WORK_DIR}/build/app)
message(STATUS "zelk consumer built and ran (${MODE})")
file(REMOVE_RECURSE ${WORK_DIR})
