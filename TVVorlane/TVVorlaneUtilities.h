#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaFacts.h"

/// What every session does with its parameters: the check of their types, and the conversions of
/// what goes back to the receiver service or into the log.
///
/// Class operations only. Threads: any.
class TVVorlaneUtilities {
 public:
  TVVorlaneUtilities() = delete;

  /// Whether every key of `params` that has a known type holds a value of that type. None is valid;
  /// anything else that is no dictionary is not. The first offending key is logged and `error`
  /// becomes a status error with code -6756.
  static bool validateParameters(const platform::Value& params,
                                 std::optional<platform::Error>* error);

  /// "code", "domain" and the localized fields that the error has.
  static std::optional<platform::Dictionary> errorToDictionary(
      const std::optional<platform::Error>& error);

  /// A dictionary an item, in the items' order; an item's extra attributes replace its own entries.
  static platform::Array timedMetadataFromAVTimedMetadata(
      const std::vector<platform::TimedMetadataItem>& items);

  /// A description for log lines, in which data inside a dictionary or an array is replaced by its
  /// length. Data that stands alone is described in full.
  static std::string dataAbbreviatedDescription(const platform::Value& value);

  /// `container` must not be none (asserted).
  static platform::Value _containerWithAbbreviatedData(const platform::Value& container);
};
