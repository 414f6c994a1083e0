#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gst/gst.h>

#include "media/pipeline/StreamDescription.h"
#include "platform/media/MediaSelection.h"
#include "platform/media/MediaTrack.h"

namespace media {

/// The streams of a loaded item, as tracks and as selectable options, and which of them play.
///
/// Tracks have the numbers of the container if it numbers all of them, otherwise 1, 2, 3 …
///
/// Threads: the pipeline's.
class StreamCatalog {
 public:
  using Selection = std::vector<std::string>;  ///< ids of all streams that are to flow
  /// The streams to play. A text stream also flows while it is hidden: decodebin3 often fails when
  /// the last text stream is deselected and selected again.
  struct Choice {
    Selection streams;
    bool showsText = false;
    bool textFollowsSound = false;  ///< the text was selected automatically
  };

  /// Returns false if nothing has changed: GStreamer posts a collection several times.
  bool update(GstStreamCollection* collection) { return update(_describe(collection)); }
  /// Marks a stream as forced. Called before the stream is announced.
  void noteForced(std::string id) { _forced.insert(std::move(id)); }
  bool update(std::vector<StreamDescription> streams);
  /// Returns the streams that flow, from a STREAMS_SELECTED message.
  static Selection selectionOf(GstMessage* message);
  bool updateSelection(Selection selection);
  void choose(const Choice& choice);
  /// Returns whether other streams have to flow for `choice` than now.
  bool changesStreams(const Choice& choice) const;

  bool plays(GstStreamType type) const;
  std::vector<StreamDescription> playing() const;
  /// Returns whether there is video or audio. Web pages are text streams; single images are left
  /// out.
  bool hasMedia() const;
  bool hasSingleStream() const { return _streams.size() == 1; }

  std::vector<platform::MediaTrack> tracks() const;
  std::vector<platform::MediaSelectionGroup> groups() const;

  /// Return the streams to play after such a request, or nullopt if nothing changes, the request is
  /// invalid, or nothing would be left to play. A change of the audio stream also selects the
  /// forced text in its language, unless the user has selected a text.
  std::optional<Choice> withTrack(std::uint32_t trackID, bool enabled) const;
  std::optional<Choice> withOption(const std::string& characteristic,
                                   const std::optional<std::string>& identifier) const;
  /// Returns the initial selection, or nullopt if it plays already: the first of `languages` that
  /// is available, else the container's default, else the first stream; and the forced text in the
  /// language of the audio.
  std::optional<Choice> preferred(const std::vector<std::string>& languages) const;
  /// Returns whether the languages of all audio streams are known, or there is only one.
  bool knowsLanguages() const;

 private:
  std::vector<StreamDescription> _describe(GstStreamCollection* collection) const;
  bool _isSelected(const StreamDescription& stream) const;
  bool _plays(const StreamDescription& stream) const;
  std::optional<Choice> _choiceOf(const std::vector<const StreamDescription*>& playing) const;
  /// Returns the forced text in the language of `sound`, or null.
  const StreamDescription* _forcedWith(const StreamDescription* sound) const;
  const StreamDescription* _best(GstStreamType type,
                                 const std::vector<std::string>& languages) const;

  std::vector<StreamDescription> _streams;
  std::set<std::string> _forced;  // stream ids
  bool _numbered = false;         // all streams have numbers of the container
  Selection _selection;           // streams that flow
  bool _showsText = false;
  bool _textFollowsSound = false;
};

}  // namespace media
