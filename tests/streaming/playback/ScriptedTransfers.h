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

/// A network by script, in virtual time: resources by their URLs, with delays, rates and errors.
/// Nothing happens but within run() and advance(), and in the same order every time.
class ScriptedTransfers final : public TransferSource {
 public:
  struct Resource {
    std::string body;
    std::optional<platform::Error>
        error;  ///< in place of a body, or after `errorAfter` bytes of it
    std::size_t errorAfter = 0;
    double delay = 0.01;  ///< seconds to the first byte
    double rate = 0;      ///< bytes a second; 0: all at once
    std::string date;     ///< the field Date
    bool knowsRanges = true;
    bool hangs = false;  ///< never answers
  };
  void add(const std::string& url, Resource resource) { _resources[url] = std::move(resource); }
  void add(const std::string& url, std::string body) {
    Resource resource;
    resource.body = std::move(body);
    add(url, std::move(resource));
  }
  void remove(const std::string& url) { _resources.erase(url); }
  /// Of all bodies that have no rate of their own, together; 0: none.
  void setRate(double bytesPerSecond) { _rate = bytesPerSecond; }
  /// Answers what has no resource; by default it is 404.
  void setFallback(std::function<std::optional<Resource>(const TransferRequest&)> fallback) {
    _fallback = std::move(fallback);
  }

  /// Does what is due.
  void run();
  /// Lets time pass, in order.
  void advance(double seconds);
  double seconds() const { return _now; }

  /// URLs, in the order of the requests.
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

/// An HTTP status, as a server gives it.
platform::Error statusError(int status);

}  // namespace streaming::test
