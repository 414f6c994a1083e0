#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/media/ObserverList.h"
#include "platform/media/TVSMediaItem.h"

/// An ordered list of items with a current item.
///
/// A windowed playlist holds only the current item and those after it: an item is removed when
/// another becomes current. Main thread.
class TVSPlaylist : public platform::Object {
 public:
  struct Change {
    enum class Kind { Inserted, Removed, CurrentChanged } kind;
    std::size_t index = 0;
    std::shared_ptr<TVSMediaItem> item;
    bool wasCurrent = false;
  };

  /// `startIndex` must be less than the number of items, if there are any (asserted).
  TVSPlaylist(std::vector<std::shared_ptr<TVSMediaItem>> items, std::size_t startIndex,
              bool isCollection);
  std::string className() const override { return "TVSPlaylist"; }

  bool isCollection() const { return _isCollection; }
  bool isWindowed() const { return _windowed; }
  void setWindowed(bool windowed) { _windowed = windowed; }

  const std::vector<std::shared_ptr<TVSMediaItem>>& trackList() const { return _items; }
  std::shared_ptr<TVSMediaItem> currentItem() const;
  std::optional<std::size_t> currentIndex() const { return _current; }
  std::shared_ptr<TVSMediaItem> nextItem() const;

  /// If there is no current item, an item added at the end becomes current.
  void appendMediaItem(const std::shared_ptr<TVSMediaItem>& item);
  /// `index` <= size (asserted).
  void insertMediaItem(const std::shared_ptr<TVSMediaItem>& item, std::size_t index);
  /// `index` < size (asserted). If the current item is removed, the next one becomes current.
  void removeMediaItemAtIndex(std::size_t index);
  /// Makes the next item current. False if there is none.
  bool advance();
  /// Makes the previous item current. False if there is none.
  bool retreat();

  /// `observer` is called after each change. The removal of the current item emits only a Removed
  /// change.
  platform::Token addObserver(std::function<void(const Change&)> observer);

 private:
  void _makeCurrent(std::size_t index);

  std::vector<std::shared_ptr<TVSMediaItem>> _items;
  std::optional<std::size_t> _current;
  bool _isCollection;
  bool _windowed = false;
  platform::ObserverList<const Change&> _observers;
};
