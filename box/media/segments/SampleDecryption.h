#pragma once

#include <map>
#include <memory>
#include <optional>

#include "box/media/ContentKeys.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "streaming/playback/ReadGate.h"

struct AVPacket;

namespace box {

/// Decrypts the samples of common encryption, and asks for their keys.
///
/// Threads: one; keys may come on any.
class SampleDecryption {
 public:
  explicit SampleDecryption(std::shared_ptr<ContentKeys> keys) : _keys(std::move(keys)) {}

  enum class Outcome {
    Clear,      ///< the packet can be played
    Cancelled,  ///< the gate was closed while a key was awaited
    NoKey,      ///< nobody has the key, or nobody answered in time
    Unusable,   ///< the encryption is of another kind, or damaged
  };
  /// Makes the packet's bytes clear, if they are encrypted. Waits for a key it has not had before.
  Outcome decrypt(AVPacket& packet, const streaming::ReadGate& gate);

 private:
  struct Question;
  std::optional<platform::Bytes> _ask(const platform::Bytes& keyID,
                                      const streaming::ReadGate& gate);

  const std::shared_ptr<ContentKeys> _keys;
  std::map<platform::Bytes, platform::Bytes> _known;  // by key identifier
};

}  // namespace box
