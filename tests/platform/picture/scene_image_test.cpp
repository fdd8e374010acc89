/** Pictures of the user's as the scene: reading them, and what a camera sees of them. */
#include "sim/picture/light_image.h"
#include "sim/picture/scene.h"

#include "tests/platform/picture/picture_of.h"

#include <gmock/gmock.h>
#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>

namespace sim
{

namespace
{

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/** A folder of the test's own, gone with it. */
class Folder
{
public:
    Folder()
    {
        std::string name = ::testing::TempDir() + "scene_image_XXXXXX";
        path_ = mkdtemp(name.data()) != nullptr ? name : "";
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Path(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

struct Png {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int type = PNG_COLOR_TYPE_GRAY;
    int depth = 8;
    Bytes rows = {}; ///< as they stand in the file
    std::vector<png_color> palette = {};
};

/** Straight through the library's writer, which the code under test has no part in. */
void WritePng(const std::string& path, const Png& content)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp writer = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
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

std::vector<std::uint16_t> RowOf(const LightImage& image)
{
    return {image.Row(0), image.Row(0) + std::size_t{image.Width()} * image.Channels()};
}

std::string RefusalOf(const std::string& path)
{
    try {
        LightImage::Load(path);
        return "none";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/** A grey wedge with a coloured part, 200 x 100, as 8-bit sRGB. */
std::shared_ptr<const LightImage> Picture(const Folder& folder)
{
    Png content{200, 100, PNG_COLOR_TYPE_RGB, 8};
    for (unsigned y = 0; y < 100; ++y) {
        for (unsigned x = 0; x < 200; ++x) {
            const auto level = static_cast<std::uint8_t>(x + y / 2);
            content.rows.push_back(level);
            content.rows.push_back(y < 50 ? level : 80);
            content.rows.push_back(y < 30 ? level : static_cast<std::uint8_t>(255 - level));
        }
    }
    WritePng(folder.Path("picture.png"), content);
    return LightImage::Load(folder.Path("picture.png"));
}

} // namespace

/** sRGB's middle, 188, is half the light; 16-bit values are sRGB too. */
TEST(LightImage, TakesEveryColourTypeAndDepthAsLinearLight)
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
    const Folder folder;
    for (const Case& tested : cases) {
        const std::string path = folder.Path("tested.png");
        WritePng(path, tested.content);
        const auto image = LightImage::Load(path);
        EXPECT_EQ(image->Width(), tested.content.width) << tested.name;
        EXPECT_EQ(image->Height(), 1U) << tested.name;
        const auto row = RowOf(*image);
        ASSERT_EQ(row.size(), tested.light.size()) << tested.name;
        for (std::size_t i = 0; i < row.size(); ++i) {
            EXPECT_NEAR(row[i], tested.light[i], 16) << tested.name << ", value " << i;
        }
    }
}

TEST(LightImage, RefusesWithASentenceThatNamesFileAndReason)
{
    const Folder folder;
    EXPECT_THAT(RefusalOf(folder.Path("none.png")),
                AllOf(HasSubstr(folder.Path("none.png")), HasSubstr("No such file")));
    EXPECT_THAT(RefusalOf(folder.Path("")), HasSubstr("no file"));
    std::ofstream(folder.Path("text.png")) << "P5 12 12 255 this is another kind of picture";
    EXPECT_THAT(RefusalOf(folder.Path("text.png")), HasSubstr("no PNG file"));
    std::ofstream(folder.Path("empty.png"));
    EXPECT_THAT(RefusalOf(folder.Path("empty.png")), HasSubstr("no PNG file"));

    const std::string large = folder.Path("large.png");
    WritePng(large, {70000, 1, PNG_COLOR_TYPE_GRAY, 1, Bytes(8750)});
    EXPECT_THAT(RefusalOf(large), HasSubstr("70000 x 1 pixels"));
    WritePng(large, {8192, 4097, PNG_COLOR_TYPE_GRAY, 1, Bytes(1024 * 4097)});
    EXPECT_THAT(RefusalOf(large), HasSubstr("8192 x 4097 pixels"));
}

/** Every length and many a wrong byte: an image or a refusal, never anything else. */
TEST(LightImage, DamagedFilesAreRefused)
{
    const Folder folder;
    const std::string path = folder.Path("whole.png");
    Png content{40, 30, PNG_COLOR_TYPE_RGB, 8};
    for (unsigned i = 0; i < 40 * 30 * 3; ++i) {
        content.rows.push_back(static_cast<std::uint8_t>(i * i >> 3));
    }
    WritePng(path, content);
    std::ostringstream read;
    read << std::ifstream(path, std::ios::binary).rdbuf();
    const std::string whole = read.str();
    const std::string damaged = folder.Path("damaged.png");
    const auto refusal = [&](const std::string& bytes) {
        std::ofstream(damaged, std::ios::binary) << bytes;
        return RefusalOf(damaged);
    };
    ASSERT_EQ(refusal(whole), "none");
    const std::size_t pixelsEnd = whole.size() - 12 - 4; // the end's chunk, a check sum
    for (std::size_t length = 0; length < pixelsEnd; length += 1 + length / 5) {
        EXPECT_THAT(refusal(whole.substr(0, length)), HasSubstr("damaged.png can't be used"))
            << length;
    }
    for (std::size_t at = 0; at < pixelsEnd; at += 1 + at / 10) {
        std::string bytes = whole;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
        EXPECT_THAT(refusal(bytes), HasSubstr("damaged.png can't be used")) << at;
    }
}

TEST(ImageScene, FillsTheSensorAndIsCutAtBothEndsOfTheLongerSide)
{
    const Folder folder;
    // Black, half the light twice, white.
    WritePng(folder.Path("p.png"), {4, 1, PNG_COLOR_TYPE_GRAY, 8, {0, 188, 188, 255}});
    const auto wide = LightImage::Load(folder.Path("p.png"));
    PictureJob job = JobOf(kMono8, 2, 1); // the two in the middle
    EXPECT_THAT(PictureOf(job, Scene(wide)), ElementsAre(128, 128));
    job = JobOf(kMono8, 4, 1); // all of them
    EXPECT_THAT(PictureOf(job, Scene(wide)), ElementsAre(0, 128, 128, 255));
    job = JobOf(kMono8, 8, 2); // enlarged: a quarter of the way from pixel to pixel
    const Bytes enlarged = PictureOf(job, Scene(wide));
    EXPECT_THAT(Bytes(enlarged.begin(), enlarged.begin() + 8),
                ElementsAre(0, 32, 96, 128, 128, 160, 224, 255));
    EXPECT_TRUE(std::equal(enlarged.begin(), enlarged.begin() + 8, enlarged.begin() + 8));

    WritePng(folder.Path("p.png"), {1, 3, PNG_COLOR_TYPE_GRAY, 8, {0, 188, 255}});
    const auto tall = LightImage::Load(folder.Path("p.png"));
    job = JobOf(kMono8, 3, 3); // the middle third, each row a third of a pixel further
    const Bytes cut = PictureOf(job, Scene(tall));
    EXPECT_THAT(cut, ElementsAre(85, 85, 85, 128, 128, 128, 171, 171, 171));
}

TEST(ImageScene, ReducedFineDetailBecomesItsMean)
{
    const Folder folder;
    Png fine{600, 600, PNG_COLOR_TYPE_GRAY, 8};
    for (unsigned i = 0; i < 600 * 600; ++i) {
        fine.rows.push_back((i % 600 + i / 600) % 2 == 0 ? 0 : 255);
    }
    WritePng(folder.Path("fine.png"), fine);
    const auto image = LightImage::Load(folder.Path("fine.png"));
    for (const std::uint8_t pixel : PictureOf(JobOf(kMono8, 130, 130), Scene(image))) {
        ASSERT_NEAR(pixel, 127, 6);
    }
}

class ImageInFormat : public ::testing::TestWithParam<std::uint32_t>
{
};
INSTANTIATE_TEST_SUITE_P(Scene, ImageInFormat, ::testing::ValuesIn(kFormats));

TEST_P(ImageInFormat, StandsStillAndLeavesNothingBehind)
{
    const Folder folder;
    const auto image = Picture(folder);
    PictureJob job = JobOf(GetParam(), 320, 240);
    const Bytes first = PictureOf(job, Scene(image));
    ++job.frameNumber;
    EXPECT_EQ(PictureOf(job, Scene(image)), first);
    EXPECT_EQ(PictureOf(job, Scene(image, 8192)), first); // drawn in parts
    ExpectNothingLeftBehind(GetParam(), [&] { return Scene(image); });
}

TEST_P(ImageInFormat, MeteringIsTheMeanOfThePicture)
{
    const Folder folder;
    const auto image = Picture(folder);
    Scene scene(image);
    PictureJob whole = JobOf(GetParam());
    whole.balance = {1.4, 1, 0.8};
    for (const bool part : {false, true}) {
        PictureJob job = part ? Region(whole, {300, 201, 222, 91}) : whole;
        job.reverseX = job.reverseY = part;
        EXPECT_NEAR(scene.Measure(job).mean, MeanOf(PictureOf(job, Scene(image)), GetParam()),
                    0.01 * 255)
            << part;
    }
}

} // namespace sim
