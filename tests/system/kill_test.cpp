/** kvgrab killed at any moment: what is on the disk is whole, and the next start cleans up. How
 *  often stands in the environment variable KVGRAB_KILLS. */
#include "tests/system/program.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <png.h>
#include <random>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr int kWidth = 320;
constexpr int kHeight = 240;

/** Small pictures, quickly, so that a kill nearly always hits one that is being written. */
constexpr const char* kCamera = R"(
[[camera]]
model = "mono"
serial = "T1"
sensor_width = 320
sensor_height = 240
values = { AcquisitionFrameRate = 400, ExposureTime = 500 }
)";

/** Decodes all of it; false: it is no whole picture. */
bool IsWholePicture(const fs::path& path)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        return false;
    }
    image.format = PNG_FORMAT_GRAY;
    const bool fits = image.width == kWidth && image.height == kHeight;
    std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
    return png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0 &&
           image.warning_or_error == 0 && fits;
}

int Kills()
{
    const char* const text = std::getenv("KVGRAB_KILLS");
    return text == nullptr ? 12 : std::atoi(text);
}

class Killed : public testing::Test
{
protected:
    Killed() { folder_.Write("net.toml", kCamera); }

    std::vector<std::string> Command(const std::vector<std::string>& more) const
    {
        std::vector<std::string> words = {KVGRAB,     "--memory",    memory_,      "--simulation",
                                          "net.toml", "--export",    "png",        "--directory",
                                          "frames",   "--overwrite", "--no-status"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    void ExpectOnlyWholePictures()
    {
        for (const auto& entry : fs::directory_iterator(folder_.Path() / "frames")) {
            if (entry.path().extension() == ".png") {
                ++pictures_;
                EXPECT_TRUE(IsWholePicture(entry.path())) << entry.path();
            }
        }
    }

    TempFolder folder_;
    std::string memory_ = "/kvgrab-kill-" + std::to_string(getpid());
    int pictures_ = 0;
};

} // namespace

TEST_F(Killed, LeavesWholePicturesAndNothingThatTheNextStartDoesNotCleanUp)
{
    std::mt19937 random(42);
    for (int kill = 0; kill < Kills(); ++kill) {
        Program program(Command({}), folder_.Path());
        // From the very start to the middle of writing.
        const int ms = static_cast<int>(random() % 500);
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        program.Signal(SIGKILL);
        ASSERT_EQ(program.Wait(), 1000 + SIGKILL) << program.Output();
        if (fs::exists(folder_.Path() / "frames")) {
            ExpectOnlyWholePictures();
        }
    }
    EXPECT_GT(pictures_, 0) << "the kills came too early to hit anything";

    Program last(Command({"--frames", "5", "--every-frame"}), folder_.Path());
    EXPECT_EQ(last.Wait(), 0) << last.Output();
    for (const auto& entry : fs::directory_iterator(folder_.Path() / "frames")) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name.ends_with(".png") || name == "index.csv") << name;
    }
    EXPECT_FALSE(fs::exists("/dev/shm" + memory_));
}
