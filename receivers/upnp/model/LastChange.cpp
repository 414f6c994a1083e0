#include "receivers/upnp/model/LastChange.h"

#include <algorithm>

namespace upnp {

namespace {

/// The standard's limit for the event LastChange.
constexpr Clock::Duration kMinimumInterval{200};

}  // namespace

std::string escapedForXml(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char letter : text) {
    switch (letter) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      default: {
        const auto code = static_cast<unsigned char>(letter);
        const bool isForbidden = code < 0x20 && letter != '\t' && letter != '\n' && letter != '\r';
        escaped += isForbidden ? ' ' : letter;
      }
    }
  }
  return escaped;
}

void LastChange::set(std::string_view name, std::string value, std::string_view channel) {
  const auto found = std::find_if(_variables.begin(), _variables.end(), [&](const Variable& one) {
    return one.name == name && one.channel == channel;
  });
  if (found == _variables.end()) {
    _variables.push_back({std::string(name), std::string(channel), std::move(value)});
  } else {
    if (found->value == value) return;
    found->value = std::move(value);
    found->isChanged = true;
  }
  _schedule();
}

std::string LastChange::value(std::string_view name) const {
  const auto found = std::find_if(_variables.begin(), _variables.end(),
                                  [&](const Variable& one) { return one.name == name; });
  return found != _variables.end() ? found->value : std::string();
}

std::string LastChange::fullDocument() const { return _document(false); }

std::string LastChange::_document(bool onlyChanged) const {
  std::string document = "<Event xmlns=\"" + _schema + R"("><InstanceID val="0">)";
  for (const Variable& one : _variables) {
    if (onlyChanged && !one.isChanged) continue;
    document += "<" + one.name;
    if (!one.channel.empty()) document += " channel=\"" + one.channel + "\"";
    document += " val=\"" + escapedForXml(one.value) + "\"/>";
  }
  return document + "</InstanceID></Event>";
}

void LastChange::hold(bool isHeld) {
  _isHeld = isHeld;
  if (_isHeld) {
    _timer.reset();
    return;
  }
  const auto isChanged = [](const Variable& one) { return one.isChanged; };
  if (std::any_of(_variables.begin(), _variables.end(), isChanged)) _schedule();
}

void LastChange::_schedule() {
  if (_timer || _isHeld) return;
  // Even without a wait a task collects the changes of one step.
  Clock::Duration delay{0};
  if (_lastPublished) {
    delay = std::max(delay, *_lastPublished + kMinimumInterval - _clock.now());
  }
  _timer = _clock.after(delay, [this] { _flush(); });
}

void LastChange::_flush() {
  _timer.reset();
  const std::string document = _document(true);
  for (Variable& one : _variables) one.isChanged = false;
  _lastPublished = _clock.now();
  if (_publish) _publish(document);
}

}  // namespace upnp
