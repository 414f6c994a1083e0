#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/services/SystemServices.h"

namespace box {

/// Facts about this device. The language comes from the command line, or else from LC_ALL,
/// LC_MESSAGES or LANG.
class Device final : public platform::DeviceInfo {
 public:
  /// If this file exists, the build counts as internal. Its contents do not matter.
  static constexpr const char* kInternalMarker = "/etc/tvvorlane/internal";

  explicit Device(const std::optional<std::string>& languageTag,
                  std::string internalMarker = kInternalMarker);
  bool isInternalBuild() const override;
  std::string language() const override { return _language; }
  std::string languageName(std::string_view tag) const override;
  /// Preferred languages of audio and subtitles as BCP 47 tags, best first. Without a language on
  /// the command line, the languages of $LANGUAGE come first.
  std::vector<std::string> preferredLanguages() const { return _preferredLanguages; }

 private:
  const std::string _internalMarker;
  const std::string _language;
  const std::vector<std::string> _preferredLanguages;
};

/// Converts `pt-BR` or `pt_BR.UTF-8@x` to `pt_BR`. Returns "C" for an empty name and for POSIX.
std::string localeName(std::string text);

}  // namespace box
