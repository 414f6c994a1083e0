#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/playback/FactsReader.h"
#include "media/pipeline/playback/PlaybackParts.h"
#include "media/pipeline/playback/TextBranch.h"
#include "media/support/GstRef.h"
#include "streaming/playback/PresentationPlayback.h"

namespace media {

/// Selects streams. One selection is made at a time; further requests wait for its end.
///
/// Threads: the pipeline's.
class StreamSelection {
 public:
  StreamSelection(const PlaybackParts& parts, StreamCatalog& catalog, TextBranch& texts,
                  FactsReader& facts)
      : _load(parts.load),
        _elements(parts.elements),
        _wanted(parts.wanted),
        _state(parts.state),
        _catalog(catalog),
        _texts(texts),
        _facts(facts),
        _progressTimeout(parts.progressTimeout),
        _announcements(parts.announcements) {}

  void requestTrack(std::uint32_t trackID, bool enabled);
  void requestOption(const std::string& characteristic,
                     const std::optional<std::string>& identifier);
  /// Begins the oldest request. Returns false if there is none.
  bool beginNext();
  /// Selects the preferred languages, unless the user has selected something. Returns true if that
  /// selection is under way.
  bool beginPreferred();
  bool isUnderWay() const { return _selecting.has_value(); }
  /// Handles a STREAMS_SELECTED message.
  void handleStreamsSelected(StreamCatalog::Selection selection);
  /// Ends the selection, after the message or the time-out.
  void finish();

  /// Selects the initial tracks of a presentation before it is built.
  streaming::TrackSelection selectForStart();
  void setCollection(GstRef<GstStreamCollection> collection);
  /// Forgets all streams, before the player starts again.
  void clear();
  /// Call it when properties of streams may have changed.
  void update();
  /// Updates the tracks of a presentation.
  void update(const std::vector<streaming::Track>& tracks);
  void noteCaptions(PictureCaptions::Channel channel);

 private:
  streaming::TrackSelection _trackSelection() const;
  void _select(const std::string& characteristic, const std::optional<std::string>& identifier);
  void _begin(std::optional<StreamCatalog::Choice> choice);
  void _reportChanges(const std::vector<platform::MediaSelectionGroup>& before);
  void _refreshFacts();

  LoadContext& _load;
  const PlayerElements& _elements;
  WantedPlayback& _wanted;
  PlaybackState& _state;
  StreamCatalog& _catalog;
  TextBranch& _texts;
  FactsReader& _facts;
  ProgressTimeout& _progressTimeout;
  Announcements& _announcements;
  std::optional<StreamCatalog::Choice> _selecting;
  std::vector<std::function<void()>> _requests;
  GstRef<GstStreamCollection> _collection;
  bool _chosen = false;  // by the user, or automatically
};

}  // namespace media
