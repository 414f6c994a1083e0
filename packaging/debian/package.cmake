# Debian packages by CPack, one for each component; scripts/package runs it and checks what comes
# out.
set(VORLANE_MAINTAINER "TVVorlane maintainers <maintainers@tvvorlane.example>" CACHE STRING
  "Who answers for the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tvvorlane)
set(CPACK_PACKAGE_VENDOR TVVorlane)
set(CPACK_PACKAGE_CONTACT ${VORLANE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL box client client-dev frames-dev)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# vorlane_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION [DEPENDS])
macro(vorlane_package component name section summary description depends)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  # The first line of what CPack writes is the summary, the rest the description.
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${description}")
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  foreach(file copyright changelog.Debian.gz)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/${file}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  endforeach()
endmacro()

set(this_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

vorlane_package(box tvvorlane video
  "on-screen side of a wireless media receiver"
  "TVVorlane shows on a TV what a phone or computer sends: it plays video and
audio, mirrors screens, shows the code that pairs a device, and tells the
sender how it goes. A receiver service in any language drives it over D-Bus.
.
This package holds the program itself, the one that plays media, which it
starts, vorlanectl to steer it from the command line, and units to start it at
boot or with a graphical session."
  "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, gstreamer1.0-libav, gstreamer1.0-x, gstreamer1.0-alsa, gstreamer1.0-pulseaudio, fonts-noto-core, systemd | systemd-standalone-sysusers | systemd-sysusers, udev")
set(CPACK_DEBIAN_BOX_PACKAGE_RECOMMENDS "dbus, polkitd, fonts-noto-cjk, libgl1-mesa-dri")
set(CPACK_DEBIAN_BOX_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_BOX_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/postinst ${CMAKE_CURRENT_LIST_DIR}/prerm
  ${CMAKE_CURRENT_LIST_DIR}/postrm)

vorlane_package(client libtvvorlane-client0 libs
  "receiver interface of TVVorlane (library)"
  "Connects the program that speaks with phones and computers on the network to
TVVorlane, which shows what they send. Asynchronous, for C and C++.
.
This package holds the shared library."
  "")
set(CPACK_DEBIAN_CLIENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CLIENT_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/shlibs ${CMAKE_CURRENT_LIST_DIR}/triggers)

vorlane_package(client-dev libtvvorlane-client-dev libdevel
  "receiver interface of TVVorlane (development files)"
  "Connects the program that speaks with phones and computers on the network to
TVVorlane, which shows what they send. Asynchronous, for C and C++.
.
This package holds the headers and an example."
  "libtvvorlane-client0 (= ${this_version})")

vorlane_package(frames-dev libvorlane-frames-dev libdevel
  "pictures of mirrored screens for TVVorlane (development files)"
  "Hands the pictures of a mirrored screen to TVVorlane, without copying them,
from the program that decodes them.
.
This package holds a static library and its header, for C and C++."
  "libstdc++-12-dev | libstdc++-dev")

# Files that each package has.
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.Debian)
configure_file(${CMAKE_CURRENT_LIST_DIR}/copyright ${CMAKE_CURRENT_BINARY_DIR}/debian/copyright
  COPYONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${changelog} @ONLY)
execute_process(COMMAND gzip -9nkf ${changelog} COMMAND_ERROR_IS_FATAL ANY)

include(CPack)
