# A library in the place of libavfilter.
#
# gst-libav, which has most decoders, is linked to libavfilter for one element, avdeinterlace, which
# this program never uses. libavfilter brings 20 libraries along, speech synthesis among them: half
# of the time that it takes to load the decoders, and 3.5 MB of relocated data in each media process.
# vorlane-no-filters has libavfilter's soname and the functions of it that gst-libav calls. The media
# process loads it first, so the dynamic linker does not look for the real one.
#
# The soname and the functions are those of the plugin that is installed. Without one, or with one
# that is not linked to libavfilter, there is no such target and the media process does without. When
# another version of the plugin is installed later, its soname differs and the real one is loaded.

pkg_get_variable(plugins gstreamer-1.0 pluginsdir)
set(plugin ${plugins}/libgstlibav.so)
set(soname)
set(functions)
if(EXISTS ${plugin})
  execute_process(COMMAND ${CMAKE_READELF} -d ${plugin} OUTPUT_VARIABLE needed ERROR_QUIET)
  execute_process(COMMAND ${CMAKE_NM} -D --undefined-only ${plugin}
    OUTPUT_VARIABLE undefined ERROR_QUIET)
  string(REGEX MATCH "libavfilter\\.so\\.[0-9]+" soname "${needed}")
  string(REGEX MATCHALL "[A-Za-z0-9_]+@LIBAVFILTER_[0-9]+" functions "${undefined}")
endif()
if(NOT soname OR NOT functions)
  message(STATUS "gst-libav is not there or not linked to libavfilter: no vorlane-no-filters")
  return()
endif()

set(folder ${CMAKE_CURRENT_BINARY_DIR}/no-filters)
set(source "// Nothing calls these.\n")
foreach(function IN LISTS functions)
  string(REGEX REPLACE "@.*" "" name ${function})
  string(REGEX REPLACE ".*@" "" version ${function})
  string(APPEND source "extern \"C\" long ${name}() { return -1; }\n")
endforeach()
file(CONFIGURE OUTPUT ${folder}/functions.cpp CONTENT "${source}")
file(CONFIGURE OUTPUT ${folder}/versions CONTENT "${version} { global: *; };\n")

add_library(vorlane-no-filters MODULE ${folder}/functions.cpp)
set_target_properties(vorlane-no-filters PROPERTIES
  PREFIX "" LINK_DEPENDS ${folder}/versions
  # Beside the programs, where the media process looks for it.
  LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
target_link_options(vorlane-no-filters PRIVATE
  -Wl,-soname,${soname} -Wl,--version-script=${folder}/versions)
