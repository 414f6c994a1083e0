#pragma once

#include <stddef.h>
#include <stdint.h>

/*
 * tvvorlane-client: the receiver interface of a box, for the service that implements the wireless
 * protocol.
 *
 *     tvvorlane_client* box = NULL;
 *     int result = tvvorlane_client_open(NULL, &box);
 *     if (!result) {
 *       tvvorlane_client_on_event(box, heard, context);
 *       tvvorlane_value* params = tvvorlane_dictionary();
 *       tvvorlane_set(params, "Content-Location", tvvorlane_string(url));
 *       tvvorlane_client_start_video(box, params, started, context);
 *       tvvorlane_release(params);
 *     }
 *     while (!result) {
 *       struct pollfd ready = {tvvorlane_client_descriptor(box), POLLIN, 0};
 *       poll(&ready, 1, -1);
 *       result = tvvorlane_client_dispatch(box);
 *     }
 *     tvvorlane_client_close(box);
 *
 * No function blocks. A call is sent asynchronously, and a later dispatch calls its completion. Add
 * the descriptor to the event loop of the program. It does not change, and it is readable only if
 * dispatch has something to do.
 *
 * Threads: the library starts no threads. A client may be used by one thread at a time. Callbacks
 * run on the thread that calls dispatch or close. Values can be read, retained and released by
 * several threads at once.
 *
 * Callbacks: a completion is called exactly once, at the latest by close. A callback may make calls
 * and may open or close clients, including its own. It must not throw.
 *
 * docs/receiver-interface.md documents the calls, properties and events.
 */

#ifdef __cplusplus
extern "C" {
#endif

/* Results of functions and calls. */
enum tvvorlane_result {
  TVVORLANE_OK = 0,
  TVVORLANE_NO_BOX = -1,    /* no process listens on the socket */
  TVVORLANE_FORBIDDEN = -2, /* the box belongs to another user */
  TVVORLANE_CLOSED = -3,    /* the connection has ended, or close was called */
  TVVORLANE_REFUSED = -4,   /* the box does not support or cannot decode the call */
  TVVORLANE_INVALID = -5,   /* invalid argument: a null name, or params of the wrong type */
  TVVORLANE_FAILED = -6     /* out of memory or descriptors */
};
/* Returns a description of a result. Never null. */
const char* tvvorlane_result_text(int result);

/* ---- values ---- */

enum tvvorlane_type {
  TVVORLANE_NONE, /* no value: a null pointer */
  TVVORLANE_NULL,
  TVVORLANE_BOOLEAN,
  TVVORLANE_INTEGER,
  TVVORLANE_UNSIGNED, /* only for numbers above INT64_MAX */
  TVVORLANE_REAL,
  TVVORLANE_STRING,
  TVVORLANE_DATA,
  TVVORLANE_DATE,
  TVVORLANE_ARRAY,
  TVVORLANE_DICTIONARY
};

/* A property-list value with a reference count. Each constructor returns one reference. A value may
 * be part of several others. Do not change an array or a dictionary after it was added to another
 * value. */
typedef struct tvvorlane_value tvvorlane_value;

tvvorlane_value* tvvorlane_null(void);
tvvorlane_value* tvvorlane_boolean(int truth);
tvvorlane_value* tvvorlane_integer(int64_t number);
tvvorlane_value* tvvorlane_unsigned(uint64_t number);
tvvorlane_value* tvvorlane_real(double number);
tvvorlane_value* tvvorlane_string(const char* text); /* UTF-8; null: an empty string */
tvvorlane_value* tvvorlane_data(const void* bytes, size_t size);
tvvorlane_value* tvvorlane_date(double seconds); /* since 1970-01-01 UTC */
tvvorlane_value* tvvorlane_array(void);
tvvorlane_value* tvvorlane_dictionary(void);

/* Both accept null. */
tvvorlane_value* tvvorlane_retain(const tvvorlane_value* value);
void tvvorlane_release(const tvvorlane_value* value);

/* Both take ownership of `item`, even on failure. tvvorlane_set() replaces the value of an existing
 * key. A null item is ignored. */
int tvvorlane_append(tvvorlane_value* array, tvvorlane_value* item);
int tvvorlane_set(tvvorlane_value* dictionary, const char* key, tvvorlane_value* item);

/* Getters. They return the fallback, null or 0 if the value is null or has another type. A returned
 * pointer is valid for the lifetime of the value. Number types are converted if the target type can
 * represent the number. */
int tvvorlane_type_of(const tvvorlane_value* value);
int tvvorlane_as_boolean(const tvvorlane_value* value, int fallback);
int64_t tvvorlane_as_integer(const tvvorlane_value* value, int64_t fallback);
uint64_t tvvorlane_as_unsigned(const tvvorlane_value* value, uint64_t fallback);
double tvvorlane_as_real(const tvvorlane_value* value, double fallback); /* also for dates */
const char* tvvorlane_as_string(const tvvorlane_value* value);
const void* tvvorlane_as_data(const tvvorlane_value* value, size_t* size);
size_t tvvorlane_count(const tvvorlane_value* value);
const tvvorlane_value* tvvorlane_at(const tvvorlane_value* value, size_t index);
const char* tvvorlane_key_at(const tvvorlane_value* dictionary, size_t index);
const tvvorlane_value* tvvorlane_find(const tvvorlane_value* dictionary, const char* key);

/* ---- the client ---- */

typedef struct tvvorlane_client tvvorlane_client;

typedef struct tvvorlane_reply {
  int result;                   /* TVVORLANE_OK, or the error if there is no answer */
  int32_t status;               /* the status of the call; 0: success */
  const tvvorlane_value* value; /* the property or the output dictionary; may be null */
} tvvorlane_reply;

typedef void (*tvvorlane_completion)(const tvvorlane_reply* reply, void* context);
/* `info` is a dictionary, or null for a notification without info. */
typedef void (*tvvorlane_event_handler)(const char* name, const tvvorlane_value* info,
                                        void* context);
typedef void (*tvvorlane_closed_handler)(int result, void* context);

/* Returns the default socket path. Valid until the next call of this function on the same thread.
 */
const char* tvvorlane_default_socket(void);

/* Connects to the box at `socket`, or at the default path if null. There is no automatic reconnect:
 * after the closed handler was called, close the client and open a new one. */
int tvvorlane_client_open(const char* socket, tvvorlane_client** client);
/* Completes pending calls with TVVORLANE_CLOSED. Does not call the closed handler. Calls that were
 * not sent yet may be lost, because close does not block. Accepts null. */
void tvvorlane_client_close(tvvorlane_client* client);

/* Set the handlers before the first dispatch to receive all events. Null removes a handler. */
void tvvorlane_client_on_event(tvvorlane_client* client, tvvorlane_event_handler handler,
                               void* context);
void tvvorlane_client_on_notification(tvvorlane_client* client, tvvorlane_event_handler handler,
                                      void* context);
/* Called once when the connection has ended. After that, call only close. */
void tvvorlane_client_on_closed(tvvorlane_client* client, tvvorlane_closed_handler handler,
                                void* context);

/* The descriptor to poll for reading. */
int tvvorlane_client_descriptor(const tvvorlane_client* client);
/* Processes pending input without blocking. Returns TVVORLANE_CLOSED if the connection has ended,
 * or if a callback has closed the client. In the latter case `client` is no longer valid. */
int tvvorlane_client_dispatch(tvvorlane_client* client);

/* The calls of the receiver interface. `params` is a dictionary or null, `qualifier` any value or
 * null, `value` any value. The caller keeps its references. With a null completion the box sends no
 * reply. Calls have no timeout. The box processes them in order. If the result is not TVVORLANE_OK,
 * nothing was sent and the completion is not called. */
int tvvorlane_client_get_property(tvvorlane_client* client, const char* property,
                                  const tvvorlane_value* qualifier, tvvorlane_completion completion,
                                  void* context);
int tvvorlane_client_set_property(tvvorlane_client* client, const char* property,
                                  const tvvorlane_value* qualifier, const tvvorlane_value* value,
                                  tvvorlane_completion completion, void* context);
int tvvorlane_client_perform(tvvorlane_client* client, const char* action,
                             const tvvorlane_value* params, tvvorlane_completion completion,
                             void* context);
int tvvorlane_client_start_presentation(tvvorlane_client* client, const tvvorlane_value* params,
                                        tvvorlane_completion completion, void* context);
int tvvorlane_client_stop_presentation(tvvorlane_client* client, const tvvorlane_value* params,
                                       tvvorlane_completion completion, void* context);
int tvvorlane_client_start_audio(tvvorlane_client* client, const tvvorlane_value* params,
                                 tvvorlane_completion completion, void* context);
int tvvorlane_client_stop_audio(tvvorlane_client* client, const tvvorlane_value* params,
                                tvvorlane_completion completion, void* context);
int tvvorlane_client_start_video(tvvorlane_client* client, const tvvorlane_value* params,
                                 tvvorlane_completion completion, void* context);
int tvvorlane_client_stop_video(tvvorlane_client* client, const tvvorlane_value* params,
                                tvvorlane_completion completion, void* context);
int tvvorlane_client_update_audio_metadata(tvvorlane_client* client, const tvvorlane_value* params,
                                           tvvorlane_completion completion, void* context);
int tvvorlane_client_update_audio_progress(tvvorlane_client* client, double elapsed,
                                           double duration, tvvorlane_completion completion,
                                           void* context);
int tvvorlane_client_show_progress(tvvorlane_client* client, tvvorlane_completion completion,
                                   void* context);
int tvvorlane_client_hide_progress(tvvorlane_client* client, tvvorlane_completion completion,
                                   void* context);
int tvvorlane_client_activity(tvvorlane_client* client, tvvorlane_completion completion,
                              void* context);
/* Gets the state of a notification name, as an integer or unsigned value. */
int tvvorlane_client_get_state(tvvorlane_client* client, const char* name,
                               tvvorlane_completion completion, void* context);

#ifdef __cplusplus
}
#endif
