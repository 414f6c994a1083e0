#include "receivers/upnp/device/Log.h"

#include <cstdio>

namespace upnp {

namespace {

bool isTracing = false;

}  // namespace

void log(const std::string& line) {
  std::string printable = line;
  // URIs and errors come from the network.
  for (char& letter : printable) {
    if (static_cast<unsigned char>(letter) < 0x20) letter = ' ';
  }
  std::fprintf(stderr, "%s\n", printable.c_str());
}

void trace(const std::string& line) {
  if (isTracing) log(line);
}

void setTracing(bool isOn) { isTracing = isOn; }

}  // namespace upnp
