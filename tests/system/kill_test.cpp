/** Kills kvgrab at random moments: the files on the disk are whole, and the next start cleans up.
 *  The environment variable KVGRAB_KILLS gives the number of kills. */
#include "tests/system/png_file.h"
#include "tests/system/program.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

/** Small pictures, quickly, so that a kill nearly always hits one that is being written. */
constexpr const char* kCamera =
    "[[camera]]\nmodel = \"mono\"\nserial = \"T1\"\nsensor_width = 320\nsensor_height = 240\n"
    "values = { AcquisitionFrameRate = 400, ExposureTime = 500 }\n";

/** Pictures that may be written while an earlier one is not yet in the index: 8 wait, 2 are
 *  written, unless configured otherwise. */
constexpr std::size_t kSlots = 10;

/** Names of the pictures, all of which are whole. */
std::set<std::string> Pictures(const fs::path& frames)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(frames)) {
        if (entry.path().extension() == ".png") {
            const auto picture = ReadPng(entry.path());
            EXPECT_TRUE(picture && picture->width == 320 && picture->height == 240) << entry.path();
            names.insert(entry.path().filename());
        }
    }
    return names;
}

/** Names in the rows of the index; the last row may be cut off by the kill. */
std::set<std::string> Rows(const fs::path& frames)
{
    std::set<std::string> names;
    std::istringstream lines(ReadFile(frames / "index.csv"));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && !lines.eof()) {
        const std::size_t begin = line.find(',') + 1;
        names.insert(line.substr(begin, line.find(',', begin) - begin));
    }
    return names;
}

} // namespace

TEST(Killed, LeavesWholePicturesAndNothingThatTheNextStartDoesNotCleanUp)
{
    const TempFolder folder;
    folder.Write("net.toml", kCamera);
    const fs::path frames = folder / "frames";
    const std::string memory = "/kvgrab-kill-" + std::to_string(getpid());
    std::vector<std::string> command = {KVGRAB,     "--memory",   memory, "--simulation",
                                        "net.toml", "--export",   "png",  "--directory",
                                        "frames",   "--overwrite"};
    const char* const text = std::getenv("KVGRAB_KILLS");
    const int kills = text == nullptr ? 12 : std::atoi(text);
    std::mt19937 random(42);
    for (int kill = 0; kill < kills; ++kill) {
        fs::create_directories(frames);
        for (const std::string& name : Pictures(frames)) {
            fs::remove(frames / name); // unfinished files stay, for kvgrab to remove
        }
        fs::remove(frames / "index.csv");
        Program program(command, folder.Path());
        const bool early = kill % 4 == 0; // perhaps before there is anything
        ASSERT_TRUE(early || Eventually([&] { return !Rows(frames).empty(); })) << program.Output();
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 100)); // any moment
        program.Signal(SIGKILL);
        ASSERT_EQ(program.Wait(), 1000 + SIGKILL) << program.Output();
        const auto rows = Rows(frames);
        const auto pictures = Pictures(frames);
        EXPECT_TRUE(std::includes(pictures.begin(), pictures.end(), rows.begin(), rows.end()));
        EXPECT_LE(pictures.size(), rows.size() + kSlots) << "rows that the kill kept from coming";
    }
    command.insert(command.end(), {"--frames", "5", "--every-frame"});
    Program last(command, folder.Path());
    EXPECT_EQ(last.Wait(), 0) << last.Output();
    EXPECT_EQ(Rows(frames).size(), 4U);
    for (const auto& entry : fs::directory_iterator(frames)) {
        EXPECT_NE(entry.path().extension(), ".kvpart") << entry.path();
    }
    EXPECT_FALSE(fs::exists("/dev/shm" + memory) || fs::exists("/dev/shm" + memory + ".consumers"));
}
