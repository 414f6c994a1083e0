# Include roots: a generated folder for each set of layers that has links to these layers only. A
# target with the root "platform+sim" cannot include "box/...".

# vorlane_sees(TARGET LAYER...): adds the include root of these layers.
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
  # __FILE__ is "platform/foundation/Value.h" for all clones. The last match wins, because the build
  # folder can be inside the source folder. The compiler cache passes relative paths.
  file(RELATIVE_PATH source_from_build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${source_from_build}=
    -fmacro-prefix-map=${root}/= -fmacro-prefix-map=include/${set_name}/=)
endfunction()
