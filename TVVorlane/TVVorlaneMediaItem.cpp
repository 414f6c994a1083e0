#include "TVVorlane/TVVorlaneMediaItem.h"

#include <cstddef>
#include <cstdint>

namespace {
/// TLS_PSK_WITH_AES_128_CBC_SHA256.
constexpr std::uint16_t kPSKCipher = 0x00AE;
}  // namespace

std::optional<platform::Dictionary> TVVorlaneMediaItem::sslPropertiesForIdentity(
    const platform::Value& identity, const platform::Value& psk) {
  if (identity.isNone() || psk.isNone()) return std::nullopt;
  platform::Dictionary settings;
  settings.set(platform::kTLSSettingsPSKIdentity, identity);
  settings.set(platform::kTLSSettingsPSKSharedSecret, psk);
  settings.set(platform::kTLSSettingsEnabledCiphers,
               platform::Bytes{std::byte{kPSKCipher & 0xFF}, std::byte{kPSKCipher >> 8}});
  return settings;
}

void TVVorlaneMediaItem::loadStreamingKeyForRequest(
    const std::shared_ptr<TVSSecureKeyRequest>& request) {
  _forwardRequest(*this, request);
}

bool TVVorlaneMediaItem::loadResourceForRequest(
    const std::shared_ptr<TVSResourceLoadingRequest>& request) {
  return _forwardRequest(*this, request);
}
