#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/services/SystemServices.h"

namespace box {

/// The language comes from the command line, else from the environment as the C library reads it.
class Device final : public platform::DeviceInfo {
 public:
  /// The administrator makes a box an internal one with a file of this name, whatever it holds.
  static constexpr const char* kInternalMarker = "/etc/tvvorlane/internal";

  explicit Device(const std::optional<std::string>& languageTag,
                  std::string internalMarker = kInternalMarker);
  bool isInternalBuild() const override;
  std::string language() const override { return _language; }
  std::string languageName(std::string_view tag) const override;
  /// What sound and text are wanted in, the best first, as BCP 47: beside the language those of
  /// $LANGUAGE, unless the command line has the say.
  std::vector<std::string> preferredLanguages() const { return _preferredLanguages; }

 private:
  const std::string _internalMarker;
  const std::string _language;
  const std::vector<std::string> _preferredLanguages;
};

/// `pt-BR` or `pt_BR.UTF-8@x` as `pt_BR`; "C" for what names no language.
std::string localeName(std::string text);

}  // namespace box
