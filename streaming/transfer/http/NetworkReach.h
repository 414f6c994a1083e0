#pragma once

#include <string>

struct sockaddr;

namespace streaming {

/// Whether an address belongs to this machine or a private network, or is not one of a single host.
bool isPrivateAddress(const sockaddr& address);
/// Of an address in text form; false for host names.
bool isPrivateAddress(const std::string& literal);

/// Which addresses the transfers of an item may reach: private ones only if the item's own URL
/// leads to one, or is of a scheme that the sender serves. Otherwise a public server could have the
/// box read from its private network. Transfer thread only.
class NetworkReach {
 public:
  explicit NetworkReach(const std::string& itemURL);
  /// `isOwn`: the host and port are those of the item's own URL. The first address of those decides
  /// if the URL has a host name.
  bool allows(bool isPrivate, bool isOwn);

 private:
  enum class Scope { Undecided, Public, Everywhere };
  Scope _scope = Scope::Undecided;
};

}  // namespace streaming
