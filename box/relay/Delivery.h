#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/relay/Fetch.h"
#include "box/relay/ItemContext.h"
#include "box/relay/PlaylistRewriter.h"
#include "box/relay/ResponseSink.h"

namespace box {

/// What becomes of a body on its way from its source to whoever asked: a playlist is rewritten, a
/// key is made out of it, everything else passes as it is.
///
/// Threads: the relay's.
class Delivery {
 public:
  enum class Form {
    Body,    ///< for the engine: playlists are rewritten
    Key,     ///< for the engine: sixteen bytes, or nothing
    Answer,  ///< as it is
  };

  /// `path` is what was asked for. All outlive it.
  Delivery(ItemContext& item, const RelayPath& path, Form form, bool headOnly, ResponseSink& sink);

  /// `head` has no status that tells of an error.
  void begin(const ResourceHead& head);
  BodyFlow pass(std::string_view bytes);
  /// The body is complete. An error: it has not been what it had to be.
  std::optional<platform::Error> end();

  /// As far as is known by now.
  bool isPlaylist() const { return _rewriter != nullptr; }
  /// pass() has ended with Abort because a part of a playlist was asked for, which has to be had
  /// whole.
  bool needsWhole() const { return _needsWhole; }
  /// Why else it has ended so.
  const std::optional<platform::Error>& refusal() const { return _refusal; }

 private:
  BodyFlow _decide();
  BodyFlow _beginPlaylist(PlaylistKind kind);
  BodyFlow _beginPlain();
  BodyFlow _send(std::string_view bytes);
  BodyFlow _rewrite(std::string_view bytes);
  std::optional<platform::Error> _endKey();
  std::optional<platform::Error> _endPlaylist();
  BodyFlow _refuse(platform::Error error);

  ItemContext& _item;
  const RelayPath& _path;
  const Form _form;
  const bool _headOnly;
  ResponseSink& _sink;
  ResourceHead _head;
  bool _isDecided = false;
  bool _needsWhole = false;
  std::optional<platform::Error> _refusal;
  std::string _gathered;  // the first bytes, or all of a key
  std::unique_ptr<PlaylistRewriter> _rewriter;
  std::optional<std::uint64_t> _range;  // in the record
};

/// Whether the name of a resource promises a playlist or a text, which is worth being packed.
bool looksLikePlaylist(const std::string& url);
bool looksLikeText(const std::string& url);

}  // namespace box
