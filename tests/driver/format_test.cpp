#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

/** Sets a format; the journal and the outcome: result, code, storage and data bits, camera format,
 *  codec. */
static Texts Set(CCamProc& proc, CExCam* cam, std::uint8_t code)
{
    std::uint8_t storage = 0;
    std::uint8_t data = 0;
    std::uint32_t format = 0;
    const char* codec = "-";
    const int result = proc.ProcSetPixelFormat(cam, &code, &storage, &data, &format, &codec);
    Texts lines = Rig::Of({"cam", "host", "log"});
    char text[100];
    snprintf(text, sizeof text, "%i: %u %u/%u 0x%08X %s", result, code, storage, data, format,
             codec);
    lines.emplace_back(text);
    Rig::Clear();
    return lines;
}

TEST(Format, IsSetAndTold)
{
    constexpr auto kMono = sim::Model::Mono;
    constexpr auto kColor = sim::Model::Color;
    struct Case {
        const char* name;
        sim::Model model;
        std::uint8_t asked;
        std::vector<std::uint32_t> refused;
        bool isYuv; ///< of the format that is set
    };
    Texts story;
    for (const Case& c : {Case{"Mono8", kMono, 1, {}, false},
                          {"packed", kMono, 2, {}, false},
                          {"YUV", kColor, 5, {}, true},
                          {"Bayer", kColor, 9, {}, false},
                          {"Mono12 falls back", kMono, 3, {0x01100005}, false},
                          {"the fall-back is refused, too", kMono, 5, {0x01080001}, false},
                          {"Bayer does not fall back", kMono, 9, {}, false},
                          {"an unknown one is silent", kMono, 7, {}, false}}) {
        sim::CameraSetup setup = SmallCamera(c.model);
        setup.refusedFormats = c.refused;
        Rig rig(setup);
        CExCam& cam = rig.Open();
        rig.proc.isYuv = !c.isYuv;
        const Texts lines = Set(rig.proc, &cam, c.asked);
        EXPECT_EQ(rig.proc.isYuv, lines.back().starts_with("0") ? c.isYuv : !c.isYuv);
        Append(story, c.name, lines);
    }
    EXPECT_TRUE(IsStory("pixel_formats", story));
}

TEST(Format, WithoutACameraOnlyTheOutputsAreFilled)
{
    Rig rig;
    Texts story;
    for (const int code : {5, 9, 0}) {
        Append(story, std::to_string(code),
               Set(rig.proc, nullptr, static_cast<std::uint8_t>(code)));
    }
    EXPECT_TRUE(IsStory("pixel_formats_without_camera", story));
    std::uint8_t code = 3;
    EXPECT_EQ(rig.proc.ProcSetPixelFormat(nullptr, &code, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_FALSE(rig.proc.isYuv);
}
