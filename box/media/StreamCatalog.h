#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "platform/media/MediaFacts.h"

namespace box {

/// The streams of a loaded item, as tracks and as options of choice, and which of them play.
///
/// Threads: the pipeline's.
class StreamCatalog {
 public:
  using Selection = std::vector<std::string>;  ///< ids of all streams that are to play

  /// Collections are posted several times; false when nothing has changed.
  bool update(GstStreamCollection* collection);
  /// From a STREAMS_SELECTED message.
  bool updateSelection(GstMessage* message);
  void setSelection(Selection selection) { _selection = std::move(selection); }

  bool plays(GstStreamType type) const;

  std::vector<platform::MediaTrack> tracks() const;
  std::vector<platform::MediaSelectionGroup> groups() const;

  /// What would have to play; nothing when that is what plays, names nothing, or leaves nothing to
  /// play.
  std::optional<Selection> withTrack(std::uint32_t trackID, bool enabled) const;
  std::optional<Selection> withOption(const std::string& characteristic,
                                      const std::optional<std::string>& identifier) const;

 private:
  struct Stream {
    std::string id;
    GstStreamType type = GST_STREAM_TYPE_UNKNOWN;
    std::string codec;
    std::string title;
    std::string language;
    friend bool operator==(const Stream&, const Stream&) = default;
  };

  bool _isSelected(const Stream& stream) const;
  std::optional<Selection> _changed(Selection selection) const;
  static Stream _describe(GstStream* stream);

  std::vector<Stream> _streams;
  Selection _selection;
};

}  // namespace box
