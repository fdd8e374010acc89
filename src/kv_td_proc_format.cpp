/** Pixel format: sets the configured one, or the one that it falls back to. */
#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "util/pixel_format.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

static bool WriteFormat(CExCam* cam, const PixelFormatRow& row)
{
    return GevSetFeatureValue(cam->camHandle, "PixelFormat", sizeof row.gevCode, &row.gevCode) == 0;
}

int CCamProc::ProcSetPixelFormat(CExCam* cam, std::uint8_t* code, std::uint8_t* storageBits,
                                 std::uint8_t* significantBits, std::uint32_t* gevFormat,
                                 const char** codec)
{
    const PixelFormatRow* row = FindPixelFormat(*code);
    if (row == nullptr) {
        return -1;
    }
    bool written = cam == nullptr || WriteFormat(cam, *row);
    if (!written && row->fallsBack) {
        const PixelFormatRow* const fallback = FindPixelFormat(kFormatMono8);
        KV_LOG(2, "The pixel format '%s' is not supported, forced to '%s'", row->name,
               fallback->name);
        row = fallback;
        *code = row->code;
        written = WriteFormat(cam, *row);
    }
    if (!written) {
        KV_LOG(2, "The pixel format '%s' is not supported", row->name);
        return -1;
    }
    if (row->code == kFormatBayer8) {
        KV_LOG(3, "BAYER_TILE_MAPPING value: meta codec chosen '%s'", row->codec);
    }
    if (storageBits != nullptr) {
        *storageBits = row->pixelBits;
    }
    if (significantBits != nullptr) {
        *significantBits = row->dataBits;
    }
    if (gevFormat != nullptr) {
        *gevFormat = row->gevCode;
    }
    if (codec != nullptr) {
        *codec = row->codec;
    }
    if (cam != nullptr) {
        isYuv = row->isYuv;
        KvSc__SetParamVal(kParamCodec, row->codec);
        KV_LOG(3, "Configure pixel format: 0x%08X", row->gevCode);
    }
    KV_LOG(3, "Use pixel format: '%s'", row->name);
    return 0;
}

} // namespace KvTd
