#include "media/pipeline/CommandMailbox.h"

#include <utility>

namespace media {

void CommandMailbox::post(std::function<void()> command) {
  const std::lock_guard lock(_mutex);
  _commands.push_back(std::move(command));
  if (!_bus || std::exchange(_woken, true)) return;
  // Does not block: no synchronous handler handles this message.
  gst_bus_post(_bus, gst_message_new_application(nullptr, gst_structure_new_empty(kWake)));
}

std::function<void(std::function<void()>)> CommandMailbox::poster() {
  return [weak = weak_from_this()](std::function<void()> command) {
    if (const auto mailbox = weak.lock()) mailbox->post(std::move(command));
  };
}

std::vector<std::function<void()>> CommandMailbox::take() {
  const std::lock_guard lock(_mutex);
  _woken = false;
  return std::exchange(_commands, {});
}

void CommandMailbox::attach(GstBus* bus) {
  const std::lock_guard lock(_mutex);
  _bus = bus;
}

void CommandMailbox::detach() {
  const std::lock_guard lock(_mutex);
  _bus = nullptr;
}

}  // namespace media
