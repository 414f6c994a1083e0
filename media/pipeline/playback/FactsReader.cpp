#include "media/pipeline/playback/FactsReader.h"

#include "media/support/GstTime.h"
#include "media/workarounds/Workarounds.h"

namespace media {

void FactsReader::refresh() {
  if (_elements.presentation)
    _readPresentation();
  else if (_elements.player)
    _readPlayer();
  else
    return;
  platform::MediaFacts& facts = _load.facts.newest();
  facts.tracks = _catalog.tracks();
  facts.selectionGroups = _texts.groups();
  _load.facts.publish();
}

void FactsReader::_readPlayer() {
  platform::MediaFacts& facts = _load.facts.newest();
  GstElement* const player = _elements.player.get();
  gint64 duration = -1;
  if (gst_element_query_duration(player, GST_FORMAT_TIME, &duration) && duration >= 0)
    facts.duration = secondsOf(duration);

  facts.seekable.clear();
  const GstRef<GstQuery> seeking(gst_query_new_seeking(GST_FORMAT_TIME));
  if (gst_element_query(player, seeking.get())) {
    gboolean seekable = FALSE;
    gint64 start = 0;
    gint64 end = -1;
    gst_query_parse_seeking(seeking.get(), nullptr, &seekable, &start, &end);
    if (end < 0) end = duration;
    if (Workarounds::shared().losesMediaBySeeks(player)) seekable = FALSE;
    if (seekable && start >= 0 && end >= start)
      facts.seekable.push_back({secondsOf(start), secondsOf(end - start)});
  }
  const bool file = _load.setup.url.starts_with("file:");
  facts.live = _state.live || (_state.prerolled && facts.duration <= 0 && !file);

  // The loaded ranges of other items are added by the engine.
  if (file) facts.loaded = facts.seekable;
  if (_state.ready && !_state.buffering) {
    facts.likelyToKeepUp = true;
    facts.bufferEmpty = false;
  }
}

void FactsReader::_readPresentation() {
  platform::MediaFacts& facts = _load.facts.newest();
  const auto timeline = _load.setup.item->presentation()->timeline(_load.position.seconds());
  _state.live = false;
  facts.live = timeline.isLive;
  facts.duration = timeline.duration;
  facts.seekable = timeline.seekable;
  facts.loaded = timeline.loaded;
  if (_state.ready && !_state.buffering) {
    facts.likelyToKeepUp = true;
    facts.bufferEmpty = false;
    facts.bufferFull = timeline.isLoadedToEnd || !_state.waits;
  }
}

}  // namespace media
