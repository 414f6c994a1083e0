#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include <libsoup/soup.h>

#include "box/relay/ResponseSink.h"

namespace box {

/// The answer to a request of the engine's, written as it comes. It lives until the server is
/// through with the request.
class EngineResponse final : public ResponseSink {
 public:
  /// In a handler of the server's, on its thread.
  static std::shared_ptr<EngineResponse> make(SoupServerMessage* message, std::size_t mostWaiting);
  ~EngineResponse() override;

  void begin(const ResourceHead& head) override;
  bool send(std::string_view bytes) override;
  void finish() override;
  void fail(int status, const platform::Error& error) override;

 private:
  EngineResponse(SoupServerMessage* message, std::size_t mostWaiting);
  void _watchPeer();
  void _unwatchPeer();
  void _wrote(std::size_t bytes);
  void _finished();
  void _breakOff();
  SoupMessageBody* _body() const { return soup_server_message_get_response_body(_message); }

  SoupServerMessage* const _message;
  const std::size_t _mostWaiting;
  const bool _isHead;
  bool _begun = false;
  bool _ended = false;  // by us
  bool _isDone = false;
  bool _isFull = false;
  std::size_t _waiting = 0;
  GSource* _peerWatch = nullptr;
  std::shared_ptr<EngineResponse> _self;  // while the server has the request
};

}  // namespace box
