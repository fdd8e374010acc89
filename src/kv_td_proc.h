/** CCamProc, one device session: parametrization, grab loop, reaction to signals. */
#pragma once

#include "kv_td_types.h"
#include "util/frame_clock.h"

#include <cstdint>

struct _tag_GEVBUF_ENTRY;

namespace KvTd
{

class CBufferFactory;
class CExCam;
struct LogSite;

/** Runs the session of an opened camera: stream options, control thread, grab loop.
 *  Returns the exit code. */
int KvTdProc(CExCam* cam);

/** State and operations of one device session. Lives on the stack of KvTdProc; fields are public,
 *  all of it is for the grab thread only. Sizes are in bytes, times in microseconds, geometry in
 *  pixels, unless a field says otherwise. */
class CCamProc
{
public:
    // ---- session and loop: kv_td_proc.cpp -----------------------------------------------------

    /** Runs the loop, again as long as the dynamic LUT asks for another bit depth. */
    int ProcOnce(CExCam* cam, CBufferFactory* factory);
    /** Applies the configuration, grabs until something ends it, cleans up.
     *  0 normal end, -1 buffers, -2 configuration, -10 drops or an exception while grabbing, else
     *  the result of ProcSignal. */
    int ProcLoop(CExCam* cam, CBufferFactory* factory);

    std::uint32_t loopRuns = 0; ///< runs of the loop in this session
    std::uint32_t framePeriodUs = 0;
    std::uint32_t latencyUs = 0;     ///< added to host times
    std::int32_t exposureUs = 0;     ///< of the newest frame
    std::int32_t tsAdjNs = 0;        ///< ns per second; not 0: stamps follow the camera's
    std::uint32_t tickFrequency = 0; ///< Hz
    void* currImage = nullptr;       ///< of the newest frame

    // ---- configuration: kv_td_proc_config.cpp -------------------------------------------------

    /** Brings the camera into the configured state before the first frame. `bufferCount` is in/out.
     *  -1: the pixel format can't be set. */
    int ProcSetCamConfig(CExCam* cam, std::uint32_t* bufferCount);
    /** Runs the handlers in their fixed order. `dynamic`: while frames flow. `initial`: with what
     *  is only set before a session or by a full reconfiguration. Always 0. */
    int ProcParametrizeCam(CExCam* cam, bool dynamic, bool initial);
    /** Switches off the chunks that ProcSetCamConfigChunks switched on. */
    void ProcSetCamConfigEnd(CExCam* cam);

    std::uint32_t bufNum = 0; ///< frame buffers

    // ---- values: kv_td_proc_values.cpp, kv_td_proc_wb.cpp -------------------------------------
    //
    // A value that is not configured, out of the camera's range or refused leaves camera and fields
    // as they are; the log says so.

    bool ProcParametrizeCamFps(CExCam* cam); ///< true: a new rate was applied
    void ProcParametrizeCamRotate(CExCam* cam);
    void ProcParametrizeCamManGain(CExCam* cam);
    void ProcParametrizeCamManExpo(CExCam* cam);
    void ProcParametrizeCamWB(CExCam* cam);

    float fps = 0;     ///< frames per second
    float gainCur = 0; ///< dB
    float exposureCur = 0;
    std::int32_t exposureCurInt = 0;
    std::uint8_t rotateState = 0; ///< 1: turned by 180 degrees
    std::int32_t wbRed = 0;       ///< hundredths of a dB; -1: automatic; the same for blue
    std::int32_t wbBlue = 0;

    // ---- automatic exposure and gain: kv_td_proc_auto.cpp -------------------------------------

    /** `dynamic`: while frames flow. `captureStopped`: the transfer is stopped, and whoever owns
     *  the flag starts it again; null: nobody else does. The same flag for the next two. */
    void ProcParametrizeCamAutoFunc(CExCam* cam, std::uint32_t profile, std::uint32_t gainMode,
                                    std::uint32_t etimeMode, bool dynamic, bool* captureStopped);
    /** Brightness target and limits; the result of the last camera operation. */
    int ProcParametrizeCamAutoFuncParams(CExCam* cam);

    std::int32_t gainAutoState = 0; ///< 0 unknown, 1 off, 2 continuous; the same for exposure
    std::int32_t expoAutoState = 0;

    // ---- look-up table and gamma: kv_td_proc_lut.cpp ------------------------------------------

    /** Loads the configured table, or the dynamic one. 0 skipped or none configured; 1 none
     *  configured but the camera has one, which the gamma handler has to switch off; 2 written;
     *  -1 no such control; -2 a write failed; -3 a format of 12 bits. */
    int ProcParametrizeCamManLUT(CExCam* cam, bool fromDynLut, bool whileGrabbing,
                                 bool* captureRestart);
    /** Applies the exponent, or switches table and gamma off. `lutResult` is the table's in the
     *  same run, 0 without one. 0 nothing to do; 1, 2, 3 switched off: the table is gone, and gamma
     *  is not asked for or not there; out of bounds; 1.0; 4 written, or tried; -1 no gamma; -2 out
     *  of bounds. */
    int ProcParametrizeCamGamma(CExCam* cam, bool whileGrabbing, int lutResult,
                                bool* captureRestart);

    /** One step of the dynamic LUT, for each good frame: kv_td_proc_dynlut.cpp. */
    void ProcDynamLut(CExCam* cam);

    float gammaValue = 0;                       ///< -1: none reported
    const std::uint16_t* lastLutData = nullptr; ///< table written last; identity counts
    std::uint32_t usrSignalPending = 0;         ///< step of the dynamic LUT
    std::int32_t reconfigState = 0;             ///< its bit-depth excursion: 0, 6 or 7
    std::uint16_t* dynLut = nullptr;            ///< owned, malloc
    std::uint32_t dynLutCount = 0;              ///< its entries that are in use
    std::uint32_t* dynCdf = nullptr;            ///< owned, malloc
    std::uint32_t dynCdfCount = 0;              ///< its entries

    // ---- IO box: kv_td_proc_lines.cpp ---------------------------------------------------------

    /** Hands changed IO-box sets to the control thread. */
    void ProcParametrizeCamOutLines(CExCam* cam);

    // ---- pixel format: kv_td_proc_format.cpp --------------------------------------------------

    /** Sets the format of a host code, or the one that it falls back to, and informs the host.
     *  Without a camera only the outputs are filled. Outputs may be null.
     *  -1: unknown or refused. */
    int ProcSetPixelFormat(CExCam* cam, std::uint8_t* code, std::uint8_t* storageBits,
                           std::uint8_t* significantBits, std::uint32_t* gevFormat,
                           const char** codec);

    std::uint8_t formatCode = 0;   ///< the host's
    std::uint32_t pixelFormat = 0; ///< GigE Vision code
    std::uint8_t pixelBits = 0;    ///< stored
    std::uint8_t dataBits = 0;     ///< significant
    bool isYuv = false;

    // ---- region of interest: kv_td_proc_aoi.cpp -----------------------------------------------

    /** 0: all configured items set; -1: does not fit the sensor; else the mask of failed items. */
    int ProcParametrizeCamAoi(CExCam* cam);
    /** 0: not in the mask, or set; else the item's bit. */
    int ProcParametrizeCamAoiItem(CExCam* cam, int mask, PropertyType item, int current, int limit,
                                  int asked);
    /** Does the host's region differ from the one in force? 0: no; 1 OffsetX, 2 OffsetY, 3 Width,
     *  4 Height, whichever comes first. */
    int ProcCheckCfgCamAoi();

    std::uint32_t roiWidth = 0;
    std::uint32_t roiHeight = 0;
    std::uint32_t roiOffsetX = 0;
    std::uint32_t roiOffsetY = 0;
    std::uint32_t widthMax = 0;
    std::uint32_t heightMax = 0;

    // ---- chunks: kv_td_proc_chunks.cpp --------------------------------------------------------

    void ProcSetCamConfigChunks(CExCam* cam);
    /** Publishes a frame's gain, exposure, ticks and counter; returns its time stamp. */
    std::uint64_t ProcFrameChunks(CExCam* cam, const _tag_GEVBUF_ENTRY* frame);

    /** Chunks that are on: 1 gain, 2 exposure, 4 time stamp, 8 counter. */
    std::uint32_t chunkMask = 0;

    // ---- frame memory: kv_td_proc_mem.cpp -----------------------------------------------------

    void ProcInitMem(CExCam* cam, unsigned int frameSize);
    /** Triggers the pending images into host memory; the host's result, 0: accepted. */
    int ProcLoopMem(unsigned long timeUs, int flag);

    void* pendingFrame = nullptr;     ///< waits to be triggered into frame memory
    void* pendingConvFrame = nullptr; ///< converted image for instance 1; nobody fills it yet
    std::uint32_t bufferFrameSize = 0;
    std::uint32_t fullFrameSize = 0; ///< of a frame without spare room
    std::uint32_t stride = 0;        ///< of a line
    std::int32_t memInstance = 0;    ///< -1: plain host memory
    std::uint8_t convFormat = 0;     ///< conversion that the host asked for
    std::uint8_t convActive = 0;
    std::uint32_t convPixelFormat = 0;
    std::uint32_t convFrameSize = 0;

    // ---- signals: kv_td_proc_signal.cpp -------------------------------------------------------

    void ProcLookSignal();
    int ProcSignalUsr(std::uint32_t grabbed);
    /** Reacts to `lastSignal`. `*stop` (may be null) is not written in state 0. 1: a
     *  reconfiguration failed hard, else 0. */
    int ProcSignal(CExCam* cam, std::uint32_t grabbed, bool* stop);

    std::int32_t lastSignal = 0; ///< the host's signal state in this round

private:
    /** What one run of the loop counts. */
    struct LoopRun {
        LoopRun(std::uint64_t startUs, std::uint32_t periodUs) : clock(startUs, periodUs) {}

        std::uint32_t frameLimit = 0; ///< 0: none
        std::uint32_t stateDivider = 1;
        std::uint32_t frames = 0;
        std::uint32_t loops = 0;
        std::uint32_t drops = 0;
        bool transferFreed = false;
        FrameClock clock;
    };
    enum class Round { GoOn, End };

    // kv_td_proc.cpp
    int endLoop(CExCam* cam, LoopRun& run, int rc);
    int endLoopByException(CExCam* cam, LoopRun& run, int status);

    // kv_td_proc_round.cpp
    Round runRound(CExCam* cam, LoopRun& run, int& rc);
    Round missedFrame(CExCam* cam, LoopRun& run, _tag_GEVBUF_ENTRY* frame, int status, int& rc);
    Round goodFrame(CExCam* cam, LoopRun& run, _tag_GEVBUF_ENTRY* frame, std::uint64_t hostGotUs,
                    int& rc);
    std::uint64_t handleFirstFrame(LoopRun& run, const FrameTimes& times);
    std::uint64_t handleLaterFrame(CExCam* cam, LoopRun& run, const FrameTimes& times, void* image);
    void exportFrame(CExCam* cam, std::uint64_t frameTsUs);
    void checkPace(LoopRun& run, const FrameTimes& times);
    void announceNext(LoopRun& run, const FrameTimes& times);

    // kv_td_proc_config.cpp
    void reportDevice(const LogSite& site, CExCam* cam);
    void readSettings(const LogSite& site, CExCam* cam);
    void sizeFrames(const LogSite& site, CExCam* cam, std::uint32_t* bufferCount);
    void reportNewSettings(const LogSite& site);
    void publishGeometry();

    // kv_td_proc_auto.cpp
    static void switchAuto(CExCam* cam, PropertyType selector, std::uint32_t mode,
                           std::int32_t& state);

    // kv_td_proc_dynlut.cpp
    bool calculateDynamLut(const LogSite& site, CExCam* cam);
    void freeDynamLut();
    void takeUpDynamLutRequest();

    // kv_td_proc_lines.cpp
    static bool takeOverSet(const LogSite& site, CExCam* cam, int i);

    // kv_td_proc_aoi.cpp
    struct AoiAxis {
        PropertyType sizeItem;
        PropertyType offsetItem;
        int size; ///< asked, as the offset
        int offset;
        std::uint32_t currentSize;
        std::uint32_t currentOffset;
        std::uint32_t sizeMax;
    };
    int setAoiAxis(CExCam* cam, int mask, const AoiAxis& axis);

    // kv_td_proc_signal.cpp
    int reconfigure(const LogSite& site, CExCam* cam, std::uint32_t grabbed, bool& stopping);
    bool switchBitDepth(const LogSite& site, CExCam* cam);
};

} // namespace KvTd
