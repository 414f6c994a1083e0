# vorlane_embed(OUTPUT HEADER NAMESPACE FILE...)
#
# Writes a source with the contents of the files for `embeddedFiles()` of the header. Each file is
# an array of bytes. A changed file configures the build again.
function(vorlane_embed output header namespace)
  set(arrays)
  set(entries)
  foreach(file IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    cmake_path(GET file FILENAME name)
    string(MAKE_C_IDENTIFIER "${name}" identifier)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND arrays "constexpr char k_${identifier}[] = {${bytes}};\n")
    string(APPEND entries
      "    {\"${name}\", std::string_view(k_${identifier}, sizeof k_${identifier})},\n")
  endforeach()
  file(CONFIGURE OUTPUT ${output} @ONLY CONTENT
"#include \"@header@\"

namespace @namespace@ {

namespace {

@arrays@
constexpr Embedded kFiles[] = {
@entries@};

}  // namespace

std::span<const Embedded> embeddedFiles() { return kFiles; }

}  // namespace @namespace@
")
endfunction()
