#pragma once

#include <string_view>

// Log components of the application. TVSSystemLog belongs to the platform.
inline constexpr std::string_view TVVLCommunication = "TVVLCommunication";
inline constexpr std::string_view TVVLSession = "TVVLSession";
inline constexpr std::string_view TVVLSessionManager = "TVVLSessionManager";
inline constexpr std::string_view TVVLMediaItem = "TVVLMediaItem";
inline constexpr std::string_view TVVLMetadata = "TVVLMetadata";
inline constexpr std::string_view TVVLService = "TVVLService";
