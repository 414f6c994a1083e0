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
#include "streaming/playback/PresentationPlayback.h"

namespace media {

/// The texts of an item: those of the media, those beside the media and captions in the pictures.
///
/// Threads: the pipeline's, but setStyles() any.
class TextBranch {
 public:
  TextBranch(LoadContext& load, PlayerElements& elements, const StreamCatalog& catalog);

  std::shared_ptr<SubtitleCues> cues() const { return _cues; }
  /// May be null.
  void setStyles(std::shared_ptr<const SubtitleStyles> styles);

  /// For a plain resource: makes the sink of the texts in the media.
  void makeSink();
  /// For a presentation, whose texts come as segments.
  void setUpSegments(std::shared_ptr<TimestampOffsets> offsets);
  void addSegment(const streaming::TrackPiece& piece, bool isFirst);

  /// The groups of the catalog with all texts.
  std::vector<platform::MediaSelectionGroup> groups() const;
  /// The first captions of a channel have come. False: it was known.
  bool noteCaptions(PictureCaptions::Channel channel);
  /// Those that a presentation declares.
  void noteCaptionTracks(const std::vector<streaming::Track>& tracks);

  /// One that is no stream of the media. Empty: none.
  struct Option {
    std::optional<std::size_t> alternate;
    std::optional<PictureCaptions::Channel> captions;

    explicit operator bool() const { return alternate || captions; }
  };
  Option find(const std::string& identifier) const;
  /// False: it was selected.
  bool select(const Option& option);
  /// Shows what is selected, of the media too.
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
  std::unique_ptr<TextSegments> _segments;
  AlternateTexts _alternates;
  std::array<std::optional<platform::MediaSelectionOption>, 4> _captions;  // known channels
  std::optional<PictureCaptions::Channel> _shownCaptions;
};

}  // namespace media
