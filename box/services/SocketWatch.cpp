#include "box/services/SocketWatch.h"

#include <utility>

#include <poll.h>

namespace box {

SocketWatch::SocketWatch(ServiceThread& thread, std::string path, std::function<void()> appeared)
    : _appearance(std::move(path)), _appeared(std::move(appeared)) {
  if (isWatching()) _source = thread.add(*this);
}

short SocketWatch::interest() const { return POLLIN; }

void SocketWatch::serve() {
  if (_appearance.take()) _appeared();
}

}  // namespace box
