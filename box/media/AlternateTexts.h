#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "box/media/SubtitleCues.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSMediaItem.h"

namespace box {

class RelayItem;
class TextLoader;

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
  explicit AlternateTexts(std::vector<AlternateText> texts);
  ~AlternateTexts();

  bool isSelected() const { return _selected.has_value(); }
  /// Nothing for what is no identifier of these.
  std::optional<std::size_t> find(const std::string& identifier) const;
  /// What find() has found, or none. False when that is how it was.
  bool select(std::optional<std::size_t> text);
  /// Begins to read the selected one, over `way` where there is one. `done` is called on another
  /// thread, unless stop() comes first.
  void load(const RelayItem* way, std::function<void(std::vector<SubtitleCue>)> done);
  /// Waits for the library's threads.
  void stop();
  /// Adds the options.
  void appendTo(std::vector<platform::MediaSelectionGroup>& groups) const;

 private:
  const std::vector<AlternateText> _texts;
  std::optional<std::size_t> _selected;
  std::unique_ptr<TextLoader> _loader;
};

}  // namespace box
