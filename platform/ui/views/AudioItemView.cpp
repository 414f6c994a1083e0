#include "platform/ui/views/AudioItemView.h"

#include <utility>

#include "platform/ui/views/Label.h"
#include "platform/ui/views/VideoView.h"

namespace platform {

namespace {

// Everything is above the transport bar.
constexpr double kCoverSize = 400;
constexpr double kCoverTop = 90;
constexpr double kTextTop = 515;
constexpr double kTextTopWithoutCover = 400;
constexpr double kTitleHeight = 100;
constexpr double kLineHeight = 64;
constexpr double kTextWidth = 1400;
constexpr Color kDimText{0.74F, 0.75F, 0.78F, 1};

std::shared_ptr<Label> makeLine(View& parent, TextStyle style, Color color) {
  auto label = std::make_shared<Label>();
  label->setTextStyle(style);
  label->setTextColor(color);
  label->setTextAlignment(TextAlignment::Center);
  parent.addSubview(label);
  return label;
}

}  // namespace

AudioItemView::AudioItemView()
    : View(kScreenBounds),
      _cover(std::make_shared<VideoView>(
          Rect{(kScreenWidth - kCoverSize) / 2, kCoverTop, kCoverSize, kCoverSize})),
      _title(makeLine(*this, TextStyle::Headline, kWhite)),
      _artist(makeLine(*this, TextStyle::Body, kWhite)),
      _album(makeLine(*this, TextStyle::Body, kDimText)) {
  addSubview(_cover);
  setContent({});
}

AudioItemView::~AudioItemView() = default;

void AudioItemView::setContent(Content content) {
  double top = content.cover ? kTextTop : kTextTopWithoutCover;
  _cover->setHidden(!content.cover);
  _cover->setOutput(std::move(content.cover));
  const auto place = [&](Label& label, const std::string& text, double height) {
    label.setText(text);
    label.setFrame({(kScreenWidth - kTextWidth) / 2, top, kTextWidth, height});
    if (!text.empty()) top += height;
  };
  place(*_title, content.title, kTitleHeight);
  place(*_artist, content.artist, kLineHeight);
  place(*_album, content.album, kLineHeight);
}

}  // namespace platform
