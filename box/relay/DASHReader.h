#pragma once

#include <map>
#include <string>
#include <string_view>

namespace box {

/// Of a tag of a manifest: names with their prefix, values without entities.
using XMLAttributes = std::map<std::string, std::string, std::less<>>;

inline std::string_view valueOf(const XMLAttributes& attributes, std::string_view name) {
  const auto found = attributes.find(name);
  return found == attributes.end() ? std::string_view() : std::string_view(found->second);
}

/// Hears what a manifest says, at the rewriter's side. What it keeps is bounded by itself.
class DASHReader {
 public:
  virtual ~DASHReader() = default;
  virtual void begin(std::string_view name, const XMLAttributes& attributes) = 0;
  /// Of the innermost element, in pieces as they come; entities are what they stand for.
  virtual void text(std::string_view) {}
  /// `base`: what relative references within the element are relative to.
  virtual void end(std::string_view name, const std::string& base) = 0;
};

}  // namespace box
