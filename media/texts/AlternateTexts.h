#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/output/SubtitleCues.h"
#include "media/texts/TextFormats.h"
#include "platform/media/MediaSelection.h"
#include "platform/media/TVSMediaItem.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// A subtitle resource outside of the media, with a URL of its own.
struct AlternateText {
  std::string url;
  std::string name;
  std::string language;  ///< BCP 47; empty when unknown
  bool forced = false;
  std::vector<std::string> characteristics;
};

/// Returns the alternate tracks in the metadata of `item`. Each is a dictionary with "src" or "URL"
/// and the optional keys "language", "name", "forced" and "characteristics". Tracks whose URL has
/// no scheme are left out. So are file URLs unless `allowFileURLs` is set.
///
/// Threads: main.
std::vector<AlternateText> alternateTextsOf(const TVSMediaItem& item, bool allowFileURLs);

/// The alternate texts of a loaded item as options of the legible group. At most one is selected.
/// A text is loaded when it is selected.
///
/// Threads: the pipeline's.
class AlternateTexts {
 public:
  explicit AlternateTexts(std::vector<AlternateText> texts) : _texts(std::move(texts)) {}

  bool isSelected() const { return _selected.has_value(); }
  /// Returns the index of the text with this identifier, or nullopt.
  std::optional<std::size_t> find(const std::string& identifier) const;
  /// Selects the text with this index (see find()), or none. Returns false if the selection stays.
  bool select(std::optional<std::size_t> text);
  /// Starts loading the selected text. `done` is called at most once, on another thread, with the
  /// content that could be read. It is not called after stop(). `item` is null for a plain
  /// resource.
  void load(streaming::Streaming& streaming, std::shared_ptr<streaming::StreamedItem> item,
            std::function<void(TextContent)> done);
  void stop() { _loading.reset(); }
  void appendTo(std::vector<platform::MediaSelectionGroup>& groups) const;

 private:
  const std::vector<AlternateText> _texts;
  std::optional<std::size_t> _selected;
  std::shared_ptr<void> _loading;
};

}  // namespace media
