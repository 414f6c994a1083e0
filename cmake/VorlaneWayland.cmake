# box::wayland: libwayland-client, libxkbcommon, and the code of the protocol extensions that the box
# uses. The code is generated when CMake runs, so that editors and clang-tidy find it.

pkg_check_modules(BOX_WAYLAND REQUIRED IMPORTED_TARGET wayland-client xkbcommon)
pkg_get_variable(wayland_protocols wayland-protocols pkgdatadir)
find_program(WAYLAND_SCANNER wayland-scanner REQUIRED)

set(wayland_folder ${PROJECT_BINARY_DIR}/wayland)
file(MAKE_DIRECTORY ${wayland_folder})
set(wayland_sources)
foreach(protocol stable/xdg-shell/xdg-shell unstable/idle-inhibit/idle-inhibit-unstable-v1)
  cmake_path(GET protocol FILENAME name)
  set(description ${wayland_protocols}/${protocol}.xml)
  foreach(kind client-header private-code)
    string(REPLACE client-header client-protocol.h file ${kind})
    string(REPLACE private-code protocol.c file ${file})
    set(file ${wayland_folder}/${name}-${file})
    if(NOT EXISTS ${file} OR ${description} IS_NEWER_THAN ${file})
      execute_process(COMMAND ${WAYLAND_SCANNER} ${kind} ${description} ${file}
        COMMAND_ERROR_IS_FATAL ANY)
    endif()
  endforeach()
  # The project has no C compiler. The header gives the definitions external linkage in C++.
  set(source ${wayland_folder}/${name}-protocol.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT
    "#include \"${name}-client-protocol.h\"\nextern \"C\" {\n#include \"${name}-protocol.c\"\n}\n")
  list(APPEND wayland_sources ${source})
endforeach()

add_library(box_wayland STATIC ${wayland_sources})
target_include_directories(box_wayland SYSTEM PUBLIC ${wayland_folder})
target_compile_options(box_wayland PRIVATE -w)
set_target_properties(box_wayland PROPERTIES CXX_VISIBILITY_PRESET hidden)
target_link_libraries(box_wayland PUBLIC PkgConfig::BOX_WAYLAND)
add_library(box::wayland ALIAS box_wayland)
