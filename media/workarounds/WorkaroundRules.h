#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace media {

struct LibraryVersion {
  unsigned major = 0;
  unsigned minor = 0;
  unsigned micro = 0;

  bool operator<=(const LibraryVersion& other) const {
    return std::tie(major, minor, micro) <= std::tie(other.major, other.minor, other.micro);
  }
};

/// Parses "1.22.0" or "1.26.2.1". Returns nullopt for any other text.
std::optional<LibraryVersion> libraryVersionOf(std::string_view text);

/// Both ends are part of the range.
struct VersionRange {
  LibraryVersion first;
  LibraryVersion last;
};

struct WorkaroundRule {
  std::string name;
  std::string component;
  std::vector<VersionRange> versions;
};

struct WorkaroundChoice {
  /// One entry for each rule, in the order of the rules.
  std::vector<bool> isOn;
  /// Unknown words of the setting.
  std::vector<std::string> unknownWords;
};

/// Decides which workarounds are on. A workaround is on when the running version of its library is
/// in one of its ranges; a library without an entry in `running` is not installed.
///
/// `setting` overrides that. It is a list of words with commas between them, read from left to
/// right: "none" turns all off, "all" turns all on, "-NAME" turns one off, "+NAME" turns one on.
WorkaroundChoice chooseWorkarounds(std::span<const WorkaroundRule> rules,
                                   const std::map<std::string, LibraryVersion>& running,
                                   std::string_view setting);

}  // namespace media
