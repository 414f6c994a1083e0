#include "streaming/transfer/http/AddressPolicy.h"

#include <array>
#include <cstdint>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "streaming/foundation/URL.h"

namespace streaming {
namespace {

struct Network {
  std::uint32_t prefix;
  unsigned bits;
};

bool isPrivateV4(std::uint32_t address) {
  static constexpr Network kNetworks[] = {
      {0x00000000, 8},   // this network
      {0x0A000000, 8},   // private
      {0x64400000, 10},  // shared by customers of a provider
      {0x7F000000, 8},   // loopback
      {0xA9FE0000, 16},  // link-local
      {0xAC100000, 12},  // private
      {0xC0A80000, 16},  // private
      {0xE0000000, 3},   // multicast, reserved, broadcast
  };
  for (const Network& each : kNetworks)
    if ((address ^ each.prefix) >> (32 - each.bits) == 0) return true;
  return false;
}

bool isPrivateV6(const in6_addr& address) {
  std::array<std::uint8_t, 16> bytes{};
  std::memcpy(bytes.data(), &address, bytes.size());
  const auto v4At = [&](std::size_t index) {
    std::uint32_t value = 0;
    for (std::size_t byte = 0; byte < 4; ++byte) value = value << 8 | bytes[index + byte];
    return value;
  };
  static constexpr std::array<std::uint8_t, 12> kTranslated = {0, 0x64, 0xFF, 0x9B};
  if (std::memcmp(bytes.data(), kTranslated.data(), kTranslated.size()) == 0)
    return isPrivateV4(v4At(12));
  if (bytes[0] == 0x20 && bytes[1] == 0x02) return isPrivateV4(v4At(2));  // 6to4
  if (IN6_IS_ADDR_V4MAPPED(&address)) return isPrivateV4(v4At(12));
  // Global unicast is 2000::/3.
  return (bytes[0] & 0xE0) != 0x20;
}

}  // namespace

bool isPrivateAddress(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, &address, sizeof v4);
    return isPrivateV4(ntohl(v4.sin_addr.s_addr));
  }
  if (address.sa_family != AF_INET6) return true;
  sockaddr_in6 v6{};
  std::memcpy(&v6, &address, sizeof v6);
  return isPrivateV6(v6.sin6_addr);
}

bool isPrivateAddress(const std::string& literal) {
  in_addr v4{};
  if (inet_pton(AF_INET, literal.c_str(), &v4) == 1) return isPrivateV4(ntohl(v4.s_addr));
  in6_addr v6{};
  const std::string bare = literal.substr(0, literal.find('%'));
  return inet_pton(AF_INET6, bare.c_str(), &v6) == 1 && isPrivateV6(v6);
}

AddressPolicy::AddressPolicy(const std::string& itemURL) {
  const std::string host = URLServer::of(itemURL).host;
  if (!isWebURL(itemURL) || host == "localhost" || host.ends_with(".localhost") ||
      isPrivateAddress(host))
    _scope = Scope::Everywhere;
}

bool AddressPolicy::allows(bool isPrivate, bool isOwn) {
  if (_scope == Scope::Undecided && isOwn) _scope = isPrivate ? Scope::Everywhere : Scope::Public;
  return !isPrivate || _scope == Scope::Everywhere;
}

}  // namespace streaming
