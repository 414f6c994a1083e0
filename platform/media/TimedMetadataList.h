#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <vector>

namespace platform {

struct TimedMetadataItem;

/// The timed metadata of one position. Immutable; copies share their storage.
class TimedMetadataList {
 public:
  TimedMetadataList() = default;
  TimedMetadataList(std::vector<TimedMetadataItem> items);
  TimedMetadataList(std::initializer_list<TimedMetadataItem> items);

  std::size_t size() const;
  bool empty() const { return size() == 0; }
  /// `index` must be below size().
  const TimedMetadataItem& operator[](std::size_t index) const;
  const TimedMetadataItem* begin() const;
  const TimedMetadataItem* end() const;

  friend bool operator==(const TimedMetadataList& a, const TimedMetadataList& b);

 private:
  std::shared_ptr<const std::vector<TimedMetadataItem>> _items;  // null while empty
};

}  // namespace platform
