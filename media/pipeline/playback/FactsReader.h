#pragma once

#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/TextBranch.h"

namespace media {

/// Reads the facts of an item from the player or the presentation.
///
/// Threads: the pipeline's.
class FactsReader {
 public:
  FactsReader(LoadContext& load, const PlayerElements& elements, PlaybackState& state,
              const StreamCatalog& catalog, const TextBranch& texts)
      : _load(load), _elements(elements), _state(state), _catalog(catalog), _texts(texts) {}

  void refresh();

 private:
  void _readPlayer();
  void _readPresentation();

  LoadContext& _load;
  const PlayerElements& _elements;
  PlaybackState& _state;
  const StreamCatalog& _catalog;
  const TextBranch& _texts;
};

}  // namespace media
