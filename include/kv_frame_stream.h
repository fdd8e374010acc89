/** The form in which `kvgrab --export - --stream-format raw` writes frames to its standard output:
 *  for each frame this header, and then `pixelBytes` bytes of pixels as they were received, lines
 *  without padding. Numbers are little endian. Plain C. */
#pragma once

#include <stdint.h>

#define KV_FRAME_STREAM_MAGIC                                                                      \
    "KVFRAME1" /* the last character rises with each change of the form                            \
                */

struct kv_frame_stream_header {
    char magic[8];          /* KV_FRAME_STREAM_MAGIC, without a zero */
    uint32_t headerBytes;   /* 128: where the pixels begin */
    uint32_t width;         /* pixels */
    uint32_t height;        /* lines */
    uint32_t frameCounter;  /* of the frames grabbed; a gap is a frame that is not in the stream */
    uint64_t pixelBytes;    /* of the pixels behind the header */
    uint64_t number;        /* of the frame in the stream, from 1 on */
    uint64_t timeUs;        /* time stamp, microseconds since the epoch */
    uint64_t captureTimeNs; /* nanoseconds since the epoch; 0: none */
    uint64_t cameraTicks;   /* the camera's own time stamp, in its ticks */
    uint64_t cameraFrameNumber; /* the camera's own number; 0: none */
    float gainDb;               /* dB */
    float exposureUs;           /* microseconds */
    char codec[24];    /* "MONO8T", "MONO12PT", "MONO12T", "UYVY", "BayerRG8T"; zeros behind it */
    char reserved[24]; /* zeros */
};
