#include "box/services/nowplaying/MprisCalls.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

#include "box/services/nowplaying/MprisObject.h"

namespace box {

namespace {

constexpr double kMicroseconds = 1'000'000;
/// Limit of positions, so that microseconds fit into 64 bits.
constexpr double kMaxSeconds = 1e12;
constexpr double kMinimumRate = 0.5;
constexpr double kMaximumRate = 2;

using Kind = platform::RemoteCommand::Kind;

int constant(sd_bus_message* reply, const char* type, bool value) {
  return sd_bus_message_append(reply, type, static_cast<int>(value));
}

template <bool value>
int boolean(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
            sd_bus_error*) {
  return constant(reply, "b", value);
}

int name(sd_bus*, const char*, const char*, const char* property, sd_bus_message* reply, void*,
         sd_bus_error*) {
  return sd_bus_message_append(
      reply, "s", std::string_view(property) == "Identity" ? "TVVorlane" : "quorin.tvvorlane");
}

int emptyStringArray(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                     sd_bus_error*) {
  return sd_bus_message_append(reply, "as", 0);
}

/// Handler of methods that this player does not support.
int ignoreCall(sd_bus_message* call, void*, sd_bus_error*) {
  return sd_bus_reply_method_return(call, nullptr);
}

const sd_bus_vtable kRootTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Raise", nullptr, nullptr, ignoreCall, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Quit", nullptr, nullptr, ignoreCall, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("CanQuit", "b", boolean<false>, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("CanRaise", "b", boolean<false>, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("HasTrackList", "b", boolean<false>, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Identity", "s", name, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("DesktopEntry", "s", name, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("SupportedUriSchemes", "as", emptyStringArray, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("SupportedMimeTypes", "as", emptyStringArray, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

int appendText(sd_bus_message* reply, const char* key, const std::string& text) {
  return text.empty() ? 0 : sd_bus_message_append(reply, "{sv}", key, "s", text.c_str());
}

}  // namespace

std::int64_t MprisCalls::microseconds(double seconds) {
  if (!std::isfinite(seconds)) return 0;
  return std::llround(std::clamp(seconds, -kMaxSeconds, kMaxSeconds) * kMicroseconds);
}

/// The Player interface. A nested class, so that it can access private members of MprisObject.
struct MprisCalls::Player {
  static const sd_bus_vtable kTable[];

  static const MprisObject& of(void* object) { return *static_cast<const MprisObject*>(object); }

  static void send(void* object, Kind kind, double value = 0) {
    if (of(object)._state.canControl) of(object)._commands({kind, value});
  }

  template <Kind kind>
  static int command(sd_bus_message* call, void* object, sd_bus_error*) {
    send(object, kind);
    return sd_bus_reply_method_return(call, nullptr);
  }

  static int seek(sd_bus_message* call, void* object, sd_bus_error*) {
    std::int64_t offset = 0;
    if (const int result = sd_bus_message_read(call, "x", &offset); result < 0) return result;
    if (of(object)._state.canSeek) {
      send(object, Kind::SkipBy, static_cast<double>(offset) / kMicroseconds);
    }
    return sd_bus_reply_method_return(call, nullptr);
  }

  static int setPosition(sd_bus_message* call, void* object, sd_bus_error*) {
    const char* track = nullptr;
    std::int64_t position = 0;
    if (const int result = sd_bus_message_read(call, "ox", &track, &position); result < 0)
      return result;
    const auto& state = of(object)._state;
    const double seconds = static_cast<double>(position) / kMicroseconds;
    // Ignore a position for a previous track.
    if (state.canSeek && of(object)._trackPath() == track && seconds >= 0 &&
        (!state.duration || seconds <= *state.duration)) {
      send(object, Kind::SeekTo, seconds);
    }
    return sd_bus_reply_method_return(call, nullptr);
  }

  static int openUri(sd_bus_message* call, void*, sd_bus_error*) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_NOT_SUPPORTED,
                                      "Only senders choose what to play");
  }

  static int status(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                    void* object, sd_bus_error*) {
    const char* text = "Stopped";
    if (of(object)._state.status == NowPlayingState::Status::Playing) text = "Playing";
    if (of(object)._state.status == NowPlayingState::Status::Paused) text = "Paused";
    return sd_bus_message_append(reply, "s", text);
  }

  template <double NowPlayingState::*member>
  static int number(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                    void* object, sd_bus_error*) {
    return sd_bus_message_append(reply, "d", of(object)._state.*member);
  }

  template <bool NowPlayingState::*member>
  static int flag(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                  void* object, sd_bus_error*) {
    return constant(reply, "b", of(object)._state.*member);
  }

  static int rateLimit(sd_bus*, const char*, const char*, const char* property,
                       sd_bus_message* reply, void*, sd_bus_error*) {
    return sd_bus_message_append(
        reply, "d", std::string_view(property) == "MinimumRate" ? kMinimumRate : kMaximumRate);
  }

  static int position(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                      void* object, sd_bus_error*) {
    return sd_bus_message_append(reply, "x", microseconds(of(object)._position()));
  }

  static int setRate(sd_bus*, const char*, const char*, const char*, sd_bus_message* value,
                     void* object, sd_bus_error*) {
    double rate = 0;
    if (const int result = sd_bus_message_read(value, "d", &rate); result < 0) return result;
    // MPRIS specifies that a rate of 0 pauses.
    if (rate == 0) send(object, Kind::Pause);
    if (rate >= kMinimumRate && rate <= kMaximumRate) send(object, Kind::SetRate, rate);
    return 0;
  }

  static int setVolume(sd_bus*, const char*, const char*, const char*, sd_bus_message* value,
                       void* object, sd_bus_error*) {
    double volume = 0;
    if (const int result = sd_bus_message_read(value, "d", &volume); result < 0) return result;
    if (std::isfinite(volume)) send(object, Kind::SetVolume, std::clamp(volume, 0.0, 1.0));
    return 0;
  }

  static int metadata(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                      void* object, sd_bus_error*) {
    const NowPlayingState& state = of(object)._state;
    int result = sd_bus_message_open_container(reply, 'a', "{sv}");
    const auto then = [&](int next) {
      if (result >= 0) result = next;
    };
    then(sd_bus_message_append(reply, "{sv}", "mpris:trackid", "o",
                               of(object)._trackPath().c_str()));
    if (state.duration) {
      then(
          sd_bus_message_append(reply, "{sv}", "mpris:length", "x", microseconds(*state.duration)));
    }
    then(appendText(reply, "mpris:artUrl", of(object)._artworkURL));
    then(appendText(reply, "xesam:title", state.title));
    if (!state.artist.empty()) {
      then(sd_bus_message_append(reply, "{sv}", "xesam:artist", "as", 1, state.artist.c_str()));
    }
    then(appendText(reply, "xesam:album", state.album));
    if (state.trackNumber) {
      then(sd_bus_message_append(reply, "{sv}", "xesam:trackNumber", "i", *state.trackNumber));
    }
    then(sd_bus_message_close_container(reply));
    return result;
  }
};

namespace {
constexpr std::uint64_t kUnprivileged = SD_BUS_VTABLE_UNPRIVILEGED;
constexpr std::uint64_t kEmitsChange = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
constexpr std::uint64_t kConstant = SD_BUS_VTABLE_PROPERTY_CONST;
}  // namespace

const sd_bus_vtable MprisCalls::Player::kTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Play", nullptr, nullptr, command<Kind::Play>, kUnprivileged),
    SD_BUS_METHOD("Pause", nullptr, nullptr, command<Kind::Pause>, kUnprivileged),
    SD_BUS_METHOD("PlayPause", nullptr, nullptr, command<Kind::TogglePlayPause>, kUnprivileged),
    SD_BUS_METHOD("Stop", nullptr, nullptr, command<Kind::Stop>, kUnprivileged),
    SD_BUS_METHOD("Next", nullptr, nullptr, command<Kind::Next>, kUnprivileged),
    SD_BUS_METHOD("Previous", nullptr, nullptr, command<Kind::Previous>, kUnprivileged),
    SD_BUS_METHOD_WITH_ARGS("Seek", SD_BUS_ARGS("x", Offset), SD_BUS_NO_RESULT, seek,
                            kUnprivileged),
    SD_BUS_METHOD_WITH_ARGS("SetPosition", SD_BUS_ARGS("o", TrackId, "x", Position),
                            SD_BUS_NO_RESULT, setPosition, kUnprivileged),
    SD_BUS_METHOD_WITH_ARGS("OpenUri", SD_BUS_ARGS("s", Uri), SD_BUS_NO_RESULT, openUri,
                            kUnprivileged),
    SD_BUS_SIGNAL_WITH_ARGS("Seeked", SD_BUS_ARGS("x", Position), 0),
    SD_BUS_PROPERTY("PlaybackStatus", "s", status, 0, kEmitsChange),
    SD_BUS_WRITABLE_PROPERTY("Rate", "d", number<&NowPlayingState::rate>, setRate, 0,
                             kEmitsChange | kUnprivileged),
    SD_BUS_PROPERTY("Metadata", "a{sv}", metadata, 0, kEmitsChange),
    SD_BUS_WRITABLE_PROPERTY("Volume", "d", number<&NowPlayingState::volume>, setVolume, 0,
                             kEmitsChange | kUnprivileged),
    // MPRIS specifies no change signal for Position.
    SD_BUS_PROPERTY("Position", "x", position, 0, 0),
    SD_BUS_PROPERTY("MinimumRate", "d", rateLimit, 0, kConstant),
    SD_BUS_PROPERTY("MaximumRate", "d", rateLimit, 0, kConstant),
    SD_BUS_PROPERTY("CanGoNext", "b", flag<&NowPlayingState::canControl>, 0, kEmitsChange),
    SD_BUS_PROPERTY("CanGoPrevious", "b", flag<&NowPlayingState::canControl>, 0, kEmitsChange),
    SD_BUS_PROPERTY("CanPlay", "b", flag<&NowPlayingState::canControl>, 0, kEmitsChange),
    SD_BUS_PROPERTY("CanPause", "b", flag<&NowPlayingState::canControl>, 0, kEmitsChange),
    SD_BUS_PROPERTY("CanSeek", "b", flag<&NowPlayingState::canSeek>, 0, kEmitsChange),
    SD_BUS_PROPERTY("CanControl", "b", boolean<true>, 0, kConstant),
    SD_BUS_VTABLE_END,
};

const sd_bus_vtable* MprisCalls::root() { return kRootTable; }

const sd_bus_vtable* MprisCalls::player() { return Player::kTable; }

}  // namespace box
