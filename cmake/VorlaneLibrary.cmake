# vorlane_library(NAME FOLDER... [EXCEPT FILE...] SEES LAYER... [DEPENDS TARGET...]
#                 [PACKAGES TARGET...])
#
# A static library of the sources in the folders, without their subfolders; an interface library if
# there are none. Include paths are not inherited: a target sees the layers of SEES only, and PACKAGES
# are inherited for linking only.
function(vorlane_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "EXCEPT;SEES;DEPENDS;PACKAGES")
  set(sources)
  foreach(folder IN LISTS arg_UNPARSED_ARGUMENTS)
    file(GLOB found CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
      ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  if(arg_EXCEPT)
    list(REMOVE_ITEM sources ${arg_EXCEPT})
  endif()
  if(sources)
    list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/)
    add_library(${name} STATIC ${sources})
    vorlane_configure(${name} SEES ${arg_SEES} PACKAGES ${arg_PACKAGES})
    vorlane_precompile(${name} vorlane_standard_headers)
    target_link_libraries(${name} PUBLIC ${arg_DEPENDS})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${arg_DEPENDS})
  endif()
endfunction()

# vorlane_executable(NAME SOURCE... SEES LAYER... [DEPENDS TARGET...] [PACKAGES TARGET...])
function(vorlane_executable name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SEES;DEPENDS;PACKAGES")
  set(sources)
  foreach(source IN LISTS arg_UNPARSED_ARGUMENTS)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    list(APPEND sources ${source})
  endforeach()
  add_executable(${name} ${sources})
  vorlane_configure(${name} SEES ${arg_SEES} PACKAGES ${arg_PACKAGES})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS})
endfunction()

# Settings of libraries, executables and tests.
function(vorlane_configure target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SEES;PACKAGES")
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:vorlane_options> ${arg_PACKAGES})
  vorlane_unity(${target})
  vorlane_sees(${target} ${arg_SEES})
endfunction()
