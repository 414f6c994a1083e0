#include "platform/ui/scene/Press.h"

#include <array>
#include <utility>

namespace platform {

namespace {

constexpr std::array<std::pair<std::string_view, PressType>, 8> kPressNames{{
    {"up", PressType::Up},
    {"down", PressType::Down},
    {"left", PressType::Left},
    {"right", PressType::Right},
    {"select", PressType::Select},
    {"menu", PressType::Menu},
    {"playpause", PressType::PlayPause},
    {"home", PressType::Home},
}};

constexpr std::array<std::pair<std::string_view, SwipeDirection>, 4> kSwipeNames{{
    {"left", SwipeDirection::Left},
    {"right", SwipeDirection::Right},
    {"up", SwipeDirection::Up},
    {"down", SwipeDirection::Down},
}};

template <typename Table>
auto find(const Table& table, std::string_view name)
    -> std::optional<typename Table::value_type::second_type> {
  for (const auto& [key, value] : table) {
    if (key == name) return value;
  }
  return std::nullopt;
}

}  // namespace

std::optional<PressType> pressTypeFromName(std::string_view name) {
  return find(kPressNames, name);
}

std::optional<SwipeDirection> swipeDirectionFromName(std::string_view name) {
  return find(kSwipeNames, name);
}

}  // namespace platform
