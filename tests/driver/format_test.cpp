#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

/** Sets a format; result, code, storage and data bits, camera format, codec. */
static std::string Set(CCamProc& proc, CExCam* cam, std::uint8_t code)
{
    std::uint8_t storage = 0;
    std::uint8_t data = 0;
    std::uint32_t format = 0;
    const char* codec = "-";
    const int result = proc.ProcSetPixelFormat(cam, &code, &storage, &data, &format, &codec);
    char text[100];
    snprintf(text, sizeof text, "%i: %u %u/%u 0x%08X %s", result, code, storage, data, format,
             codec);
    return text;
}

struct FormatCase {
    const char* name;
    sim::Model model;
    std::uint8_t asked;
    std::vector<std::uint32_t> refused;
    const char* outcome; ///< see Set
    bool isYuv;
    const char* story; ///< camera writes, host calls and log lines
};

class Format : public testing::TestWithParam<FormatCase>
{
};

TEST_P(Format, IsSetAndTold)
{
    const FormatCase& c = GetParam();
    sim::CameraSetup setup = SmallCamera(c.model);
    setup.refusedFormats = c.refused;
    Rig rig(setup);
    CExCam& cam = rig.Open();
    rig.proc.isYuv = !c.isYuv;
    EXPECT_EQ(Set(rig.proc, &cam, c.asked), c.outcome);
    EXPECT_EQ(rig.proc.isYuv, c.outcome[0] == '0' ? c.isYuv : !c.isYuv);
    EXPECT_EQ(Story(Rig::Of({"cam", "host", "log"})), c.story);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Format,
    testing::Values(
        FormatCase{"Mono8", sim::Model::Mono, 1, {}, "0: 1 8/8 0x01080001 MONO8T", false, R"(
cam PixelFormat=Mono8
host KvSc__SetParamVal(4, MONO8T)
log3 kv_td_proc:ProcSetPixelFormat: Configure pixel format: 0x01080001
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'MONO8T'
)"},
        FormatCase{"Packed", sim::Model::Mono, 2, {}, "0: 2 12/12 0x010C0006 MONO12PT", false, R"(
cam PixelFormat=Mono12Packed
host KvSc__SetParamVal(4, MONO12PT)
log3 kv_td_proc:ProcSetPixelFormat: Configure pixel format: 0x010C0006
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'MONO12PT'
)"},
        FormatCase{"Yuv", sim::Model::Color, 5, {}, "0: 5 16/16 0x0210001F UYVY", true, R"(
cam PixelFormat=YUV422Packed
host KvSc__SetParamVal(4, UYVY)
log3 kv_td_proc:ProcSetPixelFormat: Configure pixel format: 0x0210001F
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'YUV422PT'
)"},
        FormatCase{"Bayer", sim::Model::Color, 9, {}, "0: 9 8/8 0x01080009 BayerRG8T", false, R"(
cam PixelFormat=BayerRG8
log3 kv_td_proc:ProcSetPixelFormat: BAYER_TILE_MAPPING value: meta codec chosen 'BayerRG8T'
host KvSc__SetParamVal(4, BayerRG8T)
log3 kv_td_proc:ProcSetPixelFormat: Configure pixel format: 0x01080009
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'Bayer8T'
)"},
        FormatCase{"Mono12FallsBack",
                   sim::Model::Mono,
                   3,
                   {0x01100005},
                   "0: 1 8/8 0x01080001 MONO8T",
                   false,
                   R"(
log2 kv_td_proc:ProcSetPixelFormat: The pixel format 'MONO12T' is not supported, forced to 'MONO8T'
cam PixelFormat=Mono8
host KvSc__SetParamVal(4, MONO8T)
log3 kv_td_proc:ProcSetPixelFormat: Configure pixel format: 0x01080001
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'MONO8T'
)"},
        FormatCase{"FallBackRefusedToo",
                   sim::Model::Mono,
                   5,
                   {0x01080001},
                   "-1: 1 0/0 0x00000000 -",
                   false,
                   R"(
log2 kv_td_proc:ProcSetPixelFormat: The pixel format 'YUV422PT' is not supported, forced to 'MONO8T'
log2 kv_td_proc:ProcSetPixelFormat: The pixel format 'MONO8T' is not supported
)"},
        FormatCase{"BayerDoesNotFallBack",
                   sim::Model::Mono,
                   9,
                   {},
                   "-1: 9 0/0 0x00000000 -",
                   false,
                   R"(
log2 kv_td_proc:ProcSetPixelFormat: The pixel format 'Bayer8T' is not supported
)"},
        FormatCase{
            "UnknownIsSilent", sim::Model::Mono, 7, {}, "-1: 7 0/0 0x00000000 -", false, "\n"}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(FormatWithoutACamera, OnlyFillsTheOutputs)
{
    Rig rig;
    EXPECT_EQ(Set(rig.proc, nullptr, 5), "0: 5 16/16 0x0210001F UYVY");
    EXPECT_EQ(Set(rig.proc, nullptr, 9), "0: 9 8/8 0x01080009 BayerRG8T");
    EXPECT_EQ(Set(rig.proc, nullptr, 0), "-1: 0 0/0 0x00000000 -");
    std::uint8_t code = 3;
    EXPECT_EQ(rig.proc.ProcSetPixelFormat(nullptr, &code, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_FALSE(rig.proc.isYuv);
    EXPECT_EQ(Story(Rig::Of({"cam", "gev", "host", "log"})), R"(
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'YUV422PT'
log3 kv_td_proc:ProcSetPixelFormat: BAYER_TILE_MAPPING value: meta codec chosen 'BayerRG8T'
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'Bayer8T'
log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: 'MONO12T'
)");
}
