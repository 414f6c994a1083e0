# vorlane_test(NAME LABEL core|box FOLDERS FOLDER... [EXCEPT FILE...] SEES LAYER...
#              DEPENDS TARGET... [PACKAGES TARGET...])
#
# A test program of all sources in the folders but for those in EXCEPT. CTest lists its tests as "FOLDER: Suite.Test" with the
# first folder. tests/support/bounded limits their output. All test programs use the precompiled headers
# of `vorlane_test_headers`.
function(vorlane_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "FOLDERS;EXCEPT;SEES;DEPENDS;PACKAGES")
  set(sources)
  foreach(folder IN LISTS arg_FOLDERS)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  list(TRANSFORM arg_EXCEPT PREPEND ${PROJECT_SOURCE_DIR}/)
  list(REMOVE_ITEM sources "" ${arg_EXCEPT})
  add_executable(${name} ${sources})
  vorlane_configure(${name} SEES tests ${arg_SEES} PACKAGES ${arg_PACKAGES})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} GTest::gmock_main)
  vorlane_precompile(${name} vorlane_test_headers)
  set(timeout 60)
  if(arg_LABEL STREQUAL "box" OR VORLANE_SANITIZE)
    set(timeout 180)
  endif()
  list(GET arg_FOLDERS 0 prefix)
  # The name of this property in older versions of CMake.
  set(launcher CROSSCOMPILING_EMULATOR)
  if(CMAKE_VERSION VERSION_GREATER_EQUAL 3.29)
    set(launcher TEST_LAUNCHER)
  endif()
  set_target_properties(${name} PROPERTIES ${launcher} ${PROJECT_SOURCE_DIR}/tests/support/bounded)
  # CTest lists the tests when it runs, so a build does not run programs.
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    TEST_PREFIX "${prefix}: "
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${timeout})
  vorlane_sanitizer_environment(${name})
endfunction()

# vorlane_test_objects(NAME SOURCE... SEES LAYER... [PACKAGES TARGET...])
#
# Sources of several test programs, compiled once. The programs have NAME among their DEPENDS.
function(vorlane_test_objects name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SEES;PACKAGES")
  list(TRANSFORM arg_UNPARSED_ARGUMENTS PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE sources)
  add_library(${name} OBJECT ${sources})
  vorlane_configure(${name} SEES tests ${arg_SEES} PACKAGES ${arg_PACKAGES} GTest::gmock)
  vorlane_precompile(${name} vorlane_test_headers)
endfunction()

# vorlane_script_test(NAME LABEL core|box COMMAND ARGUMENT...)
function(vorlane_script_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "COMMAND")
  add_test(NAME "scripts: ${name}" COMMAND ${PROJECT_SOURCE_DIR}/tests/support/bounded ${arg_COMMAND}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  set_tests_properties("scripts: ${name}" PROPERTIES LABELS ${arg_LABEL} TIMEOUT 120)
endfunction()
