#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "box/relay/DASHEvents.h"
#include "box/relay/DASHOffers.h"
#include "box/relay/DASHSegments.h"
#include "box/relay/PlaylistRewriter.h"
#include "box/relay/XMLText.h"

namespace box {

/// DASH manifests, tag by tag.
///
/// What is relative stays so, and is resolved by the reader: the manifest gets a base URL on the
/// relay, if it has none, for it may have come from elsewhere by a redirect. Templates keep their
/// identifiers. XML of other kinds passes as it is, and so do licence servers' URLs.
class DASHRewriter final : public PlaylistRewriter {
 public:
  explicit DASHRewriter(PlaylistContext context);

  std::optional<std::string> feed(std::string_view bytes) override;
  std::optional<std::string> finish() override;
  /// With rules for segments. Positions are those of the presentation: 0 is the availability start
  /// time of a live one, whatever the first period's start.
  std::shared_ptr<const MediaTimeline> timeline(const MediaTimeline* previous,
                                                const MediaTimeline* other) const override;
  std::shared_ptr<const StreamOffers> offers() const override;

 private:
  struct Element {
    std::string name;
    std::string base;  ///< what relative references within it are relative to
    bool hasOwnBase = false;
  };

  void _handleMarkup(std::string_view markup);
  void _handleStart(const XMLTag& tag, std::string_view markup);
  void _noteFacts(std::string_view name, std::string_view markup);
  void _tellStart(const XMLTag& tag, std::string_view markup);
  void _tellEnd(std::string_view name);
  void _tellText(std::string_view text);
  void _finishText();
  void _addBase(std::string_view prefix);
  std::string _rewrittenTag(const XMLTag& tag, std::string_view markup) const;
  std::string _rewrittenBase(const std::string& text);
  std::string _rewrittenReference(const std::string& text) const;
  std::string _rewrittenTemplate(const std::string& text) const;
  std::string _withQuery(const std::string& reference) const;
  std::string _relayed(const std::string& base, const std::string& reference) const;
  const std::string& _base() const;

  const PlaylistContext _context;
  std::string _input;  // what has come and not been dealt with
  std::string _output;
  std::size_t _bytes = 0;
  bool _beyondLimits = false;
  bool _isManifest = true;
  bool _hasBase = false;
  std::vector<Element> _elements;
  std::optional<std::string> _text;  // of an element whose text is a URL

  bool _live = false;
  double _segmentDuration = 0;
  std::optional<platform::Date> _start;
  DASHOffers _offers;
  DASHSegments _segments;
  DASHEvents _events;
  const std::array<DASHReader*, 3> _readers{&_offers, &_segments, &_events};
};

}  // namespace box
