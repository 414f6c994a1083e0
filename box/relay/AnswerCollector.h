#pragma once

#include <functional>

#include "box/relay/RelayItem.h"
#include "box/relay/ResponseSink.h"

namespace box {

/// Gathers what an exchange brings into one answer.
class AnswerCollector final : public ResponseSink {
 public:
  explicit AnswerCollector(std::function<void(RelayAnswer)> reply);

  void begin(const ResourceHead& head) override;
  bool send(std::string_view bytes) override;
  void finish() override;
  void fail(int status, const platform::Error& error) override;

 private:
  std::function<void(RelayAnswer)> _reply;
  RelayAnswer _answer;
  platform::Bytes _bytes;
  bool _isTooLong = false;
};

}  // namespace box
