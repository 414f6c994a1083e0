#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"
#include "platform/media/TimedMetadataList.h"

/// Parameter validation, and conversions of values for the receiver service and for the log.
///
/// Static functions only. Thread-safe.
class TVVorlaneUtilities {
 public:
  TVVorlaneUtilities() = delete;

  /// Returns whether every value in `params` has the type that its key requires. Unknown keys are
  /// not checked. None is valid; any other value that is not a dictionary is invalid. Logs the
  /// first invalid key and sets `error` to a status error with code -6756.
  static bool validateParameters(const platform::Value& params,
                                 std::optional<platform::Error>* error);

  /// Returns "code", "domain" and the localized texts that the error has.
  static std::optional<platform::Dictionary> errorToDictionary(
      const std::optional<platform::Error>& error);

  /// Returns one dictionary per item, in the same order. Extra attributes of an item override its
  /// own entries.
  static platform::Array timedMetadataFromAVTimedMetadata(const platform::TimedMetadataList& items);

  /// Returns a description for the log. Data inside a dictionary or an array is replaced by its
  /// length. A data value itself is described in full.
  static std::string dataAbbreviatedDescription(const platform::Value& value);

  /// Asserts that `container` is not none.
  static platform::Value _containerWithAbbreviatedData(const platform::Value& container);
};
