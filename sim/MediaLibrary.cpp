#include "sim/MediaLibrary.h"

#include <utility>

namespace sim {

void MediaLibrary::add(std::string url, MediaScript script) {
  _scripts.insert_or_assign(std::move(url), std::make_shared<const MediaScript>(std::move(script)));
}

void MediaLibrary::remove(std::string_view url) {
  if (const auto found = _scripts.find(url); found != _scripts.end()) _scripts.erase(found);
}

std::shared_ptr<const MediaScript> MediaLibrary::find(std::string_view url) const {
  const auto found = _scripts.find(url);
  return found == _scripts.end() ? nullptr : found->second;
}

}  // namespace sim
