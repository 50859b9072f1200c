# The tests of the Windows cross build run under Wine (cmake/wine-run.sh as the cross-compiling
# emulator). A set-up test makes one private prefix for the whole test run and a clean-up test ends
# its server and removes it; every test that runs a Windows program requires that fixture.
set(ZELK_UNDER_WINE OFF)
if(CMAKE_CROSSCOMPILING AND WIN32 AND CMAKE_CROSSCOMPILING_EMULATOR MATCHES "wine-run\\.sh$")
  set(ZELK_UNDER_WINE ON)
  add_test(NAME wine_prefix_setup
           COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} --setup ${CMAKE_BINARY_DIR})
  add_test(NAME wine_prefix_cleanup
           COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} --cleanup ${CMAKE_BINARY_DIR})
  set_tests_properties(wine_prefix_setup PROPERTIES FIXTURES_SETUP zelk_wine LABELS fixture)
  set_tests_properties(wine_prefix_cleanup PROPERTIES FIXTURES_CLEANUP zelk_wine LABELS fixture)
endif()

# Marks tests (of the calling directory) that run a Windows program as needing the Wine prefix.
function(zelk_test_needs_wine)
  if(ZELK_UNDER_WINE)
    set_tests_properties(${ARGN} PROPERTIES FIXTURES_REQUIRED zelk_wine)
  endif()
endfunction()
