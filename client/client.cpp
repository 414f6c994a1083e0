#include <string>

#include "client/Coding.h"
#include "client/Connection.h"
#include "client/DefaultSocket.h"
#include "client/Names.h"

using tvvorlane::Connection;
using Answer = Connection::Answer;

/// The opaque handle of the C interface.
struct tvvorlane_client {
  Connection connection;
};

namespace {

int call(tvvorlane_client* client, const char* method, Answer answer,
         const Connection::Append& append, tvvorlane_completion completion, void* context) {
  if (!client) return TVVORLANE_INVALID;
  return client->connection.call(tvvorlane::kReceiver, method, answer, append, completion, context);
}

int callWithParams(tvvorlane_client* client, const char* method, Answer answer,
                   const tvvorlane_value* params, tvvorlane_completion completion, void* context) {
  return call(
      client, method, answer,
      [=](sd_bus_message* message) { return tvvorlane::appendDictionary(message, params); },
      completion, context);
}

}  // namespace

const char* tvvorlane_result_text(int result) {
  switch (result) {
    case TVVORLANE_OK:
      return "success";
    case TVVORLANE_NO_BOX:
      return "no box is running";
    case TVVORLANE_FORBIDDEN:
      return "the box belongs to another user";
    case TVVORLANE_CLOSED:
      return "the connection has ended";
    case TVVORLANE_REFUSED:
      return "the box does not support the call";
    case TVVORLANE_INVALID:
      return "invalid argument";
    case TVVORLANE_FAILED:
      return "out of memory or descriptors";
    default:
      return "unknown result";
  }
}

const char* tvvorlane_default_socket() {
  thread_local std::string path;
  path = tvvorlane::defaultSocket();
  return path.c_str();
}

int tvvorlane_client_open(const char* socket, tvvorlane_client** client) {
  if (!client) return TVVORLANE_INVALID;
  auto made = std::make_unique<tvvorlane_client>();
  const int result = made->connection.open(socket ? socket : tvvorlane_default_socket());
  *client = result == TVVORLANE_OK ? made.release() : nullptr;
  return result;
}

void tvvorlane_client_close(tvvorlane_client* client) {
  if (client && client->connection.isDispatching()) {
    client->connection.closeRequested = true;
  } else {
    delete client;
  }
}

void tvvorlane_client_on_event(tvvorlane_client* client, tvvorlane_event_handler handler,
                               void* context) {
  if (client) client->connection.event = {handler, context};
}

void tvvorlane_client_on_notification(tvvorlane_client* client, tvvorlane_event_handler handler,
                                      void* context) {
  if (client) client->connection.notification = {handler, context};
}

void tvvorlane_client_on_closed(tvvorlane_client* client, tvvorlane_closed_handler handler,
                                void* context) {
  if (client) client->connection.closed = {handler, context};
}

int tvvorlane_client_descriptor(const tvvorlane_client* client) {
  return client ? client->connection.descriptor() : -1;
}

int tvvorlane_client_dispatch(tvvorlane_client* client) {
  if (!client) return TVVORLANE_INVALID;
  const int result = client->connection.dispatch();
  if (client->connection.closeRequested && !client->connection.isDispatching()) delete client;
  return result;
}

int tvvorlane_client_get_property(tvvorlane_client* client, const char* property,
                                  const tvvorlane_value* qualifier, tvvorlane_completion completion,
                                  void* context) {
  if (!property) return TVVORLANE_INVALID;
  return call(
      client, "GetProperty", Answer::StatusAndValue,
      [=](sd_bus_message* message) {
        const int result = sd_bus_message_append_basic(message, 's', property);
        return result < 0 ? result : tvvorlane::appendValueOrNone(message, qualifier);
      },
      completion, context);
}

int tvvorlane_client_set_property(tvvorlane_client* client, const char* property,
                                  const tvvorlane_value* qualifier, const tvvorlane_value* value,
                                  tvvorlane_completion completion, void* context) {
  if (!property || !value) return TVVORLANE_INVALID;
  return call(
      client, "SetProperty", Answer::Status,
      [=](sd_bus_message* message) {
        int result = sd_bus_message_append_basic(message, 's', property);
        if (result >= 0) result = tvvorlane::appendValueOrNone(message, qualifier);
        return result < 0 ? result : tvvorlane::appendVariant(message, *value);
      },
      completion, context);
}

int tvvorlane_client_perform(tvvorlane_client* client, const char* action,
                             const tvvorlane_value* params, tvvorlane_completion completion,
                             void* context) {
  if (!action) return TVVORLANE_INVALID;
  return call(
      client, "Perform", Answer::StatusAndDictionary,
      [=](sd_bus_message* message) {
        const int result = sd_bus_message_append_basic(message, 's', action);
        return result < 0 ? result : tvvorlane::appendDictionary(message, params);
      },
      completion, context);
}

int tvvorlane_client_start_presentation(tvvorlane_client* client, const tvvorlane_value* params,
                                        tvvorlane_completion completion, void* context) {
  return callWithParams(client, "StartPresentation", Answer::StatusAndDictionary, params,
                        completion, context);
}

int tvvorlane_client_stop_presentation(tvvorlane_client* client, const tvvorlane_value* params,
                                       tvvorlane_completion completion, void* context) {
  return callWithParams(client, "StopPresentation", Answer::Status, params, completion, context);
}

int tvvorlane_client_start_audio(tvvorlane_client* client, const tvvorlane_value* params,
                                 tvvorlane_completion completion, void* context) {
  return callWithParams(client, "StartAudio", Answer::StatusAndDictionary, params, completion,
                        context);
}

int tvvorlane_client_stop_audio(tvvorlane_client* client, const tvvorlane_value* params,
                                tvvorlane_completion completion, void* context) {
  return callWithParams(client, "StopAudio", Answer::Status, params, completion, context);
}

int tvvorlane_client_start_video(tvvorlane_client* client, const tvvorlane_value* params,
                                 tvvorlane_completion completion, void* context) {
  return callWithParams(client, "StartVideo", Answer::StatusAndDictionary, params, completion,
                        context);
}

int tvvorlane_client_stop_video(tvvorlane_client* client, const tvvorlane_value* params,
                                tvvorlane_completion completion, void* context) {
  return callWithParams(client, "StopVideo", Answer::Status, params, completion, context);
}

int tvvorlane_client_update_audio_metadata(tvvorlane_client* client, const tvvorlane_value* params,
                                           tvvorlane_completion completion, void* context) {
  return callWithParams(client, "UpdateAudioMetaData", Answer::Status, params, completion, context);
}

int tvvorlane_client_update_audio_progress(tvvorlane_client* client, double elapsed,
                                           double duration, tvvorlane_completion completion,
                                           void* context) {
  return call(
      client, "UpdateAudioProgress", Answer::Status,
      [=](sd_bus_message* message) {
        return sd_bus_message_append(message, "dd", elapsed, duration);
      },
      completion, context);
}

int tvvorlane_client_show_progress(tvvorlane_client* client, tvvorlane_completion completion,
                                   void* context) {
  return call(client, "ShowProgress", Answer::Status, nullptr, completion, context);
}

int tvvorlane_client_hide_progress(tvvorlane_client* client, tvvorlane_completion completion,
                                   void* context) {
  return call(client, "HideProgress", Answer::Status, nullptr, completion, context);
}

int tvvorlane_client_activity(tvvorlane_client* client, tvvorlane_completion completion,
                              void* context) {
  return call(client, "Activity", Answer::Nothing, nullptr, completion, context);
}

int tvvorlane_client_get_state(tvvorlane_client* client, const char* name,
                               tvvorlane_completion completion, void* context) {
  if (!client || !name) return TVVORLANE_INVALID;
  return client->connection.call(
      tvvorlane::kNotifications, "GetState", Answer::State,
      [=](sd_bus_message* message) { return sd_bus_message_append_basic(message, 's', name); },
      completion, context);
}
