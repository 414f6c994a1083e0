#include "box/frames/AnswerSocket.h"

#include <cerrno>

#include <sys/socket.h>

namespace box {

void AnswerSocket::send(const frames::AnswerMessage& answer) {
  const frames::AnswerPacket packet = frames::encode(answer);
  ssize_t sent = -1;
  do {
    sent = ::send(_socket.get(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  if (sent >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) return;
  _overran = true;
  shutDown();
}

void AnswerSocket::shutDown() { ::shutdown(_socket.get(), SHUT_RDWR); }

}  // namespace box
