#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "box/relay/DASHReader.h"
#include "box/relay/StreamOffers.h"

namespace box {

/// What a manifest offers: the adaptation sets of its first period, and all representations.
class DASHOffers final : public DASHReader {
 public:
  void begin(std::string_view name, const XMLAttributes& attributes) override;
  void text(std::string_view text) override;
  void end(std::string_view name, const std::string& base) override;

  const StreamOffers& offers() const { return _offers; }

 private:
  void _noteMeaning(const XMLAttributes& attributes);
  void _noteCaptions(std::string_view channels);
  void _finishSet();

  StreamOffers _offers;
  std::size_t _periods = 0;
  std::size_t _sets = 0;  // of the period
  bool _inSet = false;
  bool _inLabel = false;
  std::string _type;  // "audio", "video" or "text"
  StreamOffer _set;
};

}  // namespace box
