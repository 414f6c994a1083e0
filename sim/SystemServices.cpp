#include "sim/SystemServices.h"

#include <utility>

#include "platform/foundation/Value.h"
#include "platform/media/TVSStoreMediaItem.h"

namespace sim {

namespace {

class RecordedAssertion final : public platform::ProcessAssertion {
 public:
  explicit RecordedAssertion(std::shared_ptr<int> held) : _held(std::move(held)) { ++*_held; }
  ~RecordedAssertion() override { --*_held; }

 private:
  std::shared_ptr<int> _held;
};

std::string withFlag(std::string_view call, bool flag) {
  return std::string(call).append("(").append(platform::yesNo(flag)).append(")");
}

}  // namespace

std::shared_ptr<platform::ProcessAssertion> ProcessAssertionService::acquire(
    std::string_view bundleIdentifier, std::uint32_t flags, std::uint32_t reason,
    std::string_view name) {
  _journal.add("processAssertions.acquire(" + std::string(bundleIdentifier) + ", " +
               std::to_string(flags) + ", " + std::to_string(reason) + ", " + std::string(name) +
               ")");
  return std::make_shared<RecordedAssertion>(_held);
}

void SystemService::wakeSystem(int reason) {
  _journal.add("systemService.wakeSystem(" + std::to_string(reason) + ")");
}

void SystemService::setVorlaneSessionActive(bool active) {
  _journal.add(withFlag("systemService.setVorlaneSessionActive", active));
}

void SystemService::triggerUserActivity() { _journal.add("systemService.triggerUserActivity()"); }

std::uint32_t PowerManager::createAssertion(const platform::Dictionary& properties,
                                            std::uint32_t* identifier) {
  if (_status != 0) {
    _journal.add("powerManager.createAssertion() failed");
    return _status;
  }
  _journal.add("powerManager.createAssertion()");
  _held.emplace(++_lastIdentifier, properties);
  if (identifier) *identifier = _lastIdentifier;
  return 0;
}

void PowerManager::releaseAssertion(std::uint32_t identifier) {
  _journal.add("powerManager.releaseAssertion(" + std::to_string(identifier) + ")");
  _held.erase(identifier);
}

void TVSNetworkUtilities::setInternetAvailable(bool available) {
  if (std::exchange(_available, available) == available) return;
  _center.post(platform::TVSInternetAvailabilityDidChangeNotification);
}

std::string DeviceInfo::languageName(std::string_view tag) const {
  struct Names {
    std::string_view tag, english, german;
  };
  constexpr Names kNames[] = {{"en", "English", "Englisch"},
                              {"de", "German", "Deutsch"},
                              {"fr", "French", "Französisch"},
                              {"ja", "Japanese", "Japanisch"}};
  for (const Names& each : kNames) {
    if (each.tag == tag)
      return std::string(_language.starts_with("de") ? each.german : each.english);
  }
  return {};
}

std::shared_ptr<TVSStoreDataItem> TVSCloudDataClient::makeDataItem() {
  _journal.add("cloudData.makeDataItem()");
  return std::make_shared<TVSStoreDataItem>();
}

void RemoteInputLimitingCenter::setViewServiceActive(bool active) {
  _active = active;
  _journal.add(withFlag("remoteInputLimiting.setViewServiceActive", active));
}

}  // namespace sim
