# vorlane_sanitizer_environment(TARGET): sets the environment of tests under a sanitizer. The
# suppressions in tests/sanitizers/ are for third-party code only, with reasons.
#
# gtest_discover_tests passes only the first value of a list property, so a file that ctest reads
# after test discovery sets the environment.
function(vorlane_sanitizer_environment target)
  if(NOT VORLANE_SANITIZE)
    return()
  endif()
  set(suppressions ${PROJECT_SOURCE_DIR}/tests/sanitizers)
  set(environment
    # Suppressions need whole stacks, and most libraries have no frame pointers.
    "ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1:fast_unwind_on_malloc=0"
    "LSAN_OPTIONS=suppressions=${suppressions}/lsan.supp:print_suppressions=0"
    "TSAN_OPTIONS=suppressions=${suppressions}/tsan.supp:print_suppressions=0:second_deadlock_stack=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    # GLib's own allocator would hide leaks and uses after free.
    "G_SLICE=always-malloc"
    # Unwinding is slow, so the tests of the session manager run shorter sequences of steps.
    "VORLANE_SEQUENCE_DEPTH=3")
  set(file ${CMAKE_CURRENT_BINARY_DIR}/${target}_environment.cmake)
  file(CONFIGURE OUTPUT ${file} @ONLY CONTENT [[
foreach(test IN LISTS @target@_TESTS)
  set_tests_properties("${test}" PROPERTIES ENVIRONMENT "@environment@")
endforeach()
]])
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${file})
endfunction()
