#pragma once

namespace tvvorlane {

inline constexpr const char* kPath = "/quorin/tvvorlane/Receiver";
inline constexpr const char* kReceiver = "quorin.tvvorlane.Receiver1";
inline constexpr const char* kNotifications = "quorin.vorlane.Notifications1";

}  // namespace tvvorlane
