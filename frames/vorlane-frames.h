#pragma once

#include <stddef.h>
#include <stdint.h>

/*
 * vorlane-frames: sends the pictures of a mirrored screen to a box.
 *
 * A start-presentation call returns "presentationLayer", the path of a Unix socket. The process
 * that decodes the sender's stream connects to it and writes pictures into shared memory, so that
 * no picture is copied between the processes.
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
 * The box shows each picture as soon as it arrives, so the writer sends a picture at the time when
 * it is due. A buffer is released when the screen has finished with its picture and has a newer
 * one. With three buffers, one is on screen, one is queued and one is being written.
 *
 * Threads: a writer may be used by one thread at a time. Functions with a `timeout_ms` block no
 * longer than that; with 0 they do not block. The other functions do not block.
 *
 * Errors: functions return VORLANE_FRAMES_OK or a negative code. After VORLANE_FRAMES_DISCONNECTED
 * or VORLANE_FRAMES_PROTOCOL, call only vorlane_frames_close(). The library raises no signals and
 * prints nothing.
 *
 * docs/frames.md documents the protocol of the socket.
 */

#ifdef __cplusplus
extern "C" {
#endif

enum vorlane_frames_result {
  VORLANE_FRAMES_OK = 0,
  VORLANE_FRAMES_TIMED_OUT = -1,
  VORLANE_FRAMES_NO_LAYER = -2,     /* no process listens on the socket */
  VORLANE_FRAMES_BUSY = -3,         /* another writer is connected */
  VORLANE_FRAMES_FORBIDDEN = -4,    /* the layer belongs to another user */
  VORLANE_FRAMES_DISCONNECTED = -5, /* the layer was closed, or has rejected a message */
  VORLANE_FRAMES_INVALID = -6,      /* invalid argument */
  VORLANE_FRAMES_NO_MEMORY = -7,    /* out of memory or descriptors */
  VORLANE_FRAMES_PROTOCOL = -8      /* the reader uses another protocol */
};

enum vorlane_frames_format {
  VORLANE_FRAMES_NV12 = 1, /* Y, then interleaved U and V at half size */
  VORLANE_FRAMES_I420 = 2, /* Y, U, V, the latter two at half size */
  VORLANE_FRAMES_BGRA = 3  /* bytes B, G, R and an unused one */
};

/* Flags of a picture. Default: BT.709 with limited range. */
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

/* A buffer to fill. The planes are valid until the next configure or close. */
typedef struct vorlane_frames_buffer {
  uint32_t index;
  uint32_t format;
  uint32_t width;
  uint32_t height;
  uint32_t plane_count;
  uint8_t* planes[3];
  uint32_t strides[3]; /* bytes from one row to the next */
  uint32_t rows[3];
  size_t size; /* of the whole buffer, starting at planes[0] */
} vorlane_frames_buffer;

typedef struct vorlane_frames_picture {
  int64_t pts_ns;             /* on the sender's timeline; negative: unknown */
  uint32_t flags;             /* VORLANE_FRAMES_FULL_RANGE, VORLANE_FRAMES_BT601 */
  vorlane_frames_rect damage; /* the changed area; empty: the whole picture may have changed */
} vorlane_frames_picture;

enum vorlane_frames_outcome {
  VORLANE_FRAMES_SHOWN = 0,   /* shown on screen */
  VORLANE_FRAMES_SKIPPED = 1, /* replaced by a newer picture, or the layer was not visible */
  VORLANE_FRAMES_REFUSED = 2  /* invalid picture, for example a plane outside its buffer */
};

/* The result of a picture, reported when its buffer was released. */
typedef struct vorlane_frames_release {
  uint64_t sequence; /* 1 for the first picture sent */
  int32_t outcome;
  int64_t pts_ns;
  int64_t sent_ns;     /* CLOCK_MONOTONIC, when the picture was sent */
  int64_t shown_ns;    /* same clock, when the picture was drawn; 0: not shown */
  int64_t released_ns; /* same clock, when the release was read */
} vorlane_frames_release;

typedef struct vorlane_frames_statistics {
  uint64_t sent;
  uint64_t shown;
  uint64_t skipped;
  uint64_t refused;
} vorlane_frames_statistics;

/* Connects to the layer at `path`. Fails with VORLANE_FRAMES_BUSY if another writer is connected.
 */
int vorlane_frames_connect(const char* path, int timeout_ms, vorlane_frames_writer** writer);
/* Uses a connected SEQPACKET socket. Takes ownership of it, even on failure. */
int vorlane_frames_adopt(int descriptor, int timeout_ms, vorlane_frames_writer** writer);
/* Discards pictures that were not released. Accepts null. */
void vorlane_frames_close(vorlane_frames_writer* writer);

/* Allocates `count` buffers for this format and size, and discards the previous buffers. Call it
 * again when the format or the size changes. After a failure there are no buffers. */
int vorlane_frames_configure(vorlane_frames_writer* writer, uint32_t format, uint32_t width,
                             uint32_t height, uint32_t count);

/* Gets a buffer that the box does not use. Returns the same buffer until it is sent. */
int vorlane_frames_acquire(vorlane_frames_writer* writer, int timeout_ms,
                           vorlane_frames_buffer* buffer);
/* Sends the acquired buffer. Do not write to it until it was acquired again. A null `picture` means
 * an unknown pts and no damage information. */
int vorlane_frames_send(vorlane_frames_writer* writer, const vorlane_frames_buffer* buffer,
                        const vorlane_frames_picture* picture);

/* Reads pending releases without blocking. vorlane_frames_acquire() does this, too. */
int vorlane_frames_process(vorlane_frames_writer* writer);
/* Sets a handler that acquire and process call for each release. Null removes it. The handler must
 * not use the writer. */
void vorlane_frames_on_release(vorlane_frames_writer* writer,
                               void (*handler)(const vorlane_frames_release* release,
                                               void* context),
                               void* context);

/* The descriptor to poll for reading. If it is readable, call vorlane_frames_process(). */
int vorlane_frames_descriptor(const vorlane_frames_writer* writer);
vorlane_frames_statistics vorlane_frames_count(const vorlane_frames_writer* writer);
/* Returns a description of a result. Never null. */
const char* vorlane_frames_text(int result);

#ifdef __cplusplus
}
#endif
