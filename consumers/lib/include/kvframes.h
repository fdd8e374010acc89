/** libkvframes: the frames of a running camera host, in another process.
 *
 *  The host shares its frame buffers; this library finds them, waits without using the CPU, and
 * says with certainty whether what was read is one whole frame. Nothing that a consumer does, or
 * stops doing, makes the host lose a frame.
 *
 *      kvf_source* source;
 *      if (kvf_open("/kvgrab", &source) != KVF_OK) { puts(kvf_error()); return 1; }
 *      kvf_frame frame;
 *      while (kvf_wait(source, KVF_NEXT, 1000, &frame) == KVF_OK) {
 *          work(frame.pixels, frame.bytes);                   // in place, without a copy
 *          if (!kvf_is_valid(source, &frame)) { discard(); }  // it was overwritten meanwhile
 *      }
 *      kvf_close(source);
 *
 *  A frame's pixels can be used in three ways: in place with kvf_is_valid() afterwards; copied with
 *  kvf_copy(), which says whether the copy is whole; or in place under kvf_hold(), as long as the
 *  host can do without the buffer.
 *
 *  A source stays usable when the host changes the size of its pictures, ends, or comes back: the
 *  next wait attaches to whatever is there.
 *
 *  Units: times in the name's unit (us, ns, ms), gain in dB, sizes in bytes or pixels.
 *
 *  Threads: every function may be called from any thread. Threads that wait on the same source
 * share its position: each frame goes to one of them. For each thread to see every frame, open a
 * source for each. kvf_close() must be the last call with a source; kvf_interrupt() ends waits
 * before it.
 *
 *  Errors: functions return a kvf_result; kvf_error() has the sentence that belongs to the calling
 *  thread's last result other than KVF_OK. */
#ifndef KVFRAMES_H
#define KVFRAMES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KVF_API __attribute__((visibility("default")))

#define KVF_DEFAULT_NAME "/kvgrab"
#define KVF_FOREVER (-1) /**< as a time-out */

typedef struct kvf_source kvf_source;

typedef enum kvf_result {
    KVF_OK = 0,
    KVF_TIMEOUT = 1,      /**< a host is there, but no frame came in time */
    KVF_NO_HOST = 2,      /**< no host offers frames under this name, or it ended */
    KVF_OVERWRITTEN = 3,  /**< the buffer has, or may have, another frame by now */
    KVF_INTERRUPTED = 4,  /**< kvf_interrupt() was called */
    KVF_DENIED = 5,       /**< this user may not read the memory, or not take part in it */
    KVF_INCOMPATIBLE = 6, /**< not a frame memory, or of a host of another version */
    KVF_BUSY = 7,         /**< as many frames are held as the host permits */
    KVF_SYSTEM = 8,       /**< the system refuses something, e.g. for want of memory */
    KVF_INVALID = 9       /**< an argument makes no sense */
} kvf_result;

typedef enum kvf_format {
    KVF_UNKNOWN = 0,       /**< another codec, or fewer bytes than width and height require */
    KVF_MONO8 = 1,         /**< codec MONO8T: one byte a pixel */
    KVF_MONO12_PACKED = 2, /**< codec MONO12PT: two pixels in three bytes */
    KVF_MONO12 = 3,        /**< codec MONO12T: two bytes a pixel, low byte first, values to 4095 */
    KVF_UYVY = 4,          /**< codec UYVY: two pixels in four bytes */
    KVF_BAYER_RG8 = 5      /**< codec BayerRG8T: one byte a pixel, rows RGRG.. and GBGB.. */
} kvf_format;

typedef enum kvf_which {
    KVF_NEXT =
        0, /**< the frame after the one returned last, or the oldest that can still be read */
    KVF_NEWEST = 1 /**< the newest frame, if it is newer than the one returned last */
} kvf_which;

/** A frame, as it was when the wait returned it. */
typedef struct kvf_frame {
    const void* pixels; /**< in the host's memory, lines without padding; read-only. The address
                             stays mapped until the next wait of any thread on this source, or
                             kvf_unpin() */
    uint64_t bytes;     /**< of the picture */
    uint32_t width;     /**< pixels */
    uint32_t height;    /**< pixels */
    kvf_format format;
    char codec[20];               /**< name of the pixel format, terminated */
    uint64_t sequence;            /**< from 1 since the host started, one more with each frame */
    uint64_t missed;              /**< frames between this one and the one returned before it */
    uint64_t time_us;             /**< time stamp, since the epoch */
    int64_t capture_time_ns;      /**< the camera's time stamp on the host's clock, since the epoch;
                                       0: none */
    uint64_t camera_ticks;        /**< the camera's own time stamp */
    uint64_t camera_frame_number; /**< the camera's own number of the frame; 0: none */
    uint32_t frame_counter;       /**< of the host's driver */
    float gain_db;
    float exposure_us;
    uint32_t buffer;     /**< index of the buffer */
    uint64_t generation; /**< of the layout; another value: size or format may have changed */
    uint64_t host;       /**< differs for each host that was attached to, from 1 */
    void* reserved;
} kvf_frame;

/** The host as it is now. */
typedef struct kvf_state {
    uint32_t attached; /**< 1 while a host lives and offers frames */
    uint32_t buffers;  /**< number of frame buffers; 0 before the first session */
    uint32_t width;    /**< pixels; 0 until known */
    uint32_t height;   /**< pixels; 0 until known */
    kvf_format format;
    char codec[20];
    uint64_t frame_bytes;
    uint64_t newest; /**< sequence number of the newest frame; 0: none yet */
    uint64_t host_pid;
    uint64_t host; /**< as in kvf_frame */
    uint64_t generation;
    uint64_t next_time_us; /**< expected time stamp of the next frame; 0: not known */
    uint32_t can_hold;     /**< 1 if kvf_hold() is possible with this host and user */
} kvf_state;

/** Prepares to follow the host of this name (null: "/kvgrab"); the host may come later. Needs
 *  kvf_close() if it returns KVF_OK. KVF_INVALID: not a name; KVF_SYSTEM. */
KVF_API kvf_result kvf_open(const char* name, kvf_source** source);
/** Gives back everything; null is permitted. */
KVF_API void kvf_close(kvf_source* source);

/** Waits up to `timeout_ms` for a frame (0: only looks; KVF_FOREVER), also for a host to come or to
 *  return. The first frame returned is the newest one. What a host published before it ended can
 *  still be returned, also after its end. Signals do not end a wait.
 *
 *  KVF_TIMEOUT: no frame in time; KVF_NO_HOST: no host at the end of the time; KVF_INTERRUPTED,
 *  KVF_DENIED, KVF_INCOMPATIBLE, KVF_SYSTEM. `frame` is written only with KVF_OK. */
KVF_API kvf_result kvf_wait(kvf_source* source, kvf_which which, int timeout_ms, kvf_frame* frame);
/** Ends all waits on the source that are under way, and the next one if none is. May be called from
 *  a signal handler. */
KVF_API void kvf_interrupt(kvf_source* source);

/** 1 if all that was read from `frame->pixels` so far belongs to that frame, otherwise 0. */
KVF_API int kvf_is_valid(const kvf_source* source, const kvf_frame* frame);
/** Copies the pixels; `bytes` is the room at `to`. KVF_OVERWRITTEN: what is there is not one frame;
 *  KVF_INVALID: too little room. */
KVF_API kvf_result kvf_copy(const kvf_source* source, const kvf_frame* frame, void* to,
                            size_t bytes);

/** Asks the host not to fill the frame's buffer again until kvf_release(). A source holds one
 * frame: holding another releases the first. The host takes the buffer back if it would lose a
 * frame otherwise, and then kvf_is_valid() returns 0.
 *
 *  KVF_OVERWRITTEN: too late; KVF_DENIED: this user or host doesn't permit it; KVF_BUSY. */
KVF_API kvf_result kvf_hold(kvf_source* source, const kvf_frame* frame);
/** Gives the held frame back. KVF_OVERWRITTEN: the host had taken it back before. KVF_OK also if
 *  none is held. */
KVF_API kvf_result kvf_release(kvf_source* source);

/** Keeps the addresses of the frame's pixels mapped, though not what is there, until kvf_unpin() of
 *  the same frame, even after kvf_close(). */
KVF_API kvf_result kvf_pin(kvf_source* source, kvf_frame* frame);
KVF_API void kvf_unpin(kvf_frame* frame);

/** KVF_OK, or KVF_NO_HOST with attached = 0, or an error of kvf_wait(). */
KVF_API kvf_result kvf_get_state(kvf_source* source, kvf_state* state);

/** One sentence in English about the calling thread's last result other than KVF_OK; never null. */
KVF_API const char* kvf_error(void);
/** The name of a result, e.g. "KVF_TIMEOUT"; never null. */
KVF_API const char* kvf_result_name(kvf_result result);

#ifdef __cplusplus
}
#endif

#endif
