#pragma once

#include <stddef.h>
#include <stdint.h>

/*
 * vorlane-frames: hands the pictures of a mirrored screen to a box.
 *
 * A start-presentation call returns "presentationLayer", the path of a Unix socket. Whoever decodes
 * the sender's stream connects to it and draws into buffers that both processes have mapped: a
 * picture is never copied between them.
 *
 *     vorlane_frames_writer* writer = NULL;
 *     int result = vorlane_frames_connect(path, 2000, &writer);
 *     if (!result) result = vorlane_frames_configure(writer, VORLANE_FRAMES_NV12, 1920, 1080, 3);
 *     while (!result && more()) {
 *       vorlane_frames_buffer buffer;
 *       result = vorlane_frames_acquire(writer, 100, &buffer);
 *       if (result == VORLANE_FRAMES_TIMED_OUT) { skip_one(); result = 0; continue; }
 *       if (result) break;
 *       decode_into(&buffer);
 *       result = vorlane_frames_send(writer, &buffer, pts, NULL);
 *     }
 *     vorlane_frames_close(writer);
 *
 * The box shows the newest picture at once, when it comes: the writer sets the pace, and sends a
 * picture when it is due. It gets a buffer back when the screen has taken the picture over and has
 * a newer one: with three buffers one is shown, one is under way, one is written.
 *
 * Threads: a writer belongs to one thread at a time. Waiting: no call waits longer than its
 * `timeout_ms`; those without one do not wait. A timeout of 0 only looks.
 *
 * Errors: a result is VORLANE_FRAMES_OK or one of the negative codes. After
 * VORLANE_FRAMES_DISCONNECTED or VORLANE_FRAMES_PROTOCOL nothing but vorlane_frames_close() is of
 * use. No signal is raised and nothing is written anywhere.
 *
 * The messages on the socket are described in docs/frames.md.
 */

#ifdef __cplusplus
extern "C" {
#endif

enum vorlane_frames_result {
  VORLANE_FRAMES_OK = 0,
  VORLANE_FRAMES_TIMED_OUT = -1,
  VORLANE_FRAMES_NO_LAYER = -2,     /* nobody listens at the path */
  VORLANE_FRAMES_BUSY = -3,         /* another writer draws into the layer */
  VORLANE_FRAMES_FORBIDDEN = -4,    /* another user's layer */
  VORLANE_FRAMES_DISCONNECTED = -5, /* the layer is gone, or has refused what it was sent */
  VORLANE_FRAMES_INVALID = -6,      /* an argument makes no sense */
  VORLANE_FRAMES_NO_MEMORY = -7,    /* no memory or no descriptors left */
  VORLANE_FRAMES_PROTOCOL = -8      /* the other side speaks something else */
};

enum vorlane_frames_format {
  VORLANE_FRAMES_NV12 = 1, /* Y, then interleaved U and V at half size */
  VORLANE_FRAMES_I420 = 2, /* Y, U, V, the latter two at half size */
  VORLANE_FRAMES_BGRA = 3  /* bytes B, G, R and one that is not looked at */
};

/* Flags of a picture. Without them it is BT.709 in studio range. */
#define VORLANE_FRAMES_FULL_RANGE 1U
#define VORLANE_FRAMES_BT601 2U

#define VORLANE_FRAMES_MAXIMUM_SIZE 8192                      /* of width and height, pixels */
#define VORLANE_FRAMES_MAXIMUM_BYTES (64UL * 1024UL * 1024UL) /* of one buffer */
#define VORLANE_FRAMES_MINIMUM_BUFFERS 2
#define VORLANE_FRAMES_MAXIMUM_BUFFERS 4

typedef struct vorlane_frames_writer vorlane_frames_writer;

typedef struct vorlane_frames_rect {
  uint32_t x, y, width, height;
} vorlane_frames_rect;

/* A buffer to be filled. The planes are good until the next configure or close. */
typedef struct vorlane_frames_buffer {
  uint32_t index;
  uint32_t format;
  uint32_t width;
  uint32_t height;
  uint32_t plane_count;
  uint8_t* planes[3];
  uint32_t strides[3]; /* bytes from one row to the next */
  uint32_t rows[3];
  size_t size; /* of the whole buffer, which begins at planes[0] */
} vorlane_frames_buffer;

typedef struct vorlane_frames_picture {
  int64_t pts_ns;             /* on the sender's time line; negative: unknown */
  uint32_t flags;             /* VORLANE_FRAMES_FULL_RANGE, VORLANE_FRAMES_BT601 */
  vorlane_frames_rect damage; /* what differs from the picture before; empty: everything may */
} vorlane_frames_picture;

enum vorlane_frames_outcome {
  VORLANE_FRAMES_SHOWN = 0,   /* it was on screen */
  VORLANE_FRAMES_SKIPPED = 1, /* a newer one came first, or nothing of the layer was to be seen */
  VORLANE_FRAMES_REFUSED = 2  /* it does not fit its buffer */
};

/* What became of a picture, told when its buffer is free again. */
typedef struct vorlane_frames_release {
  uint64_t sequence; /* 1 for the first picture sent */
  int32_t outcome;
  int64_t pts_ns;
  int64_t sent_ns;     /* CLOCK_MONOTONIC, when it was handed over */
  int64_t shown_ns;    /* the same clock, when it had been drawn; 0 unless shown */
  int64_t released_ns; /* the same clock, when the release was read */
} vorlane_frames_release;

typedef struct vorlane_frames_statistics {
  uint64_t sent;
  uint64_t shown;
  uint64_t skipped;
  uint64_t refused;
} vorlane_frames_statistics;

/* Connects to the layer at `path`. VORLANE_FRAMES_BUSY while another writer is connected. */
int vorlane_frames_connect(const char* path, int timeout_ms, vorlane_frames_writer** writer);
/* The same over a connected SEQPACKET socket, which the writer owns from then on, in success and
 * failure alike. */
int vorlane_frames_adopt(int descriptor, int timeout_ms, vorlane_frames_writer** writer);
/* Gives up what is under way. Null is fine. */
void vorlane_frames_close(vorlane_frames_writer* writer);

/* Allocates `count` buffers for pictures of that shape; those before are given up. May be called
 * whenever the shape changes. On failure there are no buffers. */
int vorlane_frames_configure(vorlane_frames_writer* writer, uint32_t format, uint32_t width,
                             uint32_t height, uint32_t count);

/* A buffer that nobody reads. The same one again until it is sent. */
int vorlane_frames_acquire(vorlane_frames_writer* writer, int timeout_ms,
                           vorlane_frames_buffer* buffer);
/* Hands the acquired buffer over; it must not be written until it is acquired again. `picture` may
 * be null: pts unknown, everything changed. */
int vorlane_frames_send(vorlane_frames_writer* writer, const vorlane_frames_buffer* buffer,
                        const vorlane_frames_picture* picture);

/* Reads the releases that have come, without waiting; acquire does it by itself. */
int vorlane_frames_process(vorlane_frames_writer* writer);
/* Called for each release, from within acquire and process. Null removes it. It must not call the
 * writer. */
void vorlane_frames_on_release(vorlane_frames_writer* writer,
                               void (*handler)(const vorlane_frames_release* release,
                                               void* context),
                               void* context);

/* To be polled for reading beside other descriptors; then call vorlane_frames_process(). */
int vorlane_frames_descriptor(const vorlane_frames_writer* writer);
vorlane_frames_statistics vorlane_frames_count(const vorlane_frames_writer* writer);
/* A result for people. Never null. */
const char* vorlane_frames_text(int result);

#ifdef __cplusplus
}
#endif
