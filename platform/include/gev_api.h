/** The camera calls: list, open, options, node map, transfer.
 *
 *  A status is 0 for success and one of GevStatus otherwise. Calls in the wrong order, with a stale
 *  or null handle or with null arguments return a status and never crash.
 *
 *  Threads: every call may come from any thread; thread cancellation is deferred until the call in
 *  progress returns. Calls on one camera exclude each other, except that GevWaitForNextFrame lets
 *  others run while it waits and GevGetCameraInfo never waits for another call. */
#pragma once

#include "gen_api.h"

#include <cstdint>

/** Texts hold up to 64 characters and are always terminated. */
constexpr std::size_t kGevTextSize = 65;

enum GevStatus : std::int32_t {
    kGevOk = 0,
    kGevInvalidHandle = -1,   ///< no such open camera
    kGevInvalidArgument = -2, ///< a null pointer, or an invalid size or mode
    kGevNotFound = -3,        ///< no such camera on the network, or no such feature in the camera
    kGevAccessDenied = -4,    ///< another client has control, or the feature is not writable
    kGevNotReady = -5,        ///< wrong order: no transfer initialised, or none started
    kGevTimeout = -6,         ///< nothing arrived in time, or the camera does not answer
    kGevIncomplete = -7,      ///< a frame arrived with data missing
    kGevBadValue = -8,        ///< the camera refused the value
    kGevBusy = -9,            ///< the transfer is running
    kGevNoMemory = -10,
    kGevNoBackend = -11, ///< the camera's backend is not in use in this process
    kGevError = -12      ///< anything else
};

/** One camera as it is listed. */
struct GEV_DEVICE_INFO {
    char manufacturer[kGevTextSize];
    char model[kGevTextSize];
    char serial[kGevTextSize];
    char version[kGevTextSize];
    std::uint32_t mode;         ///< interface mode: 0 simulated in process, 1 network
    std::uint32_t ipAddress;    ///< host byte order; 0 when there is none
    char backend[16];           ///< name of the camera's backend: "sim", "net"
    char address[kGevTextSize]; ///< by which the backend opens the camera
};

/** Settings of the camera's stream and control channel. */
struct GEV_CAMERA_OPTIONS {
    std::uint32_t heartbeatTimeoutMs;
    std::uint32_t commandTimeoutMs;
    std::uint32_t commandRetries;
    std::uint32_t streamPacketSize;      ///< bytes
    std::uint32_t streamPacketDelay;     ///< inter-packet delay, microseconds
    std::uint32_t streamFramesBuffered;  ///< most frames that may wait for the caller
    std::uint32_t streamMemoryLimit;     ///< bytes
    std::uint32_t streamMaxPacketResend; ///< most packets per frame that are requested again
    std::uint32_t streamFrameTimeoutMs;
};

/** Why a frame is incomplete. */
enum GevFrameFault : std::int32_t {
    kGevNoFault = 0,
    kGevPacketsMissing = 1,  ///< did not come in time
    kGevPacketsRefused = 2,  ///< the camera did not have them any more when it was asked again
    kGevBufferTooSmall = 3,  ///< for the frame
    kGevUnknownPayload = 4,  ///< of a payload type that is not received
    kGevContradictory = 5,   ///< its packets contradict each other
    kGevSmallerThanImage = 6 ///< all packets came, but they hold less than the image
};

/** How a frame came. Packets of cameras without a network are those that the frame would take. */
struct GEV_FRAME_RECEPTION {
    std::int32_t fault; ///< GevFrameFault
    std::uint32_t packetsReceived;
    std::uint32_t packetsResent;  ///< of these, after they had been requested again
    std::uint32_t packetsMissing; ///< 0 with kGevBufferTooSmall and kGevUnknownPayload
    std::uint32_t framesLost;     ///< on the link, between the frame delivered before and this one
    std::uint32_t framesWithoutBuffer; ///< likewise
};

/** One received frame. Valid until it is released or the transfer is freed. */
struct _tag_GEVBUF_ENTRY {
    std::int32_t status; ///< 0 complete, kGevIncomplete with data missing
    std::uint32_t frameId;
    std::uint64_t timestamp;     ///< camera ticks
    std::uint32_t timestampHigh; ///< the same in two halves, valid also when timestamp is 0
    std::uint32_t timestampLow;
    std::uint32_t height;          ///< lines
    std::uint32_t width;           ///< pixels
    std::uint64_t receivedBytes;   ///< pixel data without chunks
    void* address;                 ///< first pixel, in the caller's memory
    const std::uint8_t* chunkData; ///< behind the pixels; null without chunks
    std::uint32_t chunkSize;
    std::uint64_t
        frameNumber;        ///< the camera's own number of the frame, unshortened; 0: it has none
    std::int64_t arrivalNs; ///< when the platform received it, on the host's real-time clock
                            ///  (ns since the epoch): its first packet, as soon as the thread that
                            ///  receives has it from the system; 0: not known
    GEV_FRAME_RECEPTION reception;
};

/** Counts of one transfer, from its initialisation on. */
struct GEV_TRANSFER_STATISTICS {
    std::uint64_t transfer;         ///< number of the transfer in this process, from 1 on
    std::uint64_t framesReceived;   ///< delivered complete
    std::uint64_t framesIncomplete; ///< delivered with data missing
    std::uint64_t framesLost;       ///< never delivered: lost on the link
    std::uint64_t underruns;        ///< never delivered: no free buffer
    std::uint64_t packetsReceived;
    std::uint64_t packetsResent;  ///< arrived after they had been requested again
    std::uint64_t packetsMissing; ///< never arrived: of incomplete and of lost frames
    // Why no frames come; 0 where there are no packets.
    std::uint64_t packetsOfFrame;            ///< that a complete frame has, as far as is known
    std::uint64_t packetSize;                ///< bytes, with all headers
    std::uint64_t packetsOfNewestIncomplete; ///< received, of the newest incomplete frame
    std::uint64_t framesOfUnknownPayload;    ///< delivered incomplete: the payload type is unknown
    std::uint64_t startRefused;              ///< 1: the camera refused the newest start
};

extern "C" {

/** Lists the cameras of all backends, at most `maxCameras`; `*count` is how many were written. */
GEVPLAT_API int GevGetCameraList(GEV_DEVICE_INFO* list, int maxCameras, int* count);

/** Access mode 2 requests control. On success `*handle` is set, otherwise it is null. */
GEVPLAT_API int GevOpenCamera(const GEV_DEVICE_INFO* device, int accessMode, void** handle);

/** Frees the transfer if there still is one, closes the camera and sets `*handle` to null. */
GEVPLAT_API int GevCloseCamera(void** handle);

/** Closes all cameras that are still open. The simulated network and its scripted faults stay as
 *  they are. */
GEVPLAT_API int GevApiUninitialize(void);
GEVPLAT_API void _CloseSocketAPI(void);

/** The record of an opened camera, or null once it has left the network. Never waits. */
GEVPLAT_API GEV_DEVICE_INFO* GevGetCameraInfo(void* handle);

/** The reference stays valid until the camera is closed; null for a bad handle. */
GEVPLAT_API GenApi_3_0::CNodeMapRef* GevGetFeatureNodeMap(void* handle);

GEVPLAT_API int GevGetCameraInterfaceOptions(void* handle, GEV_CAMERA_OPTIONS* options);
GEVPLAT_API int GevSetCameraInterfaceOptions(void* handle, const GEV_CAMERA_OPTIONS* options);

/** Reads or writes a feature as raw bytes, host byte order. 4 or 8 bytes for integers and
 *  enumerations (their numeric value), 4 or 8 for floats. Strings and commands have no such value:
 *  kGevBadValue. Never throws. */
GEVPLAT_API int GevGetFeatureValue(void* handle, const char* feature, int size, void* value);
GEVPLAT_API int GevSetFeatureValue(void* handle, const char* feature, int size, const void* value);

/** Bytes of one frame with its chunks, and the current pixel format. Either pointer may be null. */
GEVPLAT_API int GevGetPayloadParameters(void* handle, std::uint64_t* payloadSize,
                                        std::uint32_t* pixelFormat);

/** Bytes of one pixel, from the bit count in the pixel format, rounded up: 12 bits give 2. */
GEVPLAT_API int GetPixelSizeInBytes(std::uint32_t pixelFormat);

/** Creates a transfer with `count` buffers of `size` bytes, in place of an earlier, stopped one.
 *  Mode 1: a buffer is filled again once it has been released. */
GEVPLAT_API int GevInitializeTransfer(void* handle, int mode, std::uint64_t size,
                                      std::uint32_t count, void** buffers);

/** Starts the acquisition of `frames` frames, or an endless one with -1 (all bits set). The
 *  transfer stays started until it is aborted, even after the last of these frames. */
GEVPLAT_API int GevStartTransfer(void* handle, std::uint32_t frames);

/** Stops the acquisition and drops undelivered frames. A frame that the caller has not released
 *  stays untouched. kGevTimeout: stopped on this side, but the camera does not answer. */
GEVPLAT_API int GevAbortTransfer(void* handle);

/** Ends the transfer. Frames that the caller has not released become invalid. */
GEVPLAT_API int GevFreeTransfer(void* handle);

/** Waits for the next frame. With a status other than 0, `*frame` is null or an incomplete frame
 *  that must be released as well. Fails at once while no transfer is initialised. */
GEVPLAT_API int GevWaitForNextFrame(void* handle, _tag_GEVBUF_ENTRY** frame,
                                    std::uint32_t timeoutMs);

GEVPLAT_API int GevReleaseFrame(void* handle, _tag_GEVBUF_ENTRY* frame);

/** Counts of this process's newest transfer, even after it was freed or its camera closed. */
GEVPLAT_API int GevGetTransferStatistics(GEV_TRANSFER_STATISTICS* statistics);

} // extern "C"
