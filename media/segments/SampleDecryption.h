#pragma once

#include <map>
#include <memory>
#include <optional>

#include "media/encryption/ContentKeys.h"
#include "platform/foundation/Bytes.h"
#include "platform/foundation/Error.h"
#include "streaming/playback/TrackReader.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

struct AVPacket;

namespace media {

/// Decrypts samples: common encryption with keys from ContentKeys or the playlist, and SAMPLE-AES
/// with keys from the playlist.
///
/// Threads: one at a time; keys may arrive on any thread.
class SampleDecryption {
 public:
  explicit SampleDecryption(std::shared_ptr<ContentKeys> keys) : _keys(std::move(keys)) {}

  enum class Outcome {
    Clear,      ///< the packet is decrypted
    Cancelled,  ///< the gate was closed while waiting for a key
    NoKey,      ///< the key was refused or did not arrive in time
    Unusable,   ///< the scheme is not supported or the data is broken
  };
  /// Decrypts `packet` in place if it is encrypted. Blocks for a key that is not known yet. `piece`
  /// is the piece of the packet; its key is used before those of the sender.
  Outcome decrypt(AVPacket& packet, AVCodecID codec, const streaming::TrackPiece& piece,
                  const streaming::ReadGate& gate);

 private:
  struct KeyRequest;
  Outcome _decryptCommon(AVPacket& packet, const platform::Bytes& keyOfPiece,
                         const streaming::ReadGate& gate);
  std::optional<platform::Bytes> _requestKey(const platform::Bytes& keyID,
                                             const streaming::ReadGate& gate);

  const std::shared_ptr<ContentKeys> _keys;
  std::map<platform::Bytes, platform::Bytes> _keysByID;
};

}  // namespace media
