#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"

namespace sim {

std::shared_ptr<MediaLibrary> Box::_makeMediaLibrary() { return std::make_shared<MediaLibrary>(); }

std::unique_ptr<platform::MediaEngine> Box::makeMediaEngine() {
  return std::make_unique<MediaEngine>(mainQueue(), clock(), mediaLibrary());
}

}  // namespace sim
