#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/captions/PictureCaptions.h"
#include "media/output/SubtitleCues.h"
#include "media/output/SubtitleStyles.h"
#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/segments/TextSegments.h"
#include "media/texts/AlternateTexts.h"
#include "media/texts/ass/RenderedTexts.h"
#include "streaming/playback/PresentationPlayback.h"

namespace media {

/// The subtitles of an item: text streams, external texts, and captions in pictures.
///
/// Threads: the pipeline's, but setStyles() any.
class TextBranch {
 public:
  TextBranch(LoadContext& load, PlayerElements& elements, const StreamCatalog& catalog);

  std::shared_ptr<SubtitleCues> cues() const { return _cues; }
  std::shared_ptr<RenderedTexts> rendered() const { return _rendered; }
  /// `styles` may be null.
  void setStyles(std::shared_ptr<const SubtitleStyles> styles);

  /// Creates the sink for text streams of a plain resource.
  void makeSink();
  /// Prepares for the text segments of a presentation.
  void setUpSegments(std::shared_ptr<TimestampOffsets> offsets);
  void addSegment(const streaming::TrackPiece& piece, bool isFirst);

  /// Returns the groups of the catalog with external texts and captions added.
  std::vector<platform::MediaSelectionGroup> groups() const;
  /// Captions of a channel were found. Returns false if that was known.
  bool noteCaptions(PictureCaptions::Channel channel);
  /// Adds the caption channels that a presentation declares.
  void noteCaptionTracks(const std::vector<streaming::Track>& tracks);

  /// An option that is not a stream. Empty: none.
  struct Option {
    std::optional<std::size_t> alternate;
    std::optional<PictureCaptions::Channel> captions;

    explicit operator bool() const { return alternate || captions; }
  };
  Option find(const std::string& identifier) const;
  /// Returns false if the option was selected already.
  bool select(const Option& option);
  /// Shows the selected source of subtitles.
  void show();
  void stop() { _alternates.stop(); }

 private:
  void _loadAlternate();
  std::optional<PictureCaptions::Channel> _captionsNamed(const std::string& identifier) const;
  void _noteChange();

  LoadContext& _load;
  PlayerElements& _elements;
  const StreamCatalog& _catalog;
  const std::shared_ptr<SubtitleCues> _cues;
  const std::shared_ptr<RenderedTexts> _rendered;
  std::unique_ptr<TextSegments> _segments;
  AlternateTexts _alternates;
  /// Of the known channels.
  std::array<std::optional<platform::MediaSelectionOption>, PictureCaptions::kChannels> _captions;
  std::optional<PictureCaptions::Channel> _shownCaptions;
};

}  // namespace media
