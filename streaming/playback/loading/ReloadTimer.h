#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "streaming/manifest/Presentation.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Schedules reloads of a manifest, only while a newer version is wanted. Transfer thread only.
class ReloadTimer {
 public:
  /// `due` must send the request and call requested().
  ReloadTimer(TransferSource& source, std::function<void()> due)
      : _source(source), _due(std::move(due)) {}

  void requestReload();
  void requested();
  /// The reload has succeeded. nullopt: there will be no newer version.
  void loaded(const std::optional<ReloadRule>& rule, bool isChanged);
  void failed();
  /// Reloads have failed for so long that playback cannot continue.
  bool hasGivenUp() const;
  bool isFailing() const { return _failures > 0; }
  const std::optional<ReloadRule>& rule() const { return _rule; }
  bool isRequesting() const { return _isRequesting; }
  /// A newer version is probably available.
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
