# Debian packages by CPack, one for each component. scripts/package builds and checks them.
set(VORLANE_MAINTAINER "TVVorlane maintainers <maintainers@tvvorlane.example>" CACHE STRING
  "Maintainer of the packages")

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
  # CPack uses the first line as the summary.
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
audio, mirrors screens, shows codes for pairing, and reports to the sender. A
receiver service in any language controls it over D-Bus.
.
This package contains the program, the media process that it starts,
vorlanectl to control it from the command line, and units to start it at boot
or with a graphical session."
  "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, gstreamer1.0-libav, gstreamer1.0-x, gstreamer1.0-alsa, gstreamer1.0-pulseaudio, fonts-noto-core, systemd | systemd-standalone-sysusers | systemd-sysusers, udev")
set(CPACK_DEBIAN_BOX_PACKAGE_RECOMMENDS "dbus, polkitd, fonts-noto-cjk, libgl1-mesa-dri")
set(CPACK_DEBIAN_BOX_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_BOX_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/postinst ${CMAKE_CURRENT_LIST_DIR}/prerm
  ${CMAKE_CURRENT_LIST_DIR}/postrm)

vorlane_package(client libtvvorlane-client0 libs
  "receiver interface of TVVorlane (library)"
  "Connects a receiver service, which talks to phones and computers on the
network, to TVVorlane. Asynchronous, for C and C++.
.
This package contains the shared library."
  "")
set(CPACK_DEBIAN_CLIENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CLIENT_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/shlibs ${CMAKE_CURRENT_LIST_DIR}/triggers)

vorlane_package(client-dev libtvvorlane-client-dev libdevel
  "receiver interface of TVVorlane (development files)"
  "Connects a receiver service, which talks to phones and computers on the
network, to TVVorlane. Asynchronous, for C and C++.
.
This package contains the headers and an example."
  "libtvvorlane-client0 (= ${this_version})")

vorlane_package(frames-dev libvorlane-frames-dev libdevel
  "pictures of mirrored screens for TVVorlane (development files)"
  "Sends the pictures of a mirrored screen from the program that decodes them to
TVVorlane, without copying them.
.
This package contains a static library and its header, for C and C++."
  "libstdc++-12-dev | libstdc++-dev")

if(VORLANE_UPNP)
  list(APPEND CPACK_COMPONENTS_ALL upnp)
  vorlane_package(upnp tvvorlane-upnp video
    "UPnP AV renderer on TVVorlane"
    "Phones, computers and media servers on the local network find the TV as a
UPnP AV (DLNA) renderer, and play video and music on it.
.
UPnP has no passwords: everyone on the network can use the TV. Nothing is
started until the unit tvvorlane-upnp is enabled."
    "tvvorlane (= ${this_version}), libtvvorlane-client0 (= ${this_version})")
  set(CPACK_DEBIAN_UPNP_PACKAGE_SHLIBDEPS ON)
  # The library of the other package is not installed yet.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/client)
  set(CPACK_DEBIAN_UPNP_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_LIST_DIR}/upnp/postinst ${CMAKE_CURRENT_LIST_DIR}/upnp/prerm
    ${CMAKE_CURRENT_LIST_DIR}/upnp/postrm)
endif()

# Files of all packages.
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.Debian)
configure_file(${CMAKE_CURRENT_LIST_DIR}/copyright ${CMAKE_CURRENT_BINARY_DIR}/debian/copyright
  COPYONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${changelog} @ONLY)
execute_process(COMMAND gzip -9nkf ${changelog} COMMAND_ERROR_IS_FATAL ANY)

include(CPack)
