#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct FormatCase {
    const char* name;
    sim::Model model;
    std::uint8_t asked;
    std::vector<std::uint32_t> refused;
    int result;
    std::uint8_t used;
    int storageBits;
    int dataBits;
    std::uint32_t gevFormat;
    const char* codec;
    bool isYuv;
    std::vector<std::string> journal; ///< camera writes, host calls and log lines
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
    std::uint8_t code = c.asked;
    std::uint8_t storage = 77;
    std::uint8_t data = 77;
    std::uint32_t format = 77;
    const char* codec = "untouched";
    EXPECT_EQ(rig.proc.ProcSetPixelFormat(&cam, &code, &storage, &data, &format, &codec), c.result);
    EXPECT_EQ(code, c.used);
    EXPECT_EQ(storage, c.storageBits);
    EXPECT_EQ(data, c.dataBits);
    EXPECT_EQ(format, c.gevFormat);
    EXPECT_STREQ(codec, c.codec);
    EXPECT_EQ(rig.proc.isYuv, c.result == 0 ? c.isYuv : !c.isYuv);
    EXPECT_THAT(Rig::Of({"cam", "host", "log"}), ElementsAreArray(c.journal));
}

static std::string Line(int level, const char* text)
{
    return "log" + std::to_string(level) + " kv_td_proc:ProcSetPixelFormat: " + text;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Format,
    testing::Values(
        FormatCase{"Mono8",
                   sim::Model::Mono,
                   1,
                   {},
                   0,
                   1,
                   8,
                   8,
                   0x01080001,
                   "MONO8T",
                   false,
                   {"cam PixelFormat=Mono8", "host KvSc__SetParamVal(4, MONO8T)",
                    Line(3, "Configure pixel format: 0x01080001"),
                    Line(3, "Use pixel format: 'MONO8T'")}},
        FormatCase{"Mono12Packed",
                   sim::Model::Mono,
                   2,
                   {},
                   0,
                   2,
                   12,
                   12,
                   0x010C0006,
                   "MONO12PT",
                   false,
                   {"cam PixelFormat=Mono12Packed", "host KvSc__SetParamVal(4, MONO12PT)",
                    Line(3, "Configure pixel format: 0x010C0006"),
                    Line(3, "Use pixel format: 'MONO12PT'")}},
        FormatCase{"Yuv",
                   sim::Model::Color,
                   5,
                   {},
                   0,
                   5,
                   16,
                   16,
                   0x0210001F,
                   "UYVY",
                   true,
                   {"cam PixelFormat=YUV422Packed", "host KvSc__SetParamVal(4, UYVY)",
                    Line(3, "Configure pixel format: 0x0210001F"),
                    Line(3, "Use pixel format: 'YUV422PT'")}},
        FormatCase{"Bayer",
                   sim::Model::Color,
                   9,
                   {},
                   0,
                   9,
                   8,
                   8,
                   0x01080009,
                   "BayerRG8T",
                   false,
                   {"cam PixelFormat=BayerRG8",
                    Line(3, "BAYER_TILE_MAPPING value: meta codec chosen 'BayerRG8T'"),
                    "host KvSc__SetParamVal(4, BayerRG8T)",
                    Line(3, "Configure pixel format: 0x01080009"),
                    Line(3, "Use pixel format: 'Bayer8T'")}},
        FormatCase{"Mono12FallsBack",
                   sim::Model::Mono,
                   3,
                   {0x01100005},
                   0,
                   1,
                   8,
                   8,
                   0x01080001,
                   "MONO8T",
                   false,
                   {Line(2, "The pixel format 'MONO12T' is not supported, forced to 'MONO8T'"),
                    "cam PixelFormat=Mono8", "host KvSc__SetParamVal(4, MONO8T)",
                    Line(3, "Configure pixel format: 0x01080001"),
                    Line(3, "Use pixel format: 'MONO8T'")}},
        FormatCase{"FallBackRefusedToo",
                   sim::Model::Mono,
                   5,
                   {0x01080001},
                   -1,
                   1,
                   77,
                   77,
                   77,
                   "untouched",
                   false,
                   {Line(2, "The pixel format 'YUV422PT' is not supported, forced to 'MONO8T'"),
                    Line(2, "The pixel format 'MONO8T' is not supported")}},
        FormatCase{"BayerDoesNotFallBack",
                   sim::Model::Mono,
                   9,
                   {},
                   -1,
                   9,
                   77,
                   77,
                   77,
                   "untouched",
                   false,
                   {Line(2, "The pixel format 'Bayer8T' is not supported")}},
        FormatCase{
            "UnknownIsSilent", sim::Model::Mono, 7, {}, -1, 7, 77, 77, 77, "untouched", false, {}}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(FormatWithoutACamera, OnlyFillsTheOutputs)
{
    Rig rig;
    rig.proc.isYuv = false;
    std::uint8_t code = 5;
    std::uint8_t storage = 0;
    std::uint8_t data = 0;
    std::uint32_t format = 0;
    const char* codec = nullptr;
    EXPECT_EQ(rig.proc.ProcSetPixelFormat(nullptr, &code, &storage, &data, &format, &codec), 0);
    EXPECT_EQ(storage, 16);
    EXPECT_EQ(data, 16);
    EXPECT_EQ(format, 0x0210001FU);
    EXPECT_STREQ(codec, "UYVY");
    EXPECT_FALSE(rig.proc.isYuv);
    EXPECT_EQ(Rig::Of({"cam", "gev", "host", "log"}),
              Texts{Line(3, "Use pixel format: 'YUV422PT'")});

    Rig::Clear();
    code = 9;
    EXPECT_EQ(rig.proc.ProcSetPixelFormat(nullptr, &code, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Rig::Of({"cam", "gev", "host", "log"}),
              (Texts{Line(3, "BAYER_TILE_MAPPING value: meta codec chosen 'BayerRG8T'"),
                     Line(3, "Use pixel format: 'Bayer8T'")}));
    Rig::Clear();
    code = 0;
    EXPECT_EQ(rig.proc.ProcSetPixelFormat(nullptr, &code, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
}
