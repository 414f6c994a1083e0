#pragma once

#include <map>
#include <memory>
#include <optional>

#include "media/encryption/ContentKeys.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "streaming/playback/TrackReader.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

struct AVPacket;

namespace media {

/// Decrypts samples: of common encryption, whose keys it asks for, and of SAMPLE-AES, whose keys
/// come with the pieces.
///
/// Threads: one; keys may come on any.
class SampleDecryption {
 public:
  explicit SampleDecryption(std::shared_ptr<ContentKeys> keys) : _keys(std::move(keys)) {}

  enum class Outcome {
    Clear,      ///< the packet can be played
    Cancelled,  ///< the gate was closed while a key was awaited
    NoKey,      ///< the key was refused, or did not come in time
    Unusable,   ///< the encryption is of another kind, or damaged
  };
  /// Makes the packet's bytes clear, if they are encrypted. Waits for a key it has not had before.
  /// `piece` contains the packet. Its own key is tried before those of the sender.
  Outcome decrypt(AVPacket& packet, AVCodecID codec, const streaming::TrackPiece& piece,
                  const streaming::ReadGate& gate);

 private:
  struct Question;
  Outcome _decryptCommon(AVPacket& packet, const platform::Bytes& keyOfPiece,
                         const streaming::ReadGate& gate);
  std::optional<platform::Bytes> _ask(const platform::Bytes& keyID,
                                      const streaming::ReadGate& gate);

  const std::shared_ptr<ContentKeys> _keys;
  std::map<platform::Bytes, platform::Bytes> _known;  // by key identifier
};

}  // namespace media
