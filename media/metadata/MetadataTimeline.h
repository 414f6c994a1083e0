#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace platform {
struct TimedMetadataItem;
}

namespace media {

/// The metadata of one load by time. Items may be added before they are due.
///
/// Limits: kGroupLimit groups for each source; the earliest are dropped first.
/// Threads: any.
class MetadataTimeline {
 public:
  using Items = std::vector<platform::TimedMetadataItem>;
  enum class Source { Tags, Stream, Events };
  static constexpr std::size_t kGroupLimit = 2000;

  MetadataTimeline();
  ~MetadataTimeline();
  MetadataTimeline(const MetadataTimeline&) = delete;
  MetadataTimeline& operator=(const MetadataTimeline&) = delete;

  /// Adds a group of items and sets their time to `seconds`. It replaces a group of the same time.
  /// Events are merged: they occur in the audio and in the video track, and again after a seek.
  void add(Source source, double seconds, Items items);
  /// Returns, for each source, the newest group that has begun.
  Items at(double seconds) const;
  /// Returns when the result of at() changes next after `seconds`.
  std::optional<double> nextAfter(double seconds) const;

  /// The item is a radio station; its titles are sent in the audio stream.
  void setRadioStation() { _isRadioStation = true; }
  bool isRadioStation() const { return _isRadioStation; }

 private:
  struct Group;
  std::atomic<bool> _isRadioStation = false;
  mutable std::mutex _mutex;
  std::array<std::vector<Group>, 3> _groups;  // by start
};

}  // namespace media
