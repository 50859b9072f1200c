# Counts the test cases of one build's last test run, for scripts/test.sh.
#   cmake -DBUILD_DIR=build/dev -P scripts/count-results.cmake
# Reads BUILD_DIR/test-results/ctest.xml (CTest's JUnit report) and, for each CTest test that is a
# GoogleTest program, its own report BUILD_DIR/test-results/<test>.xml. A GoogleTest program
# counts its test cases; any other CTest test counts as one case. A program that CTest saw fail
# while its report shows no failed case (a crash after the report, a leak found at exit) counts
# one failure more; one without a report counts as one case. The set-up and clean-up of the Wine
# fixture count only when they fail.
# Prints "counts <passed> <failed> <skipped>" as its last line, after one line per failure.
if(NOT BUILD_DIR)
  message(FATAL_ERROR "usage: cmake -DBUILD_DIR=<dir> -P count-results.cmake")
endif()

set(results ${BUILD_DIR}/test-results)
set(passed 0)
set(failed 0)
set(skipped 0)

function(report text)
  execute_process(COMMAND ${CMAKE_COMMAND} -E echo "${text}")
endfunction()

function(attribute xml name out)
  if(xml MATCHES " ${name}=\"([0-9]+)\"")
    set(${out} ${CMAKE_MATCH_1} PARENT_SCOPE)
  else()
    set(${out} 0 PARENT_SCOPE)
  endif()
endfunction()

if(NOT EXISTS ${results}/ctest.xml)
  report("  no test report in ${results}")
  report("counts 0 1 0")
  return()
endif()

file(READ ${results}/ctest.xml junit)
# One list item per test case: split the report before each <testcase. Semicolons and square
# brackets (which would group list items) in the reports become harmless characters first.
string(REPLACE ";" "," junit "${junit}")
string(REPLACE "[" "(" junit "${junit}")
string(REPLACE "]" ")" junit "${junit}")
string(REPLACE "<testcase " ";<testcase " cases "${junit}")
list(REMOVE_AT cases 0)

foreach(case IN LISTS cases)
  if(NOT case MATCHES "^<testcase name=\"([^\"]*)\"[^>]* status=\"([a-z]*)\"")
    continue()
  endif()
  set(name ${CMAKE_MATCH_1})
  set(status ${CMAKE_MATCH_2})

  if(status STREQUAL "disabled")
    math(EXPR skipped "${skipped} + 1")
    continue()
  endif()
  if(status STREQUAL "notrun")
    if(case MATCHES "<skipped message=\"SKIP_")
      math(EXPR skipped "${skipped} + 1")
    else()
      math(EXPR failed "${failed} + 1")
      report("  not run: ${name}")
    endif()
    continue()
  endif()

  set(ok TRUE)
  if(NOT status STREQUAL "run")
    set(ok FALSE)
  endif()

  if(name MATCHES "^wine_prefix_")
    if(NOT ok)
      math(EXPR failed "${failed} + 1")
      report("  failed: ${name}")
    endif()
    continue()
  endif()

  if(EXISTS ${results}/${name}.xml)
    file(READ ${results}/${name}.xml gtest)
    string(REPLACE ";" "," gtest "${gtest}")
    string(REPLACE "[" "(" gtest "${gtest}")
    string(REPLACE "]" ")" gtest "${gtest}")
    if(gtest MATCHES "<testsuites [^>]*>")
      set(head "${CMAKE_MATCH_0}")
      attribute("${head}" tests total)
      attribute("${head}" failures case_failures)
      attribute("${head}" errors case_errors)
      attribute("${head}" disabled case_disabled)
      string(REGEX MATCHALL "result=\"skipped\"" skips "${gtest}")
      list(LENGTH skips case_skipped)
      math(EXPR case_failed "${case_failures} + ${case_errors}")
      math(EXPR case_passed "${total} - ${case_failed} - ${case_disabled} - ${case_skipped}")
      if(NOT ok AND case_failed EQUAL 0)
        set(case_failed 1)
        report("  failed after its cases passed (crash, leak or bad exit code): ${name}")
      elseif(case_failed GREATER 0)
        string(REGEX MATCHALL "<testcase name=\"[^\"]*\"[^>]*classname=\"[^\"]*\"[^>]*>[ \t\r\n]*<failure"
               failures "${gtest}")
        foreach(failure IN LISTS failures)
          if(failure MATCHES "<testcase name=\"([^\"]*)\".*classname=\"([^\"]*)\"")
            report("  failed: ${name}: ${CMAKE_MATCH_2}.${CMAKE_MATCH_1}")
          endif()
        endforeach()
      endif()
      math(EXPR passed "${passed} + ${case_passed}")
      math(EXPR failed "${failed} + ${case_failed}")
      math(EXPR skipped "${skipped} + ${case_skipped} + ${case_disabled}")
      continue()
    endif()
  endif()

  if(ok)
    math(EXPR passed "${passed} + 1")
  else()
    math(EXPR failed "${failed} + 1")
    report("  failed: ${name}")
  endif()
endforeach()

report("counts ${passed} ${failed} ${skipped}")
