#pragma once

#include <stddef.h>
#include <stdint.h>

/*
 * tvvorlane-client: the receiver interface of a box, for the program that speaks with senders.
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
 * Nothing here waits: a call is sent, and its completion called from within a later dispatch. The
 * descriptor goes into the loop that the program has anyway; it stays the same, and is readable
 * exactly when dispatch has something to do.
 *
 * Threads: the library has none. A client belongs to one thread at a time, and everything is called
 * back on the thread that dispatches or closes. Values may be read by several threads at once, and
 * retained and released by any.
 *
 * Contexts: a completion is called exactly once, at the latest from within close. Callbacks may
 * call, open and close, the client that called them included; they must not throw.
 *
 * What the calls, properties and events mean is said in docs/receiver-interface.md.
 */

#ifdef __cplusplus
extern "C" {
#endif

/* Why there is no answer, or no client. */
enum tvvorlane_result {
  TVVORLANE_OK = 0,
  TVVORLANE_NO_BOX = -1,    /* nothing listens at the path */
  TVVORLANE_FORBIDDEN = -2, /* another user's box */
  TVVORLANE_CLOSED = -3,    /* the box has ended or dropped this client, or close was called */
  TVVORLANE_REFUSED = -4,   /* the box knows no such call, or cannot read it */
  TVVORLANE_INVALID = -5,   /* an argument makes no sense: a null name, params of another type */
  TVVORLANE_FAILED = -6     /* the system has no descriptor or no memory left */
};
/* A result for people. Never null. */
const char* tvvorlane_result_text(int result);

/* ---- values ---- */

enum tvvorlane_type {
  TVVORLANE_NONE, /* no value at all: what a null pointer is */
  TVVORLANE_NULL,
  TVVORLANE_BOOLEAN,
  TVVORLANE_INTEGER,
  TVVORLANE_UNSIGNED, /* only what is too large for an integer */
  TVVORLANE_REAL,
  TVVORLANE_STRING,
  TVVORLANE_DATA,
  TVVORLANE_DATE,
  TVVORLANE_ARRAY,
  TVVORLANE_DICTIONARY
};

/* A property-list value. Counted: each constructor returns one reference, retain adds one. A value
 * may be part of others; array and dictionary may be changed until then. */
typedef struct tvvorlane_value tvvorlane_value;

tvvorlane_value* tvvorlane_null(void);
tvvorlane_value* tvvorlane_boolean(int truth);
tvvorlane_value* tvvorlane_integer(int64_t number);
tvvorlane_value* tvvorlane_unsigned(uint64_t number);
tvvorlane_value* tvvorlane_real(double number);
tvvorlane_value* tvvorlane_string(const char* text); /* UTF-8; a null pointer is an empty text */
tvvorlane_value* tvvorlane_data(const void* bytes, size_t size);
tvvorlane_value* tvvorlane_date(double seconds); /* since 1970-01-01 UTC */
tvvorlane_value* tvvorlane_array(void);
tvvorlane_value* tvvorlane_dictionary(void);

/* Null is fine for both. */
tvvorlane_value* tvvorlane_retain(const tvvorlane_value* value);
void tvvorlane_release(const tvvorlane_value* value);

/* These take over the reference to `item`, in success and failure alike. A key that is there
 * already gets the new value; a null item changes nothing. */
int tvvorlane_append(tvvorlane_value* array, tvvorlane_value* item);
int tvvorlane_set(tvvorlane_value* dictionary, const char* key, tvvorlane_value* item);

/* Reading. Of another type, or of none: the fallback, or null, or 0. Pointers are good as long as
 * the value is. Numbers of each kind are read as one another where they fit. */
int tvvorlane_type_of(const tvvorlane_value* value);
int tvvorlane_as_boolean(const tvvorlane_value* value, int fallback);
int64_t tvvorlane_as_integer(const tvvorlane_value* value, int64_t fallback);
uint64_t tvvorlane_as_unsigned(const tvvorlane_value* value, uint64_t fallback);
double tvvorlane_as_real(const tvvorlane_value* value, double fallback); /* a date's too */
const char* tvvorlane_as_string(const tvvorlane_value* value);
const void* tvvorlane_as_data(const tvvorlane_value* value, size_t* size);
size_t tvvorlane_count(const tvvorlane_value* value);
const tvvorlane_value* tvvorlane_at(const tvvorlane_value* value, size_t index);
const char* tvvorlane_key_at(const tvvorlane_value* dictionary, size_t index);
const tvvorlane_value* tvvorlane_find(const tvvorlane_value* dictionary, const char* key);

/* ---- the client ---- */

typedef struct tvvorlane_client tvvorlane_client;

typedef struct tvvorlane_reply {
  int result;                   /* TVVORLANE_OK, or why there is no answer */
  int32_t status;               /* the call's own: 0 for success */
  const tvvorlane_value* value; /* the property, or the out dictionary; null where there is none */
} tvvorlane_reply;

typedef void (*tvvorlane_completion)(const tvvorlane_reply* reply, void* context);
/* `info` is a dictionary; null with a notification that is only posted. */
typedef void (*tvvorlane_event_handler)(const char* name, const tvvorlane_value* info,
                                        void* context);
typedef void (*tvvorlane_closed_handler)(int result, void* context);

/* The socket of this user's box. Good until the next call on the same thread. */
const char* tvvorlane_default_socket(void);

/* Opens a connection to the box at `socket`, null for the default. Reconnecting is the caller's:
 * after the closed handler, close the client and open another when it is time. */
int tvvorlane_client_open(const char* socket, tvvorlane_client** client);
/* Completes what is outstanding with TVVORLANE_CLOSED. The closed handler is not called. What was
 * called without a completion and not dispatched since may be lost: close does not wait for the
 * box. Null is fine. */
void tvvorlane_client_close(tvvorlane_client* client);

/* Set them before the first dispatch and nothing is missed. Null removes a handler. */
void tvvorlane_client_on_event(tvvorlane_client* client, tvvorlane_event_handler handler,
                               void* context);
void tvvorlane_client_on_notification(tvvorlane_client* client, tvvorlane_event_handler handler,
                                      void* context);
/* Called once, when the box has gone; after that nothing but close is of use. */
void tvvorlane_client_on_closed(tvvorlane_client* client, tvvorlane_closed_handler handler,
                                void* context);

/* To be polled for reading. */
int tvvorlane_client_descriptor(const tvvorlane_client* client);
/* Does what is due, without waiting. TVVORLANE_CLOSED when the connection has ended, or the client
 * was closed by a callback and is no more. */
int tvvorlane_client_dispatch(tvvorlane_client* client);

/* The calls of the receiver interface. `params` is a dictionary and `qualifier` any value; each may
 * be null for none. `value` is any value. All stay the caller's. Without a completion the box is
 * not asked for an answer. A call has no time limit of its own. Calls are served in order. A result
 * other than TVVORLANE_OK: nothing was sent, and the completion is not called. */
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
/* The state of a name of the notifications, as an unsigned or integer value. */
int tvvorlane_client_get_state(tvvorlane_client* client, const char* name,
                               tvvorlane_completion completion, void* context);

#ifdef __cplusplus
}
#endif
