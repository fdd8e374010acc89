/** Pictures from the user as the scene: reading them, and what a camera sees of them. */
#include "sim/picture/light_image.h"
#include "sim/picture/scene.h"

#include "tests/platform/picture/picture_of.h"

#include <gmock/gmock.h>
#include <png.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace sim
{

namespace
{

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::HasSubstr;
using ::testing::Lt;

struct Png {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int type = PNG_COLOR_TYPE_GRAY;
    int depth = 8;
    Bytes rows = {}; ///< as they stand in the file
    std::vector<png_color> palette = {};
};

/** A grey wedge with a coloured part, 200 x 100, as 8-bit sRGB. */
Png Wedge()
{
    Png content{200, 100, PNG_COLOR_TYPE_RGB, 8};
    for (unsigned i = 0; i < 200 * 100; ++i) {
        const unsigned y = i / 200;
        const auto level = static_cast<std::uint8_t>(i % 200 + y / 2);
        const auto other = static_cast<std::uint8_t>(255 - level);
        content.rows.insert(content.rows.end(),
                            {level, y < 50 ? level : std::uint8_t{80}, y < 30 ? level : other});
    }
    return content;
}

/** With a file of the test's own. */
class ImageFile : public ::testing::TestWithParam<std::uint32_t>
{
protected:
    ImageFile() { close(mkstemp(path_.data())); }
    ~ImageFile() override { std::filesystem::remove(path_); }

    /** Straight through the library's writer, which the code under test has no part in. */
    void Write(const Png& content)
    {
        std::FILE* file = std::fopen(path_.c_str(), "wb");
        png_structp writer =
            png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(writer);
        png_init_io(writer, file);
        png_set_IHDR(writer, info, content.width, content.height, content.depth, content.type,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (!content.palette.empty()) {
            png_set_PLTE(writer, info, content.palette.data(),
                         static_cast<int>(content.palette.size()));
        }
        png_write_info(writer, info);
        const std::size_t stride = content.rows.size() / content.height;
        for (std::size_t y = 0; y < content.height; ++y) {
            png_write_row(writer, content.rows.data() + y * stride);
        }
        png_write_end(writer, info);
        png_destroy_write_struct(&writer, &info);
        std::fclose(file);
    }
    std::shared_ptr<const LightImage> Loaded(const Png& content)
    {
        Write(content);
        return LightImage::Load(path_);
    }
    /** Why a file of these bytes is refused, behind its name. */
    std::string RefusalOf(const std::string& bytes)
    {
        std::ofstream(path_, std::ios::binary) << bytes;
        return RefusalOfFile(path_);
    }
    static std::string RefusalOfFile(const std::string& path)
    {
        try {
            LightImage::Load(path);
            return "none";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr("The scene " + path + " can't be used: "));
            return error.what();
        }
    }

    std::string path_ = ::testing::TempDir() + "scene_image_XXXXXX";
};
INSTANTIATE_TEST_SUITE_P(Scene, ImageFile, ::testing::ValuesIn(kFormats));
using LightImageFile = ImageFile;

} // namespace

/** sRGB's middle, 188, is half the light; 16-bit values are sRGB too. */
TEST_F(LightImageFile, TakesEveryColourTypeAndDepthAsLinearLight)
{
    struct Case {
        const char* name;
        Png content;
        std::vector<unsigned> light; ///< expected, to 1/4096 of white
    };
    const std::vector<png_color> palette{{0, 188, 255}, {255, 0, 0}};
    const Case cases[] = {
        {"grey 8", {3, 1, PNG_COLOR_TYPE_GRAY, 8, {0, 188, 255}}, {0, 32957, 65535}},
        {"grey 1", {3, 1, PNG_COLOR_TYPE_GRAY, 1, {0b01000000}}, {0, 65535, 0}},
        {"grey 16", {2, 1, PNG_COLOR_TYPE_GRAY, 16, {188, 188, 255, 255}}, {32957, 65535}},
        {"colour 8", {1, 1, PNG_COLOR_TYPE_RGB, 8, {255, 188, 10}}, {65535, 32957, 199}},
        {"colour 16",
         {1, 1, PNG_COLOR_TYPE_RGB, 16, {188, 188, 0, 0, 255, 255}},
         {32957, 0, 65535}},
        {"palette",
         {2, 1, PNG_COLOR_TYPE_PALETTE, 8, {1, 0}, palette},
         {65535, 0, 0, 0, 32957, 65535}},
        {"grey, alpha", {2, 1, PNG_COLOR_TYPE_GRAY_ALPHA, 8, {188, 255, 188, 0}}, {32957, 0}},
        {"colour, alpha",
         {1, 1, PNG_COLOR_TYPE_RGB_ALPHA, 8, {255, 188, 0, 128}},
         {32896, 16543, 0}},
    };
    for (const Case& tested : cases) {
        const auto image = Loaded(tested.content);
        EXPECT_EQ(image->Width(), tested.content.width) << tested.name;
        EXPECT_EQ(image->Height(), 1U) << tested.name;
        ASSERT_EQ(image->Width() * image->Channels(), tested.light.size()) << tested.name;
        for (std::size_t i = 0; i < tested.light.size(); ++i) {
            EXPECT_NEAR(image->Row(0)[i], tested.light[i], 16) << tested.name << ", value " << i;
        }
    }
}

TEST_F(LightImageFile, IsRefusedWithTheReason)
{
    EXPECT_THAT(RefusalOfFile(path_ + "none"), HasSubstr("No such file"));
    EXPECT_THAT(RefusalOfFile(::testing::TempDir()), HasSubstr("no file"));
    EXPECT_THAT(RefusalOf("P5 12 12 255 another kind of picture"), HasSubstr("no PNG file"));
    EXPECT_THAT(RefusalOf(""), HasSubstr("no PNG file"));
    Write({70000, 1, PNG_COLOR_TYPE_GRAY, 1, Bytes(8750)});
    EXPECT_THAT(RefusalOfFile(path_), HasSubstr("70000 x 1 pixels"));
    Write({8192, 4097, PNG_COLOR_TYPE_GRAY, 1, Bytes(1024 * 4097)});
    EXPECT_THAT(RefusalOfFile(path_), HasSubstr("8192 x 4097 pixels"));
}

/** Many a length and many a wrong byte: a refusal, never anything else. */
TEST_F(LightImageFile, IsRefusedWhenItIsDamaged)
{
    Write(Wedge());
    std::ostringstream read;
    read << std::ifstream(path_, std::ios::binary).rdbuf();
    const std::string whole = read.str();
    ASSERT_EQ(RefusalOf(whole), "none");
    const std::size_t pixelsEnd = whole.size() - 12 - 4; // the end's chunk, a check sum
    for (std::size_t at = 0; at < pixelsEnd; at += 1 + at / 8) {
        EXPECT_NE(RefusalOf(whole.substr(0, at)), "none") << at;
        std::string bytes = whole;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
        EXPECT_NE(RefusalOf(bytes), "none") << at;
    }
}

TEST_F(ImageFile, FillsTheSensorAndIsCutAtBothEndsOfTheLongerSide)
{
    // Black, half the light twice, white.
    const auto wide = Loaded({4, 1, PNG_COLOR_TYPE_GRAY, 8, {0, 188, 188, 255}});
    const auto shown = [](const auto& image, std::uint32_t width, std::uint32_t height) {
        return PictureOf(JobOf(kMono8, width, height), Scene(image));
    };
    EXPECT_THAT(shown(wide, 2, 1), ElementsAre(128, 128)); // the two in the middle
    EXPECT_THAT(shown(wide, 4, 1), ElementsAre(0, 128, 128, 255));
    // Enlarged: a quarter of the way from pixel to pixel.
    EXPECT_THAT(shown(wide, 8, 2), ElementsAre(0, 32, 96, 128, 128, 160, 224, 255, //
                                               0, 32, 96, 128, 128, 160, 224, 255));
    // The middle third, each row a third of a pixel further.
    const auto tall = Loaded({1, 3, PNG_COLOR_TYPE_GRAY, 8, {0, 188, 255}});
    EXPECT_THAT(shown(tall, 3, 3), ElementsAre(85, 85, 85, 128, 128, 128, 171, 171, 171));

    Png fine{600, 600, PNG_COLOR_TYPE_GRAY, 8}; // reduced, fine detail becomes its mean
    for (unsigned i = 0; i < 600 * 600; ++i) {
        fine.rows.push_back((i % 600 + i / 600) % 2 == 0 ? 0 : 255);
    }
    EXPECT_THAT(shown(Loaded(fine), 130, 130), Each(AllOf(Gt(120), Lt(134))));
}

TEST_P(ImageFile, StandsStillAndLeavesNothingBehind)
{
    const auto image = Loaded(Wedge());
    PictureJob job = JobOf(GetParam(), 320, 240);
    const Bytes first = PictureOf(job, Scene(image));
    ++job.frameNumber;
    EXPECT_EQ(PictureOf(job, Scene(image)), first);
    EXPECT_EQ(PictureOf(job, Scene(image, 8192)), first); // drawn in parts
    EXPECT_NEAR(Scene(image).Measure(job).mean, MeanOf(first, GetParam()), 0.01 * 255);
    ExpectNothingLeftBehind(GetParam(), [&] { return Scene(image); });
}

} // namespace sim
