#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace box {

/// How upstream URLs look on the relay. The path mirrors the URL, `/TOKEN/r/https/host:443/a/b?q`,
/// so that relative references resolve, names keep their endings and templates can be filled in by
/// the reader; what has no such shape goes in percent-encoded, `/TOKEN/r/-/x-demo%3Aabc`.
struct RelayPath {
  enum class Kind { Resource, Key };
  std::string token;
  Kind kind = Kind::Resource;
  std::string url;

  /// Nothing for what make() has not made. `target` is a request's path with its query.
  static std::optional<RelayPath> parse(std::string_view target);
  std::string make() const;
};

/// `reference` as it stands in a document at `base` (RFC 3986); nothing for what is no reference.
std::optional<std::string> resolvedURL(const std::string& base, const std::string& reference);

}  // namespace box
