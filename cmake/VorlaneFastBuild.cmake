# Quick builds: several sources in one translation unit, precompiled headers, and a fast linker.
#
# VORLANE_UNITY OFF compiles each source alone, as clang-tidy and editors expect.
option(VORLANE_UNITY "Compile several sources of a target in one translation unit" ON)
set(VORLANE_UNITY_BATCH 24 CACHE STRING "Maximum number of sources in one translation unit")

# A translation unit has sources of one folder only, so names in anonymous namespaces have to be unique
# in their folder.
function(vorlane_unity target)
  set_target_properties(${target} PROPERTIES
    UNITY_BUILD ${VORLANE_UNITY} UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source)
    # Relative paths, so that clones share the compiler cache.
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
    cmake_path(GET folder PARENT_PATH folder)
    string(MAKE_C_IDENTIFIER "${folder}" folder)
    if(NOT DEFINED count_${folder})
      set(count_${folder} 0)
    endif()
    math(EXPR batch "${count_${folder}} / ${VORLANE_UNITY_BATCH}")
    math(EXPR count_${folder} "${count_${folder}} + 1")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP "${folder}_${batch}")
  endforeach()
endfunction()

if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CMAKE_EXE_LINKER_FLAGS MATCHES "-fuse-ld")
  find_program(VORLANE_LINKER NAMES mold ld.lld)
  if(VORLANE_LINKER MATCHES "mold$")
    add_link_options(-fuse-ld=mold)
  elseif(VORLANE_LINKER MATCHES "lld$")
    add_link_options(-fuse-ld=lld)
  endif()
endif()

# GCC only: Clang's precompiled headers contain file times, so clones could not share them in the
# compiler cache.
set(VORLANE_PRECOMPILE OFF)
if(VORLANE_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(VORLANE_PRECOMPILE ON)
  # The compiler cache hashes the precompiled header instead of its sources.
  add_compile_options(-fpch-preprocess)
  # SDL and PulseAudio define it. All users of a precompiled header need the same macros.
  add_compile_definitions(_REENTRANT)
endif()

set(standard_headers
  <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <cstdint> <deque>
  <filesystem> <fstream> <functional> <map> <memory> <mutex> <optional> <span> <sstream> <string>
  <string_view> <thread> <unordered_map> <utility> <variant> <vector>)

# vorlane_precompiled(NAME HEADER... [PACKAGES TARGET...]): a set of precompiled headers.
function(vorlane_precompiled name)
  if(NOT VORLANE_PRECOMPILE)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PACKAGES")
  set(source ${PROJECT_BINARY_DIR}/precompiled/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "")
  add_library(${name} OBJECT ${source})
  target_link_libraries(${name} PRIVATE vorlane_options ${arg_PACKAGES})
  target_precompile_headers(${name} PRIVATE ${arg_UNPARSED_ARGUMENTS})
endfunction()

# vorlane_precompile(TARGET NAME): the target uses the set NAME.
function(vorlane_precompile target name)
  if(VORLANE_PRECOMPILE)
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()

vorlane_precompiled(vorlane_standard_headers ${standard_headers})
