# Libraries of the box, one target for each purpose.

find_package(PkgConfig REQUIRED)
pkg_check_modules(BOX_GSTREAMER REQUIRED IMPORTED_TARGET
  gstreamer-1.0 gstreamer-base-1.0 gstreamer-app-1.0 gstreamer-tag-1.0 gstreamer-pbutils-1.0
  gstreamer-video-1.0 gstreamer-audio-1.0)
pkg_check_modules(BOX_WINDOW REQUIRED IMPORTED_TARGET sdl2 pangocairo)
pkg_check_modules(BOX_SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(BOX_GIO REQUIRED IMPORTED_TARGET gio-2.0)
pkg_check_modules(BOX_TRANSFER REQUIRED IMPORTED_TARGET libcurl openssl)
pkg_check_modules(BOX_XML REQUIRED IMPORTED_TARGET pugixml)
pkg_check_modules(BOX_DEMUX REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil)
pkg_check_modules(BOX_LANGUAGES REQUIRED IMPORTED_TARGET icu-uc)
pkg_check_modules(BOX_SOUND REQUIRED IMPORTED_TARGET libpulse)
pkg_check_modules(BOX_SECCOMP REQUIRED IMPORTED_TARGET libseccomp)
find_package(nlohmann_json REQUIRED)

add_library(box::gstreamer ALIAS PkgConfig::BOX_GSTREAMER)
add_library(box::window ALIAS PkgConfig::BOX_WINDOW)
add_library(box::systemd ALIAS PkgConfig::BOX_SYSTEMD)
add_library(box::gio ALIAS PkgConfig::BOX_GIO)
add_library(box::transfer ALIAS PkgConfig::BOX_TRANSFER)
add_library(box::xml ALIAS PkgConfig::BOX_XML)
add_library(box::demux ALIAS PkgConfig::BOX_DEMUX)
add_library(box::languages ALIAS PkgConfig::BOX_LANGUAGES)
add_library(box::sound ALIAS PkgConfig::BOX_SOUND)
add_library(box::seccomp ALIAS PkgConfig::BOX_SECCOMP)
add_library(box::json ALIAS nlohmann_json::nlohmann_json)
