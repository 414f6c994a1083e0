#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "streaming/transfer/Transfer.h"

namespace streaming::test {

/// A scripted network in virtual time: resources by URL, with delays, rates and errors. It makes
/// progress only in run() and advance(), and is deterministic.
class ScriptedTransfers final : public TransferSource {
 public:
  struct Resource {
    std::string body;
    std::optional<platform::Error> error;  ///< instead of a body, or after `errorAfter` bytes
    std::size_t errorAfter = 0;
    double delay = 0.01;  ///< seconds until the first byte
    double rate = 0;      ///< bytes per second; 0: unlimited
    std::string date;     ///< the Date field
    bool knowsRanges = true;
    bool hangs = false;  ///< never responds
  };
  void add(const std::string& url, Resource resource) { _resources[url] = std::move(resource); }
  void add(const std::string& url, std::string body) {
    Resource resource;
    resource.body = std::move(body);
    add(url, std::move(resource));
  }
  void remove(const std::string& url) { _resources.erase(url); }
  /// The shared rate of bodies without their own rate; 0: unlimited.
  void setRate(double bytesPerSecond) { _rate = bytesPerSecond; }
  /// Responds to unknown URLs. The default is status 404.
  void setFallback(std::function<std::optional<Resource>(const TransferRequest&)> fallback) {
    _fallback = std::move(fallback);
  }

  /// Runs everything that is due.
  void run();
  /// Advances virtual time.
  void advance(double seconds);
  double seconds() const { return _now; }

  /// Requested URLs, in order.
  const std::vector<std::string>& requests() const { return _requests; }
  std::size_t countOf(const std::string& url) const;
  void forgetRequests() { _requests.clear(); }
  std::size_t runningCount() const { return _running.size(); }
  std::size_t timerCount() const;
  /// Civil time at 0 seconds.
  static constexpr double kEpoch = 1'800'000'000;

  std::unique_ptr<Transfer> start(const TransferRequest& request,
                                  TransferObserver& observer) override;
  std::shared_ptr<void> callAt(MonotonicTime when, std::function<void()> task) override;
  MonotonicTime now() const override;
  platform::Date civilTime() const override { return {kEpoch + _now}; }
  void post(std::function<void()> task) override;

 private:
  struct Running;
  class Handle;
  struct Timer {
    double at = 0;
    std::function<void()> task;
  };
  bool _runOne(double until);
  void _advanceTransfer(const std::shared_ptr<Running>& running);
  void _end(const std::shared_ptr<Running>& running, const std::optional<platform::Error>& error);

  double _now = 0;
  double _rate = 0;
  std::map<std::string, Resource> _resources;
  std::function<std::optional<Resource>(const TransferRequest&)> _fallback;
  std::vector<std::string> _requests;
  std::vector<std::shared_ptr<Running>> _running;
  std::vector<std::weak_ptr<Timer>> _timers;
  std::mutex _mutex;  // guards _posted
  std::vector<std::function<void()>> _posted;
};

/// The error for an HTTP status.
platform::Error statusError(int status);

}  // namespace streaming::test
