#include "streaming/keys/ClearKey.h"

#include <cstddef>
#include <cstdint>

#include <nlohmann/json.hpp>

namespace streaming {
namespace {

using Json = nlohmann::ordered_json;
using platform::Bytes;

// The longest accepted response, in bytes.
constexpr std::size_t kMaxResponseBytes = std::size_t{64} * 1024;

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

std::optional<Bytes> bytesAt(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return bytesOfBase64url(found->get_ref<const std::string&>());
}

struct LicensedKey {
  std::optional<Bytes> keyID;
  Bytes key;
};

std::vector<LicensedKey> keysOfLicense(const Bytes& response) {
  const auto* const text = reinterpret_cast<const char*>(response.data());
  const Json license = Json::parse(text, text + response.size(), nullptr, false);
  std::vector<LicensedKey> keys;
  if (!license.is_object()) return keys;
  const auto list = license.find("keys");
  if (list == license.end() || !list->is_array()) return keys;
  for (const Json& one : *list) {
    if (!one.is_object()) continue;
    auto key = bytesAt(one, "k");
    if (key && key->size() == kContentKeySize)
      keys.push_back({bytesAt(one, "kid"), *std::move(key)});
  }
  return keys;
}

}  // namespace

std::string base64urlOf(const Bytes& bytes) {
  std::string text;
  std::uint32_t group = 0;
  int bits = 0;
  for (const std::byte each : bytes) {
    group = group << 8 | std::to_integer<std::uint32_t>(each);
    for (bits += 8; bits >= 6; bits -= 6) text += kAlphabet[group >> (bits - 6) & 63];
  }
  if (bits > 0) text += kAlphabet[group << (6 - bits) & 63];
  return text;
}

std::optional<Bytes> bytesOfBase64url(std::string_view text) {
  for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) text.remove_suffix(1);
  if (text.size() % 4 == 1) return std::nullopt;
  Bytes bytes;
  std::uint32_t group = 0;
  int bits = 0;
  for (const char letter : text) {
    const std::size_t value = kAlphabet.find(letter);
    if (value == std::string_view::npos) return std::nullopt;
    group = group << 6 | static_cast<std::uint32_t>(value);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<std::byte>(group >> bits & 0xFF));
  }
  return bytes;
}

Bytes keyRequestOf(const std::vector<Bytes>& keyIDs, std::string_view type) {
  Json request = {{"kids", Json::array()}, {"type", type}};
  for (const Bytes& keyID : keyIDs) request["kids"].push_back(base64urlOf(keyID));
  Bytes data;
  for (const char letter : request.dump(-1, ' ', false, Json::error_handler_t::replace))
    data.push_back(static_cast<std::byte>(letter));
  return data;
}

std::optional<Bytes> keyFromResponse(const Bytes& response, const std::optional<Bytes>& keyID) {
  if (response.size() == kContentKeySize) return response;
  if (response.size() > kMaxResponseBytes) return std::nullopt;
  const std::vector<LicensedKey> keys = keysOfLicense(response);
  for (const LicensedKey& each : keys)
    if (keyID && each.keyID == keyID) return each.key;
  if (keys.size() == 1 && (!keyID || !keys.front().keyID)) return keys.front().key;
  return std::nullopt;
}

}  // namespace streaming
