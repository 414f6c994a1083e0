#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gst/gst.h>

#include "media/pipeline/StreamDescription.h"
#include "platform/media/MediaFacts.h"

namespace media {

/// The streams of a loaded item, as tracks and as options of choice, and which of them play.
///
/// Tracks have the numbers that the container gives them where it numbers all of them, and are
/// counted otherwise.
/// Threads: the pipeline's.
class StreamCatalog {
 public:
  using Selection = std::vector<std::string>;  ///< ids of all streams that are to flow
  /// What is to play. A text flows also while it is not shown: switching the last one off and on
  /// again is what the library does worst.
  struct Choice {
    Selection streams;
    bool showsText = false;
    bool textFollowsSound = false;  ///< it is one that nobody has chosen
  };

  /// Collections are posted several times; false when nothing has changed.
  bool update(GstStreamCollection* collection) { return update(_describe(collection)); }
  /// What the container says of a stream, by its id, before it is told of.
  void noteForced(std::string id) { _forced.insert(std::move(id)); }
  bool update(std::vector<StreamDescription> streams);
  /// What flows, as a STREAMS_SELECTED message says.
  static Selection selectionOf(GstMessage* message);
  bool updateSelection(Selection selection);
  void choose(const Choice& choice);
  /// Whether other streams have to flow for it than do.
  bool changesStreams(const Choice& choice) const;

  bool plays(GstStreamType type) const;
  /// What plays.
  std::vector<StreamDescription> playing() const;
  /// There is video or sound. A page of the web is but text, and a picture by itself is no stream.
  bool hasMedia() const;

  std::vector<platform::MediaTrack> tracks() const;
  std::vector<platform::MediaSelectionGroup> groups() const;

  /// What would have to play; nothing when that is what plays, names nothing, or leaves nothing to
  /// play. With another sound come the texts that are forced in its language, unless somebody
  /// has chosen one.
  std::optional<Choice> withTrack(std::uint32_t trackID, bool enabled) const;
  std::optional<Choice> withOption(const std::string& characteristic,
                                   const std::optional<std::string>& identifier) const;
  /// What nobody has chosen yet: the sound in the first of `languages` that there is, else what the
  /// author wants, else the first; the picture likewise; of the texts those that are forced in the
  /// language of the sound. Nothing when that plays.
  std::optional<Choice> preferred(const std::vector<std::string>& languages) const;
  /// All of the sound is known by its language, or there is no choice.
  bool knowsLanguages() const;

 private:
  std::vector<StreamDescription> _describe(GstStreamCollection* collection) const;
  bool _isSelected(const StreamDescription& stream) const;
  bool _plays(const StreamDescription& stream) const;
  std::optional<Choice> _choiceOf(const std::vector<const StreamDescription*>& playing) const;
  /// The text that is forced in the language of `sound`; null where there is none.
  const StreamDescription* _forcedWith(const StreamDescription* sound) const;
  const StreamDescription* _best(GstStreamType type,
                                 const std::vector<std::string>& languages) const;

  std::vector<StreamDescription> _streams;
  std::set<std::string> _forced;  // by their ids
  bool _numbered = false;         // by the container
  Selection _selection;           // what flows
  bool _showsText = false;
  bool _textFollowsSound = false;
};

}  // namespace media
