# vorlane_headers(LAYER SEES LAYER... [PACKAGES TARGET...])
#
# Compiles every header of a layer as if it stood alone, with the include root
# of its layer: each must bring what it uses, and survive being included twice.
# scripts/check-headers builds all of them.
function(vorlane_headers layer)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SEES;PACKAGES")
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
    ${PROJECT_SOURCE_DIR}/${layer}/*.h)
  if(NOT TARGET headers)
    add_custom_target(headers)
  endif()
  if(NOT headers)
    return()
  endif()
  set(sources)
  foreach(header IN LISTS headers)
    set(source ${PROJECT_BINARY_DIR}/headers/${header}.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n#include \"${header}\"\n")
    list(APPEND sources ${source})
  endforeach()
  add_library(headers_${layer} OBJECT ${sources})
  vorlane_configure(headers_${layer} SEES ${arg_SEES} PACKAGES ${arg_PACKAGES})
  set_target_properties(headers_${layer} PROPERTIES UNITY_BUILD OFF)
  target_compile_options(headers_${layer} PRIVATE -g0)
  add_dependencies(headers headers_${layer})
endfunction()
