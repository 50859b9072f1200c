# Fails unless every defined dynamic symbol of a shared library is a vorlan::zelk name.
#   cmake -DNM=nm -DLIBRARY=libzelk.so -P check-exports.cmake
if(NOT NM OR NOT LIBRARY)
  message(FATAL_ERROR "usage: cmake -DNM=<nm> -DLIBRARY=<file> -P check-exports.cmake")
endif()

execute_process(COMMAND ${NM} -DC --defined-only ${LIBRARY}
                OUTPUT_VARIABLE listing RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()

string(REPLACE "\n" ";" lines "${listing}")
set(count 0)
set(foreign "")
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  # "<address> <type> <name>": keep the name, then drop the wording the demangler puts before
  # the names of type information, tables and thunks.
  string(REGEX REPLACE "^[0-9a-fA-F]* *[A-Za-z] " "" name "${line}")
  string(REGEX REPLACE "^(typeinfo for |typeinfo name for |vtable for |VTT for |guard variable for |non-virtual thunk to |virtual thunk to |covariant return thunk to )" "" name "${name}")
  math(EXPR count "${count} + 1")
  if(NOT name MATCHES "^vorlan::zelk::")
    string(APPEND foreign "  ${line}\n")
  endif()
endforeach()

if(count EQUAL 0)
  message(FATAL_ERROR "${LIBRARY} exports nothing")
endif()
if(foreign)
  message(FATAL_ERROR "${LIBRARY} exports names outside vorlan::zelk:\n${foreign}")
endif()
message(STATUS "${LIBRARY}: all ${count} exported symbols are vorlan::zelk names")
