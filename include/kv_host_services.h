/** The host services: what a frame-grabbing process must export, by plain name, for the driver.
 *
 *  The driver imports these by name when it is loaded and binds each at its first call, so the host
 *  has to export them from the program itself (link it with -rdynamic) or from a library that it
 *  loaded globally. All are called on the thread that called KvLibProc, except LogWrite, which is
 *  called from the control thread too and must be safe for concurrent calls.
 *
 *  kv_default_services.cpp has a default for each, to be compiled into a host.
 *
 *  The driver never frees what a service returns. Getters are asked each time a value is applied;
 *  kv_td_types.h has what they return for a value that is not configured. */
#pragma once

#include <cstdint>
#include <sys/time.h>

/** Holder of the 32-bit values whose address KvSc__SetParamVal is given. Grab thread only. */
struct KVSCUVAL {
    static std::uint32_t _s_valU32;
};

#pragma GCC visibility push(default) // exported also by a host that hides its other symbols
extern "C" {

/** The driver's one entry: one call is one device session. Returns an exit code of kv_td_types.h.
 *  Never call it from two threads at once. */
int KvLibProc(void);

// ---- KvGiMainCtx: configuration ---------------------------------------------------------------

const char* KvGiMainCtx__GetModelStr(void); ///< prefix of the model; null matches none, "" all
const char* KvGiMainCtx__GetIdStr(void);    ///< exact serial number; null or "" matches all
std::uint32_t KvGiMainCtx__GetActiveCamMask(void); ///< bit i: use list position i as it is

int KvGiMainCtx__GetDatachunk(void); ///< packet size in bytes; above 9180 the driver uses 1500

std::uint32_t KvGiMainCtx__GetFormat(void); ///< HostFormat; the low byte counts
void KvGiMainCtx__SetFormat(int format);    ///< the driver forces another format
std::uint8_t KvGiMainCtx__GetCformat(void); ///< conversion format; 0: none

int KvGiMainCtx__GetOffsetX(void); ///< pixels; -1 when not configured, so are the next three
int KvGiMainCtx__GetOffsetY(void);
int KvGiMainCtx__GetWidth(void);
int KvGiMainCtx__GetHeight(void);

float KvGiMainCtx__GetFps(void);     ///< frames per second
float KvGiMainCtx__GetExptMan(void); ///< microseconds
float KvGiMainCtx__GetGainMan(void); ///< dB
int KvGiMainCtx__GetWbred(void);     ///< hundredths of a dB; -1 when not configured, so is the next
int KvGiMainCtx__GetWbblu(void);
int KvGiMainCtx__GetRotate(void); ///< 2: turned by 180 degrees; other non-zero: upright

float KvGiMainCtx__GetGamma(void);
/** The configured table: its entries, the bits of each, the values. A changed table needs another
 *  address, and the old one stays valid. */
std::uint16_t KvGiMainCtx__GetLutArrCount(void);
std::uint16_t KvGiMainCtx__GetLutBitSize(void);
const std::uint16_t* KvGiMainCtx__GetLutDataU16(void);

float KvGiMainCtx__GetAtbright(void);     ///< target of automatic brightness, 0 to 1
float KvGiMainCtx__GetGainlimsLow(void);  ///< dB
float KvGiMainCtx__GetGainlimsHigh(void); ///< dB
float KvGiMainCtx__GetEtlimsLow(void);    ///< microseconds
float KvGiMainCtx__GetEtlimsHigh(void);   ///< microseconds

std::uint32_t KvGiMainCtx__GetSweepProf(void);     ///< 1: automatic brightness
std::uint32_t KvGiMainCtx__GetSweepGainMod(void);  ///< 1 manual, 2 automatic
std::uint32_t KvGiMainCtx__GetSweepEtimeMod(void); ///< 1 manual, 2 automatic
std::uint32_t KvGiMainCtx__GetSweepLutMod(void);   ///< 1: apply the configured table

int KvGiMainCtx__GetTsadjns(void); ///< drift in ns per second; 0: stamps from the host's clock

std::uint32_t KvGiMainCtx__GetFnum(void); ///< frames to grab; 0: no limit
std::uint32_t KvGiMainCtx__GetBnum(void); ///< frame buffers
void KvGiMainCtx__SetBnum(std::uint32_t buffers);

int KvGiMainCtx__GetIoboxNum(void);    ///< configured IO-box sets
int KvGiMainCtx__GetIoboxPin(int set); ///< td_pins
int KvGiMainCtx__GetIoboxMod(int set);
int KvGiMainCtx__GetIoboxSrc(int set);
int KvGiMainCtx__GetIoboxInv(int set);
std::uint32_t KvGiMainCtx__GetIoboxPar(int set, int index); ///< index 0 or 1; 0xFFFFFFFF: unset

// ---- KvGiMem, KvGiMemInst: frame memory -------------------------------------------------------

/** Prepares the shared frame memory for frames of `size` bytes; `flags` is 0. */
void KvGiMem__Init(std::uint32_t size, std::uint32_t flags);
void KvGiMem__SetActFsize(std::uint32_t size); ///< bytes of a frame without spare room
/** The index-th buffer. Buffers lie evenly spaced, in rising order; null when there is none. */
void* KvGiMem__GetBufPtr(std::uint32_t index);
/** Non-zero: the driver hands the host's buffers to the camera. Without it nothing is received. */
int KvGiMem__IsFactoryUsed(void);

void KvGiMemInst__Init(std::uint32_t instance, std::uint32_t size, std::uint32_t flags);
void KvGiMemInst__SetActFsize(std::uint32_t instance, std::uint32_t size);
/** Hands a filled image to the host; 0: accepted. `timeUs`: time stamp, `image` is never null. */
int KvGiMemInst__Trigger(std::uint32_t instance, int reserved, std::uint64_t timeUs, void* image,
                         int flag);

// ---- KvGi: grab control -----------------------------------------------------------------------

/** Reads the configuration again. 0: taken over; else the old one stays. Sets `*flag` non-zero when
 *  the new one can't be taken over while frames flow. */
int KvGi__DoReconfig(int* flag);
int KvGi__CheckDynConfig(void); ///< non-zero: a change waits that can be applied while grabbing
void KvGi__SetNewCfgVendor(void);
void KvGi__SetNewCfgPlugin(void);
void KvGi__SetSignalAction(int action); ///< acknowledges the signal state `action`
void KvGi__SetTermSigProc(void);
void KvGi__ResetTermSigProc(void);
/** A frame was missed, or one was grabbed: its size in pixels, the camera's temperature in degrees
 *  Celsius (-321 when it reports none). */
void KvGi__HaltUpdate(std::uint32_t width, std::uint32_t height, float temperature);
void KvGi__HaltStop(std::uint32_t width, std::uint32_t height, float temperature);
void KvGi__SetCurrFpsUs(std::uint32_t periodUs);
/** Announces the next frame: its expected time stamp, latency and exposure, all microseconds. */
void KvGi__CommTriggerAll(std::uint64_t timeUs, std::uint32_t latencyUs, std::uint32_t exposureUs);
/** Statistics of an image for the dynamic LUT: its size and line length in pixels, the storage bits
 *  of a pixel; `cdf` has 2^bits 32-bit entries. */
void KvGi__CalcLutDynam(void* image, std::uint32_t width, std::uint32_t height,
                        std::uint32_t lineLength, std::uint8_t bits, void* cdf);
/** Derives the table from the statistics: 2^bits 16-bit entries of `outBits` bits. Values stay at
 *  or below 4087, so that rounding to 8 bits can't overflow. For 8 and 16 `bits` the host fills the
 *  first 128 entries over the whole input range; the driver interpolates between them. */
void KvGi__GetLutDynam(std::uint8_t bits, void* cdf, int outBits, void* lut);

// ---- KvSc: scenario and export ----------------------------------------------------------------

/** Stores a ScenarioParam; the value is copied before return. */
int KvSc__SetParamVal(std::uint32_t id, const void* value);
int KvSc__InstSetParamVal(std::uint32_t instance, std::uint32_t id, const char* text);
/** Exports the frame that was triggered last. The image belongs to the camera again afterwards. */
int KvSc__ProcExport(std::uint64_t timeUs);

// ---- KvUtl: utilities -------------------------------------------------------------------------

std::uint32_t KvUtl__CheckSignal(void); ///< pending SignalState
/** later - earlier, in a value of the host's that is valid until the next call. */
const struct timeval* KvUtl__TimeValDiff(const struct timeval* later,
                                         const struct timeval* earlier);
void KvUtl__UpdateGrabState(int state);

// ---- Log --------------------------------------------------------------------------------------

/** Levels: 1 an operation or the loop ends, 2 warning, 3 progress and values, 4 detail,
 *  5 periodic trace. No line ends with a line feed. */
void LogWrite(const char* sourceFile, int line, const char* function, int level, const char* format,
              ...) __attribute__((format(printf, 5, 6)));

} // extern "C"
#pragma GCC visibility pop
