#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "streaming/manifest/Presentation.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// When a manifest is read again. It is read only while somebody wants a newer one. Transfer thread
/// only.
class ReloadTimer {
 public:
  /// `due`: it is to be requested now, and requested() is called from it.
  ReloadTimer(TransferSource& source, std::function<void()> due)
      : _source(source), _due(std::move(due)) {}

  /// Somebody wants a newer version. One wish is answered by one reload.
  void want();
  void requested();
  /// The request has ended. None: there will be no newer version.
  void loaded(const std::optional<ReloadRule>& rule, bool isChanged);
  void failed();
  /// A newer version was wanted for longer than a live presentation can do without.
  bool isHopeless() const;
  /// The last request has failed.
  bool isFailing() const { return _failures > 0; }
  const std::optional<ReloadRule>& rule() const { return _rule; }
  bool isRequesting() const { return _isRequesting; }
  /// The newest version is so old that there is probably a newer one.
  bool isDue() const;

 private:
  void _schedule();
  MonotonicTime _dueAt() const;

  TransferSource& _source;
  const std::function<void()> _due;
  std::optional<ReloadRule> _rule;
  bool _isWanted = false;
  bool _isRequesting = false;
  bool _isChanged = true;
  unsigned _failures = 0;
  std::optional<MonotonicTime> _failingSince;
  MonotonicTime _requestedAt;
  MonotonicTime _loadedAt;
  std::shared_ptr<void> _timer;
};

}  // namespace streaming
