#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/output/SubtitleCues.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSMediaItem.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// A text beside the media, by a URL of its own.
struct AlternateText {
  std::string url;
  std::string name;
  std::string language;  ///< BCP 47; empty when unknown
  bool forced = false;
  std::vector<std::string> characteristics;
};

/// Those of an item's metadata: each a dictionary with "src" (or "URL"), and "language", "name",
/// "forced" and "characteristics" where they are known. What has no URL with a scheme is left out,
/// and so are files unless they are allowed.
///
/// Threads: main.
std::vector<AlternateText> alternateTextsOf(const TVSMediaItem& item, bool allowFileURLs);

/// The alternate texts of a loaded item as options of the legible group: at most one is selected,
/// and is loaded then.
///
/// Threads: the pipeline's.
class AlternateTexts {
 public:
  explicit AlternateTexts(std::vector<AlternateText> texts) : _texts(std::move(texts)) {}

  bool isSelected() const { return _selected.has_value(); }
  /// Nothing for what is no identifier of these.
  std::optional<std::size_t> find(const std::string& identifier) const;
  /// What find() has found, or none. False when that is how it was.
  bool select(std::optional<std::size_t> text);
  /// Begins to load the selected one. `done` is called once at most, on another thread, with what
  /// could be read of it; not after stop().
  /// `item` is null for a file.
  void load(streaming::Streaming& streaming, std::shared_ptr<streaming::StreamedItem> item,
            std::function<void(std::vector<SubtitleCue>)> done);
  void stop() { _loading.reset(); }
  /// Adds the options.
  void appendTo(std::vector<platform::MediaSelectionGroup>& groups) const;

 private:
  const std::vector<AlternateText> _texts;
  std::optional<std::size_t> _selected;
  std::shared_ptr<void> _loading;
};

}  // namespace media
