#include "media/engine/SenderItemSetup.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Value.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/TVSStoreMediaItem.h"

namespace media {
namespace {

using platform::Dictionary;
using platform::Value;

bool isFieldValue(const std::string& text) {
  return std::none_of(text.begin(), text.end(),
                      [](unsigned char each) { return each < ' ' || each == 0x7f; });
}

std::string textOf(const Value& value) {
  const std::string* text = value.asString();
  return text && isFieldValue(*text) ? *text : std::string();
}

std::optional<streaming::Cookie> cookieOf(const Value& value) {
  streaming::Cookie cookie;
  if (const Dictionary* fields = value.asDictionary()) {
    cookie.name = textOf(fields->get("name"));
    cookie.value = textOf(fields->get("value"));
    cookie.domain = textOf(fields->get("domain"));
    if (const std::string path = textOf(fields->get("path")); path.starts_with('/'))
      cookie.path = path;
    cookie.secure = fields->boolean("secure");
  } else {
    const std::string text = textOf(value);
    const auto equals = text.find('=');
    if (equals == std::string::npos) return std::nullopt;
    cookie.name = text.substr(0, equals);
    cookie.value = text.substr(equals + 1);
  }
  if (cookie.name.empty()) return std::nullopt;
  return cookie;
}

void addCookies(const TVSMediaItem& item, streaming::ItemSetup& setup) {
  const Value value = item.metadata(platform::kMediaItemCookies);
  const platform::Array* cookies = value.asArray();
  if (!cookies) return;
  for (const Value& each : *cookies)
    if (auto cookie = cookieOf(each)) setup.cookies.push_back(std::move(*cookie));
}

void addPreSharedKey(const TVSMediaItem& item, streaming::ItemSetup& setup) {
  const Value value = item.metadata(platform::kMediaItemTLSSettings);
  const Dictionary* settings = value.asDictionary();
  if (!settings) return;
  const Value identity = settings->get(platform::kTLSSettingsPSKIdentity);
  const Value secret = settings->get(platform::kTLSSettingsPSKSharedSecret);
  if (const auto* name = identity.asData(), *key = secret.asData(); name && key)
    setup.preSharedKey = streaming::PreSharedKey{*name, *key};
}

void addPurchase(const TVSStoreMediaItem& item, streaming::ItemSetup& setup) {
  const auto& record = *item.dataItem();
  setup.userAgent = textOf(record.property(platform::kStoreUserAgent));
  const auto add = [&](std::string_view header, std::string_view property) {
    const Value value = record.property(property);
    std::string text = textOf(value);
    if (text.empty() && value.asNumber()) text = value.description();
    if (!text.empty()) setup.headers.emplace_back(header, std::move(text));
  };
  add(kStoreTokenHeader, platform::kStoreAuthorizationToken);
  add(kStoreAccountHeader, platform::kStoreAccountIdentifier);
}

}  // namespace

streaming::ItemSetup itemSetupOf(const TVSMediaItem& item) {
  streaming::ItemSetup setup;
  setup.url = item.url();
  setup.userAgent = textOf(item.metadata(platform::kMediaItemUserAgent));
  setup.inheritsQuery = item.hasTrait(platform::kMediaItemTraitInheritsURIQueryComponent);
  setup.usesDiskCache = item.hasTrait(platform::kMediaItemTraitUsesDiskCache);
  addCookies(item, setup);
  addPreSharedKey(item, setup);
  if (const auto* purchase = dynamic_cast<const TVSStoreMediaItem*>(&item))
    addPurchase(*purchase, setup);
  return setup;
}

}  // namespace media
