#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/foundation/NotificationCenter.h"
#include "platform/services/SystemServices.h"
#include "sim/Journal.h"

// The smaller services of the box in memory. Each records its calls in the journal.
//
// Threads: like their interfaces. The functions for tests are called on the main thread.

namespace sim {

class ProcessAssertionService final : public platform::ProcessAssertionService {
 public:
  explicit ProcessAssertionService(Journal& journal) : _journal(journal) {}
  std::shared_ptr<platform::ProcessAssertion> acquire(std::string_view bundleIdentifier,
                                                      std::uint32_t flags, std::uint32_t reason,
                                                      std::string_view name) override;
  int held() const { return *_held; }

 private:
  Journal& _journal;
  // Shared with the assertions, which may outlive the service.
  std::shared_ptr<int> _held = std::make_shared<int>(0);
};

class SystemService final : public platform::SystemService {
 public:
  explicit SystemService(Journal& journal) : _journal(journal) {}
  void wakeSystem(int reason) override;
  void setVorlaneSessionActive(bool active) override;
  void triggerUserActivity() override;

 private:
  Journal& _journal;
};

class PowerManager final : public platform::PowerManager {
 public:
  explicit PowerManager(Journal& journal) : _journal(journal) {}
  /// Journal: `powerManager.createAssertion()`, with ` failed` appended on failure.
  std::uint32_t createAssertion(const platform::Dictionary& properties,
                                std::uint32_t* identifier) override;
  void releaseAssertion(std::uint32_t identifier) override;

  /// The result of createAssertion(). 0 means success.
  void setStatus(std::uint32_t status) { _status = status; }
  /// Current assertions: identifier to properties.
  const std::map<std::uint32_t, platform::Dictionary>& held() const { return _held; }

 private:
  Journal& _journal;
  std::uint32_t _status = 0;
  std::uint32_t _lastIdentifier = 0;
  std::map<std::uint32_t, platform::Dictionary> _held;
};

class TVSNetworkUtilities final : public platform::TVSNetworkUtilities {
 public:
  explicit TVSNetworkUtilities(platform::NotificationCenter& center) : _center(center) {}
  bool internetAvailable() override {
    ++_queries;
    return _available;
  }
  /// Number of queries.
  int queries() const { return _queries; }
  /// Posts the change notification synchronously.
  void setInternetAvailable(bool available);

 private:
  platform::NotificationCenter& _center;
  bool _available = true;
  int _queries = 0;
};

class TVSCloudDataClient final : public platform::TVSCloudDataClient {
 public:
  explicit TVSCloudDataClient(Journal& journal) : _journal(journal) {}
  void connect() override { _journal.add("cloudData.connect()"); }
  std::shared_ptr<TVSStoreDataItem> makeDataItem() override;

 private:
  Journal& _journal;
};

class RemoteInputLimitingCenter final : public platform::RemoteInputLimitingCenter {
 public:
  explicit RemoteInputLimitingCenter(Journal& journal) : _journal(journal) {}
  void setViewServiceActive(bool active) override;
  bool isViewServiceActive() const { return _active; }

 private:
  Journal& _journal;
  bool _active = false;
};

class DeviceInfo final : public platform::DeviceInfo {
 public:
  bool isInternalBuild() const override { return _internalBuild; }
  std::string language() const override { return _language; }
  /// Supports a few languages, in English and in German.
  std::string languageName(std::string_view tag) const override;
  void setInternalBuild(bool internal) { _internalBuild = internal; }
  void setLanguage(std::string language) { _language = std::move(language); }

 private:
  bool _internalBuild = false;
  std::string _language = "C";
};

}  // namespace sim
