# vorlane_sanitizer_environment(TARGET): the environment of a target's tests under a sanitizer.
# Suppressions name third-party code only, each with its reason, in tests/sanitizers/.
#
# gtest_discover_tests passes a property of several values on as its first alone, so the
# environment is set by a file that ctest reads after it has found the tests.
function(vorlane_sanitizer_environment target)
  if(NOT VORLANE_SANITIZE)
    return()
  endif()
  set(suppressions ${PROJECT_SOURCE_DIR}/tests/sanitizers)
  set(environment
    # Whole stacks: most libraries have no frame pointers, and a suppression has to see a name.
    "ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1:fast_unwind_on_malloc=0"
    "LSAN_OPTIONS=suppressions=${suppressions}/lsan.supp:print_suppressions=0"
    "TSAN_OPTIONS=suppressions=${suppressions}/tsan.supp:print_suppressions=0:second_deadlock_stack=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    # GLib's pools hide leaks and uses after free from the tools.
    "G_SLICE=always-malloc"
    # Whole stacks cost: the same faults show in shorter sequences.
    "VORLANE_SEQUENCE_DEPTH=3")
  set(file ${CMAKE_CURRENT_BINARY_DIR}/${target}_environment.cmake)
  file(CONFIGURE OUTPUT ${file} @ONLY CONTENT [[
foreach(test IN LISTS @target@_TESTS)
  set_tests_properties("${test}" PROPERTIES ENVIRONMENT "@environment@")
endforeach()
]])
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${file})
endfunction()
