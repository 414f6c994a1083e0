#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "box/relay/DASHReader.h"
#include "box/relay/MediaTimeline.h"

namespace box {

/// Reads the events of a manifest off it: under the scheme of their stream and, behind a space, its
/// value, the data of each, or whatever words it holds.
///
/// Bounds: so many events as of any time line, and 256 KiB of their words.
class DASHEvents final : public DASHReader {
 public:
  void begin(std::string_view name, const XMLAttributes& attributes) override;
  void text(std::string_view text) override;
  void end(std::string_view name, const std::string& base) override;

  const std::vector<MediaTimeline::Event>& events() const { return _events; }

 private:
  void _beginEvent(const XMLAttributes& attributes);

  double _periodStart = 0;
  double _periodDuration = 0;
  std::string _key;  // of the stream
  double _timescale = 1;
  double _timeOffset = 0;
  bool _inEvent = false;
  bool _isPacked = false;
  std::string _words;
  std::size_t _bytes = 0;
  MediaTimeline::Event _event;
  std::vector<MediaTimeline::Event> _events;
};

}  // namespace box
