# Language level, warnings, sanitizers and the compiler cache.
#
# `vorlane_options` has the options for our own targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

find_package(Threads REQUIRED)

add_library(vorlane_options INTERFACE)
target_compile_options(vorlane_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
  $<$<BOOL:${VORLANE_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 15)
  # GCC 12 to 14 warn about std::string's operator+ in optimised builds (GCC bug 105651).
  target_compile_options(vorlane_options INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo>:-Wno-array-bounds -Wno-restrict -Wno-stringop-overflow>)
endif()

if(VORLANE_SANITIZE)
  # Each report of a sanitizer fails its test.
  add_compile_options(-fsanitize=${VORLANE_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VORLANE_SANITIZE})
endif()

if(VORLANE_FUZZ)
  # libFuzzer uses the counters, fuzz/support/InputMeter the guards.
  add_compile_options(-fsanitize=fuzzer-no-link -fsanitize-coverage=trace-pc-guard)
endif()

if(VORLANE_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# Build folders and clones share the cache: paths in the tree are hashed relative to it.
find_program(VORLANE_CCACHE ccache)
if(VORLANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT VORLANE_COVERAGE)
  set(CMAKE_CXX_COMPILER_LAUNCHER
    env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros ${VORLANE_CCACHE})
endif()
