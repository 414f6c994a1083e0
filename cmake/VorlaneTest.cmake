# vorlane_test(FOLDER LABEL core|box [WITH FOLDER] SEES LAYER... DEPENDS TARGET...
#              [PACKAGES TARGET...])
#
# One executable for the folder, named after its path: tests/platform/ui becomes
# test_platform_ui. It holds the folder's *_test.cpp and, as support, its other
# sources; and those of the folder WITH, whose tests are shared by several.
# Nothing is built while the folder has no *_test.cpp.
function(vorlane_test folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL;WITH" "SEES;DEPENDS;PACKAGES")
  file(GLOB tests CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*_test.cpp)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  if(NOT tests)
    return()
  endif()
  if(arg_WITH)
    file(GLOB shared CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${arg_WITH}/*.cpp)
    list(APPEND sources ${shared})
  endif()
  string(REGEX REPLACE "^tests/" "test_" name ${folder})
  string(REPLACE "/" "_" name ${name})
  add_executable(${name} ${sources})
  vorlane_configure(${name} SEES tests ${arg_SEES} PACKAGES ${arg_PACKAGES})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} GTest::gmock_main)
  set(timeout 60)
  if(arg_LABEL STREQUAL "box" OR VORLANE_SANITIZE)
    set(timeout 180)
  endif()
  # Found out when the tests are run, so that building never runs what it built.
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    TEST_PREFIX "${folder}: "
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${timeout})
  vorlane_sanitizer_environment(${name})
endfunction()

# vorlane_script_test(NAME LABEL core|box COMMAND ARGUMENT...)
function(vorlane_script_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "COMMAND")
  add_test(NAME "scripts: ${name}" COMMAND ${arg_COMMAND} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  set_tests_properties("scripts: ${name}" PROPERTIES LABELS ${arg_LABEL} TIMEOUT 120)
endfunction()
