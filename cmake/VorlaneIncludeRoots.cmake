# Include roots: one generated folder for each set of layers, with a link to each layer of the
# set and nothing else. A target that gets only the root "platform+sim" cannot include "box/...".

# vorlane_sees(TARGET LAYER...): gives the target the include root of these layers.
function(vorlane_sees target)
  set(layers ${ARGN})
  list(SORT layers)
  list(REMOVE_DUPLICATES layers)
  list(JOIN layers "+" set_name)
  set(root ${PROJECT_BINARY_DIR}/include/${set_name})
  file(MAKE_DIRECTORY ${root})
  foreach(layer IN LISTS layers)
    if(NOT IS_SYMLINK ${root}/${layer})
      file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${layer} ${root}/${layer} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(${target} PRIVATE ${root})
  # __FILE__ reads "platform/foundation/Value.h" wherever the tree lies. The last match wins, and
  # the build folder may lie in the source folder. The relative forms are what the compiler sees
  # when the cache has rewritten its paths.
  file(RELATIVE_PATH source_from_build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${source_from_build}=
    -fmacro-prefix-map=${root}/= -fmacro-prefix-map=include/${set_name}/=)
endfunction()
