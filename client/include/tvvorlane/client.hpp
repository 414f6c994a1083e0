#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tvvorlane/client.h>

/// The receiver interface of a box for C++20. A header-only wrapper of <tvvorlane/client.h>, which
/// documents threads, errors and the event loop.
///
///     tvvorlane::Client box;
///     box.onEvent([](std::string_view name, const tvvorlane::Value& info) { ... });
///     if (int result = box.open()) return result;
///     box.startVideo({{"Content-Location", url}, {"sessionID", 1}},
///                    [](const tvvorlane::Reply& reply) { ... });
///
/// Handlers and completions must not throw.
namespace tvvorlane {

/// A property-list value, or none. Immutable. Copies share the value.
class Value {
 public:
  using Entry = std::pair<std::string, Value>;

  Value() = default;
  Value(std::nullptr_t) : Value(tvvorlane_null(), Take()) {}
  Value(bool truth) : Value(tvvorlane_boolean(truth ? 1 : 0), Take()) {}
  template <std::integral Number>
  Value(Number number)
      : Value(std::is_signed_v<Number> ? tvvorlane_integer(static_cast<std::int64_t>(number))
                                       : tvvorlane_unsigned(static_cast<std::uint64_t>(number)),
              Take()) {}
  Value(double number) : Value(tvvorlane_real(number), Take()) {}
  Value(const char* text) : Value(tvvorlane_string(text), Take()) {}
  Value(const std::string& text) : Value(text.c_str()) {}
  Value(std::string_view text) : Value(std::string(text)) {}
  Value(const std::vector<std::uint8_t>& data)
      : Value(tvvorlane_data(data.data(), data.size()), Take()) {}
  Value(std::initializer_list<Entry> entries) : Value(std::vector<Entry>(entries)) {}
  /// A dictionary.
  Value(const std::vector<Entry>& entries) : Value(tvvorlane_dictionary(), Take()) {
    for (const Entry& entry : entries) {
      tvvorlane_set(_value, entry.first.c_str(), tvvorlane_retain(entry.second._value));
    }
  }
  static Value array(const std::vector<Value>& items) {
    Value result(tvvorlane_array(), Take());
    for (const Value& item : items) tvvorlane_append(result._value, tvvorlane_retain(item._value));
    return result;
  }
  /// Seconds since 1970-01-01 UTC.
  static Value date(double seconds) { return Value(tvvorlane_date(seconds), Take()); }
  /// Retains a value that is owned elsewhere.
  static Value sharing(const tvvorlane_value* value) {
    return Value(tvvorlane_retain(value), Take());
  }

  Value(const Value& other) : _value(tvvorlane_retain(other._value)) {}
  Value(Value&& other) noexcept : _value(std::exchange(other._value, nullptr)) {}
  Value& operator=(Value other) noexcept {
    std::swap(_value, other._value);
    return *this;
  }
  ~Value() { tvvorlane_release(_value); }

  /// One of `tvvorlane_type`.
  int type() const { return tvvorlane_type_of(_value); }
  explicit operator bool() const { return _value != nullptr; }
  bool boolean(bool fallback = false) const {
    return tvvorlane_as_boolean(_value, fallback ? 1 : 0) != 0;
  }
  std::int64_t integer(std::int64_t fallback = 0) const {
    return tvvorlane_as_integer(_value, fallback);
  }
  std::uint64_t unsignedInteger(std::uint64_t fallback = 0) const {
    return tvvorlane_as_unsigned(_value, fallback);
  }
  double real(double fallback = 0) const { return tvvorlane_as_real(_value, fallback); }
  /// Valid for the lifetime of this value.
  std::string_view string(std::string_view fallback = {}) const {
    const char* const text = tvvorlane_as_string(_value);
    return text ? std::string_view(text) : fallback;
  }
  std::vector<std::uint8_t> data() const {
    std::size_t size = 0;
    const auto* const bytes = static_cast<const std::uint8_t*>(tvvorlane_as_data(_value, &size));
    return bytes ? std::vector<std::uint8_t>(bytes, bytes + size) : std::vector<std::uint8_t>();
  }
  /// For arrays and dictionaries.
  std::size_t count() const { return tvvorlane_count(_value); }
  Value at(std::size_t index) const { return sharing(tvvorlane_at(_value, index)); }
  std::string_view keyAt(std::size_t index) const {
    const char* const key = tvvorlane_key_at(_value, index);
    return key ? std::string_view(key) : std::string_view();
  }
  Value operator[](const char* key) const { return sharing(tvvorlane_find(_value, key)); }

  const tvvorlane_value* get() const { return _value; }

 private:
  struct Take {};
  Value(tvvorlane_value* value, Take) : _value(value) {}

  tvvorlane_value* _value = nullptr;
};

/// The result of a call. ok() is true if the box has answered with success.
struct Reply {
  int result = TVVORLANE_OK;
  std::int32_t status = 0;
  Value value;
  bool ok() const { return result == TVVORLANE_OK && status == 0; }
};

/// A connection to a box. Handlers can be set before open() and are kept across connections.
class Client {
 public:
  using Completion = std::function<void(const Reply&)>;
  using EventHandler = std::function<void(std::string_view name, const Value& info)>;
  using ClosedHandler = std::function<void(int result)>;

  Client() = default;
  ~Client() { close(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Closes an open connection first. An empty `socket` selects the default. Returns a
  /// tvvorlane_result.
  int open(const std::string& socket = {}) {
    close();
    const int result = tvvorlane_client_open(socket.empty() ? nullptr : socket.c_str(), &_client);
    if (result == TVVORLANE_OK) {
      tvvorlane_client_on_event(_client, _heard<&Handlers::event>, _handlers.get());
      tvvorlane_client_on_notification(_client, _heard<&Handlers::notification>, _handlers.get());
      tvvorlane_client_on_closed(_client, _ended, _handlers.get());
    }
    return result;
  }
  void close() { tvvorlane_client_close(std::exchange(_client, nullptr)); }

  void onEvent(EventHandler handler) { _handlers->event = std::move(handler); }
  void onNotification(EventHandler handler) { _handlers->notification = std::move(handler); }
  void onClosed(ClosedHandler handler) { _handlers->closed = std::move(handler); }

  int descriptor() const { return tvvorlane_client_descriptor(_client); }
  int dispatch() {
    // Keeps the handlers alive if a handler destroys this client.
    const auto handlers = _handlers;
    return tvvorlane_client_dispatch(_client);
  }

  int getProperty(const std::string& property, Completion done, const Value& qualifier = {}) {
    return _call(std::move(done), tvvorlane_client_get_property, property.c_str(), qualifier.get());
  }
  int setProperty(const std::string& property, const Value& value, Completion done = {},
                  const Value& qualifier = {}) {
    return _call(std::move(done), tvvorlane_client_set_property, property.c_str(), qualifier.get(),
                 value.get());
  }
  int perform(const std::string& action, const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_perform, action.c_str(), params.get());
  }
  int startPresentation(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_start_presentation, params.get());
  }
  int stopPresentation(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_stop_presentation, params.get());
  }
  int startAudio(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_start_audio, params.get());
  }
  int stopAudio(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_stop_audio, params.get());
  }
  int startVideo(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_start_video, params.get());
  }
  int stopVideo(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_stop_video, params.get());
  }
  int updateAudioMetadata(const Value& params, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_update_audio_metadata, params.get());
  }
  int updateAudioProgress(double elapsed, double duration, Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_update_audio_progress, elapsed, duration);
  }
  int showProgress(Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_show_progress);
  }
  int hideProgress(Completion done = {}) {
    return _call(std::move(done), tvvorlane_client_hide_progress);
  }
  int activity(Completion done = {}) { return _call(std::move(done), tvvorlane_client_activity); }
  int getState(const std::string& name, Completion done) {
    return _call(std::move(done), tvvorlane_client_get_state, name.c_str());
  }

 private:
  struct Handlers {
    EventHandler event;
    EventHandler notification;
    ClosedHandler closed;
  };

  template <EventHandler Handlers::*handler>
  static void _heard(const char* name, const tvvorlane_value* info, void* context) noexcept {
    // A copy, because the handler may replace itself.
    if (const auto heard = static_cast<Handlers*>(context)->*handler) {
      heard(name, Value::sharing(info));
    }
  }
  static void _ended(int result, void* context) noexcept {
    if (const auto ended = static_cast<Handlers*>(context)->closed) ended(result);
  }
  static void _completed(const tvvorlane_reply* reply, void* context) noexcept {
    const std::unique_ptr<Completion> done(static_cast<Completion*>(context));
    (*done)({reply->result, reply->status, Value::sharing(reply->value)});
  }
  template <class Function, class... Argument>
  int _call(Completion done, Function function, Argument... argument) {
    if (!done) return function(_client, argument..., nullptr, nullptr);
    auto context = std::make_unique<Completion>(std::move(done));
    const int result = function(_client, argument..., _completed, context.get());
    if (result == TVVORLANE_OK) static_cast<void>(context.release());
    return result;
  }

  tvvorlane_client* _client = nullptr;
  std::shared_ptr<Handlers> _handlers = std::make_shared<Handlers>();
};

}  // namespace tvvorlane
