#include "media/link/TextMirror.h"

#include <algorithm>

namespace media {

std::shared_ptr<SubtitleCues> TextMirror::of(std::uint64_t identity) {
  std::shared_ptr<SubtitleCues> forgotten;  // released after the lock
  const std::lock_guard lock(_mutex);
  const auto found = std::find_if(_texts.begin(), _texts.end(),
                                  [&](const auto& each) { return each.first == identity; });
  if (found != _texts.end()) {
    std::rotate(found, std::next(found), _texts.end());
    return _texts.back().second;
  }
  auto made = std::make_shared<SubtitleCues>();
  made->setStyles(_styles);
  _texts.emplace_back(identity, made);
  if (_texts.size() > kLimit) {
    forgotten = std::move(_texts.front().second);
    _texts.pop_front();
  }
  return made;
}

void TextMirror::apply(const TextChange& change) {
  using TextKind = TextChange::Kind;
  if (change.kind == TextKind::Destroyed) {
    std::shared_ptr<SubtitleCues> gone;  // released after the lock
    const std::lock_guard lock(_mutex);
    const auto found = std::find_if(_texts.begin(), _texts.end(), [&](const auto& each) {
      return each.first == change.identity;
    });
    if (found == _texts.end()) return;
    gone = std::move(found->second);
    _texts.erase(found);
    return;
  }
  const std::shared_ptr<SubtitleCues> texts = of(change.identity);
  std::vector<SubtitleCue> cues;
  for (const auto& each : change.cues) cues.push_back(*each);
  switch (change.kind) {
    case TextKind::Show:
      texts->show(change.source);
      break;
    case TextKind::Add:
      for (SubtitleCue& each : cues) texts->add(std::move(each));
      break;
    case TextKind::Clear:
      texts->clear();
      break;
    case TextKind::AddCaptions:
      for (SubtitleCue& each : cues) texts->addCaption(std::move(each));
      break;
    case TextKind::ClearCaptions:
      texts->clearCaptions();
      break;
    case TextKind::SetExternal:
      texts->setExternal(std::move(cues));
      break;
    case TextKind::AddExternal:
      texts->addExternal(std::move(cues));
      break;
    case TextKind::AddRendering:
      for (SubtitleCue& each : cues) texts->addRendering(change.source, std::move(each));
      break;
    case TextKind::Destroyed:
      break;
  }
}

void TextMirror::setStyles(std::shared_ptr<const SubtitleStyles> styles) {
  const std::lock_guard lock(_mutex);
  _styles = std::move(styles);
  for (const auto& [identity, texts] : _texts) texts->setStyles(_styles);
}

}  // namespace media
