// Packets on the sockets for pictures, in both directions.

#include <algorithm>

#include "frames/FrameLayout.h"
#include "frames/FrameMessages.h"
#include "fuzz/support/FuzzTarget.h"

namespace fuzz {
namespace {

void checkLayout(const frames::FrameMessage& message) {
  const auto shape = frames::shapeOf(message.format, message.width, message.height);
  if (!shape) return;
  std::size_t bytes = 0;
  if (const auto layout = frames::layoutFor(*shape, &bytes))
    require(frames::fits(*shape, *layout, bytes), "a computed layout fits its own size");
  constexpr std::size_t kBuffer = std::size_t{64} << 20;
  if (!frames::fits(*shape, message.layout, kBuffer)) return;
  for (std::size_t plane = 0; plane < shape->planeCount; ++plane) {
    const auto& [rowBytes, rows] = shape->planes[plane];
    const std::size_t last = message.layout.offsets[plane] +
                             (rows - 1) * std::size_t{message.layout.strides[plane]} + rowBytes;
    require(last <= kBuffer, "a layout that fits ends within the buffer");
  }
}

void readFrameMessage(Bytes input) {
  if (const auto frame = frames::decodeFrame(input)) {
    const auto packet = frames::encode(*frame);
    require(std::ranges::equal(packet, input), "a frame message is encoded as it was");
    checkLayout(*frame);
  }
  if (const auto film = frames::decodeFilm(input)) {
    const auto packet = frames::encode(*film);
    require(std::ranges::equal(packet, input), "a film message is encoded as it was");
    frames::isDrawable(*film);
    checkLayout(*film);
  }
  if (const auto answer = frames::decodeAnswer(input)) {
    const auto packet = frames::encode(*answer);
    require(std::ranges::equal(packet, input), "an answer is encoded as it was");
  }
}

/// A valid message with some random fields.
void mutateFrameMessage(std::string& input, Random& random) {
  const auto number = [&] { return static_cast<std::uint32_t>(random.next() >> random.below(64)); };
  frames::FilmMessage message;
  message.sequence = number();
  message.index = number();
  message.format = static_cast<std::uint32_t>(random.below(5));
  message.width = number();
  message.height = number();
  message.flags = number();
  for (std::size_t plane = 0; plane < 3; ++plane) {
    message.layout.offsets[plane] = number();
    message.layout.strides[plane] = number();
  }
  message.aspectNumerator = number();
  message.aspectDenominator = number();
  message.rotation = static_cast<std::uint32_t>(random.below(5) * 90);
  const auto set = [&](const auto& packet) { input.assign(packet.begin(), packet.end()); };
  if (random.oneIn(2))
    set(frames::encode(message));
  else
    set(frames::encode(static_cast<const frames::FrameMessage&>(message)));
}

const Registration frameMessage({"FrameMessage", &readFrameMessage, {}, &mutateFrameMessage});

}  // namespace
}  // namespace fuzz
