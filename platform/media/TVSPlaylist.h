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

/// The items that a player plays, in order, and which of them is current.
///
/// A windowed playlist holds the current item and what follows: an item that stops being current
/// leaves it. Main thread.
class TVSPlaylist : public platform::Object {
 public:
  struct Change {
    enum class Kind { Inserted, Removed, CurrentChanged } kind;
    std::size_t index = 0;
    std::shared_ptr<TVSMediaItem> item;
    bool wasCurrent = false;
  };

  /// `startIndex` must be below the number of items unless there are none (asserted).
  TVSPlaylist(std::vector<std::shared_ptr<TVSMediaItem>> items, std::size_t startIndex,
              bool isCollection);
  std::string className() const override { return "TVSPlaylist"; }

  bool isCollection() const { return _isCollection; }
  bool isWindowed() const { return _windowed; }
  void setWindowed(bool windowed) { _windowed = windowed; }

  const std::vector<std::shared_ptr<TVSMediaItem>>& trackList() const { return _items; }
  std::shared_ptr<TVSMediaItem> currentItem() const;
  std::optional<std::size_t> currentIndex() const { return _current; }
  /// The item after the current one, or none.
  std::shared_ptr<TVSMediaItem> nextItem() const;

  /// Where no item is current, because the last one was removed, what is added at the end becomes
  /// current.
  void appendMediaItem(const std::shared_ptr<TVSMediaItem>& item);
  /// `index` at most size (asserted).
  void insertMediaItem(const std::shared_ptr<TVSMediaItem>& item, std::size_t index);
  /// `index` below size (asserted). After the removal of the current item the one that followed it
  /// is current, or none.
  void removeMediaItemAtIndex(std::size_t index);
  /// Makes the following item current; false at the end, when nothing changes. A windowed playlist
  /// drops the old one.
  bool advance();
  /// Makes the preceding item current; false at the beginning, when nothing changes.
  bool retreat();

  /// Called after each change. A removal that moves the current item is one change, of kind
  /// Removed.
  platform::Token addObserver(std::function<void(const Change&)> observer);

 private:
  void _makeCurrent(std::size_t index);

  std::vector<std::shared_ptr<TVSMediaItem>> _items;
  std::optional<std::size_t> _current;
  bool _isCollection;
  bool _windowed = false;
  platform::ObserverList<const Change&> _observers;
};
