#pragma once

#include <string>

struct sockaddr;

namespace streaming {

/// True for loopback, private, link-local, multicast and reserved addresses.
bool isPrivateAddress(const sockaddr& address);
/// Parses an IP address. False for host names.
bool isPrivateAddress(const std::string& literal);

/// Decides which addresses the transfers of an item may use. Private addresses are allowed only if
/// the item's URL has one, or has a custom scheme. Otherwise a public server could make the box
/// read from its private network. Transfer thread only.
class AddressPolicy {
 public:
  explicit AddressPolicy(const std::string& itemURL);
  /// `isOwn`: the address is that of the item's URL. If that URL has a host name, the first such
  /// address decides.
  bool allows(bool isPrivate, bool isOwn);

 private:
  enum class Scope { Undecided, Public, Everywhere };
  Scope _scope = Scope::Undecided;
};

}  // namespace streaming
