#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace box {

/// How upstream URLs look on the relay. The path mirrors the URL, `/TOKEN/r/https/host:443/a/b?q`,
/// so that relative references resolve, names keep their endings and templates can be filled in by
/// the reader; what has no such shape goes in percent-encoded, `/TOKEN/r/-/x-demo%3Aabc`.
///
/// Readers take URLs apart and put them together again: they decode what needs no escape, sort the
/// fields of queries, and drop those that occur twice. Hence a percent sign of the upstream path is
/// escaped once more, and a query of more than one plain field is one field in itself,
/// `?~=a%3D1%26b%3D2`.
struct RelayPath {
  enum class Kind { Resource, Key };
  std::string token;
  Kind kind = Kind::Resource;
  std::string url;

  /// Nothing for what make() has not made, and no reader can have made of it. `target` is a
  /// request's path with its query.
  static std::optional<RelayPath> parse(std::string_view target);
  /// A fragment does not go along.
  std::string make() const;
};

/// `reference` as it stands in a document at `base` (RFC 3986), without a fragment; nothing for
/// what is no reference. What may not stand in a URL, such as a space, comes out escaped.
std::optional<std::string> resolvedURL(const std::string& base, const std::string& reference);

}  // namespace box
