#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/relay/HLSOffers.h"
#include "box/relay/HLSTimeline.h"
#include "box/relay/PlaylistRewriter.h"

namespace box {

/// HLS playlists, line by line: every line that is a URI, and the URI attribute of every tag.
///
/// Variables (EXT-X-DEFINE) are filled in here: those that the playlist defines itself, takes from
/// the query of its URL, or imports from the master playlist.
class HLSRewriter final : public PlaylistRewriter {
 public:
  explicit HLSRewriter(PlaylistContext context);

  std::optional<std::string> feed(std::string_view bytes) override;
  std::optional<std::string> finish() override;
  std::shared_ptr<const MediaTimeline> timeline(const MediaTimeline* previous,
                                                const MediaTimeline* other) const override;
  std::shared_ptr<const StreamOffers> offers() const override;

 private:
  std::string _rewritten(std::string line);
  std::string _rewrittenTag(std::string line);
  std::string _relayed(const std::string& reference, RelayPath::Kind kind) const;
  std::string _absolute(const std::string& reference) const;
  void _define(std::string_view attributes);
  void _fillIn(std::string& line) const;

  const PlaylistContext _context;
  std::string _line;  // what has come of it
  std::size_t _bytes = 0;
  bool _atBeginning = true;
  bool _beyondLimits = false;
  bool _isMaster = false;
  std::map<std::string, std::string, std::less<>> _variables;
  HLSTimeline _timeline;
  HLSOffers _offers;
};

}  // namespace box
