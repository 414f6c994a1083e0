#pragma once

#include <span>
#include <string_view>

namespace upnp {

/// A file of receivers/upnp/description that is part of the program.
struct Embedded {
  std::string_view name;
  std::string_view contents;
};

/// The build generates it.
std::span<const Embedded> embeddedFiles();

}  // namespace upnp
