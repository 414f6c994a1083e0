#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// Escapes a text for an XML attribute or element. Characters that XML forbids become spaces.
std::string escapedForXml(std::string_view text);

/// Collects the changed state variables of one service for the event "LastChange". At most one
/// document is published in 200 ms; changes in between are merged.
class LastChange {
 public:
  using Publish = std::function<void(const std::string& document)>;

  /// `schema` is the XML namespace of the service's events.
  LastChange(Clock& clock, std::string schema) : _clock(clock), _schema(std::move(schema)) {}

  void setPublish(Publish publish) { _publish = std::move(publish); }
  /// `channel` is written as the attribute "channel" if it is not empty.
  void set(std::string_view name, std::string value, std::string_view channel = {});
  /// Returns an empty string for an unknown variable.
  std::string value(std::string_view name) const;
  /// A document with all variables, for a new subscriber.
  std::string fullDocument() const;
  /// While it is held, nothing is published, and changes are merged.
  void hold(bool isHeld);

 private:
  struct Variable {
    std::string name;
    std::string channel;
    std::string value;
    bool isChanged = true;
  };

  std::string _document(bool onlyChanged) const;
  void _schedule();
  void _flush();

  Clock& _clock;
  const std::string _schema;
  Publish _publish;
  std::vector<Variable> _variables;
  bool _isHeld = false;
  Clock::Timer _timer;
  std::optional<Clock::Duration> _lastPublished;
};

}  // namespace upnp
