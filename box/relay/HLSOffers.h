#pragma once

#include <string>
#include <string_view>

#include "box/relay/StreamOffers.h"

namespace box {

/// Reads what is on offer off a master playlist's lines, as a listener at the rewriter's side.
class HLSOffers {
 public:
  /// `list`: the attributes of the tag.
  void addTag(std::string_view name, std::string_view list);
  /// What the last tag has told of.
  void addVariant(std::string url);
  const StreamOffers& offers() const { return _offers; }

 private:
  StreamOffers _offers;
  double _bitrate = 0;
};

}  // namespace box
