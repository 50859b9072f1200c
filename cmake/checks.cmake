# Checks of the library's shape, beside the unit tests.

# Each public header compiles alone, in a translation unit of one line. The headers of the other
# kind of host (ZELK_FOREIGN_HOST_HEADERS) are left out.
file(GLOB zelk_public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/zelk/*.h)
foreach(header IN LISTS ZELK_FOREIGN_HOST_HEADERS)
  list(REMOVE_ITEM zelk_public_headers ${PROJECT_SOURCE_DIR}/include/zelk/${header})
endforeach()
set(zelk_header_units "")
foreach(header IN LISTS zelk_public_headers)
  get_filename_component(name ${header} NAME_WE)
  set(unit ${CMAKE_CURRENT_BINARY_DIR}/header-check/${name}_alone.cpp)
  file(CONFIGURE OUTPUT ${unit} CONTENT "#include <zelk/${name}.h>\n")
  list(APPEND zelk_header_units ${unit})
endforeach()
add_library(zelk_header_check OBJECT ${zelk_header_units})
target_link_libraries(zelk_header_check PRIVATE zelk::zelk zelk_options)

# The Linux library exports vorlan::zelk names only, and a project outside zelk can use it from an
# install prefix and from the source tree. Checked in the plain Linux build.
if(NOT WIN32 AND NOT CMAKE_CROSSCOMPILING AND NOT ZELK_SANITIZE)
  add_test(NAME exports_only_zelk
           COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIBRARY=$<TARGET_FILE:zelk>
                   -P ${PROJECT_SOURCE_DIR}/cmake/check-exports.cmake)
  foreach(mode package subdirectory)
    add_test(NAME consumer_${mode}
             COMMAND ${CMAKE_COMMAND} -DMODE=${mode} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
                     -DBUILD_DIR=${PROJECT_BINARY_DIR}
                     -DWORK_DIR=${PROJECT_BINARY_DIR}/consumer-${mode}
                     -DGENERATOR=${CMAKE_GENERATOR} -DMAKE_PROGRAM=${CMAKE_MAKE_PROGRAM}
                     -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
                     -P ${PROJECT_SOURCE_DIR}/cmake/check-package.cmake)
  endforeach()
  # The consumer builds share the two cores with the unit tests: run them one at a time.
  set_tests_properties(consumer_package consumer_subdirectory PROPERTIES RUN_SERIAL ON)
endif()
