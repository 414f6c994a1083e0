#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/media/MediaFacts.h"

namespace media {

/// The metadata of one load by position, known ahead of their time or when it has come.
///
/// Bounds: so many groups of each source, the earliest go first.
/// Threads: any.
class MetadataTimeline {
 public:
  using Items = std::vector<platform::TimedMetadataItem>;
  enum class Source { Tags, Stream, Events };
  static constexpr std::size_t kGroupLimit = 2000;

  /// The items get `seconds` as their time. A group of that time gives way; events, which come with
  /// picture and with sound and again after a seek, are put together.
  void add(Source source, double seconds, Items items);
  /// Of each source the newest group that has begun.
  Items at(double seconds) const;
  /// When at() next has more to tell.
  std::optional<double> nextAfter(double seconds) const;

  /// Titles come with the sound.
  void setOfRadio() { _isOfRadio = true; }
  bool isOfRadio() const { return _isOfRadio; }

 private:
  struct Group {
    double start;
    Items items;
  };
  std::atomic<bool> _isOfRadio = false;
  mutable std::mutex _mutex;
  std::array<std::vector<Group>, 3> _groups;  // by their beginnings
};

}  // namespace media
