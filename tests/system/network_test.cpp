/** kvgrab with cameras on the network, as its users run it. */
#include "tests/net/loopback_camera.h"
#include "tests/system/program.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace
{

class KvgrabOnTheWire : public testing::Test
{
protected:
    ~KvgrabOnTheWire() override { fs::remove("/dev/shm" + memory_); }

    void SetUp() override { UseNetworkCameras(); }

    LoopbackCamera& SwitchOn(const std::string& serial, const std::string& address,
                             const std::vector<std::string>& options = {})
    {
        cameras_.push_back(std::make_unique<LoopbackCamera>(serial, address, options));
        return *cameras_.back();
    }
    std::vector<std::string> Command(const std::vector<std::string>& more,
                                     const std::string& program = KVGRAB) const
    {
        std::vector<std::string> command = {program, "--memory", memory_};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
    std::string Configured(const std::string& text) const { return folder_.Write("kv.toml", text); }
    std::string OutputOf(const std::vector<std::string>& command, int status = 0) const
    {
        Program program(command, folder_.Path());
        EXPECT_EQ(program.Wait(), status) << program.Output();
        return program.Output();
    }

    TempFolder folder_;
    std::string memory_ = "/kvgrab-test-" + std::to_string(getpid());

private:
    std::vector<std::unique_ptr<LoopbackCamera>> cameras_;
};

TEST_F(KvgrabOnTheWire, ListsBothKindsAndPrintsFeatures)
{
    SwitchOn("N1", "127.0.0.1");
    SwitchOn("N2", "127.0.0.2", {"--maker", "Acme"});
    const std::string network = OutputOf(Command({"list", "--cameras", "net"}));
    EXPECT_THAT(network,
                AllOf(ContainsRegex("Loopback +N1 .*net +127.0.0.1 +takes it\n"),
                      ContainsRegex("Loopback +N2 .*net +127.0.0.2 "), Not(HasSubstr("sim"))));
    EXPECT_THAT(network, Not(ContainsRegex("127.0.0.2 +takes it\n"))) << "not the maker's";
    EXPECT_THAT(OutputOf(Command({"list", "--cameras", "all"})),
                AllOf(ContainsRegex(" +N1 .*net "), ContainsRegex("S0000001 .*sim ")));

    const std::string features =
        OutputOf(Command({"features", "--cameras", "net", "--serial", "N1"}));
    EXPECT_THAT(features, ContainsRegex("\nWidth +integer +RW +1920 +(px|-) +16 .. 1920 step 4\n"));
    EXPECT_THAT(features, ContainsRegex("\nExposureTime +float +RW +10000 +us +10 .. 2000000\n"));
    EXPECT_THAT(features, ContainsRegex("\nWidthMax +integer +RO +1920 "));
    EXPECT_THAT(features, ContainsRegex("\nPixelFormat +enumeration +RW +Mono8 .*BayerRG8"));
    EXPECT_THAT(features, ContainsRegex("\nReverseX +boolean +RW +false "));
}

TEST_F(KvgrabOnTheWire, GrabsFromTheCameraOfItsConfiguration)
{
    SwitchOn("N1", "127.0.0.1");
    SwitchOn("N2", "127.0.0.2", {"--model", "Second"});
    const std::string small =
        "[cameras]\nbackends = \"net\"\n[region]\noffset_x = 0\noffset_y = 0\n"
        "width = 320\nheight = 200\n";
    const std::string bySerial =
        OutputOf(Command({"--config", Configured(small + "[camera]\nserial = \"N2\"\n"), "--frames",
                          "20", "--export", "png", "--every-frame", "--directory", "out"}));
    EXPECT_THAT(bySerial, AllOf(HasSubstr("Using device Model:Second Serial:N2"),
                                HasSubstr("grabbed 20, exported 19, skipped 0"),
                                ContainsRegex("packets: [0-9]+ received, 0 resent")));
    EXPECT_EQ(std::count_if(fs::directory_iterator(folder_ / "out"), fs::directory_iterator(),
                            [](const auto& file) { return file.path().extension() == ".png"; }),
              19);
    EXPECT_THAT(OutputOf(Command({"--config", Configured(small + "[camera]\nmodel = \"Loop\"\n"),
                                  "--frames", "5"})),
                HasSubstr("Using device Model:Loopback Serial:N1"));
}

TEST_F(KvgrabOnTheWire, GoesOnWithACameraThatComesBack)
{
    LoopbackCamera& camera = SwitchOn("N1", "127.0.0.1");
    Program program(
        Command({"--config",
                 Configured("[cameras]\nbackends = \"net\"\n[camera]\nserial = \"N1\"\n"),
                 "--retry-interval", "0.5"}),
        folder_.Path());
    ASSERT_TRUE(program.WaitFor("the first frame came after")) << program.Output();
    camera.Kill();
    ASSERT_TRUE(program.WaitFor("Loop completed (exitCode = -10)")) << program.Output();
    SwitchOn("N1", "127.0.0.1");
    ASSERT_TRUE(program.WaitFor("there was none for")) << program.Output();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0) << program.Output();
}

TEST_F(KvgrabOnTheWire, SaysSoWhenItsNetworkLibraryCannotBeLoaded)
{
    const fs::path built = fs::path(KVGRAB).parent_path().parent_path();
    fs::create_directories(folder_ / "bin");
    fs::copy(KVGRAB, folder_ / "bin");
    for (const char* library : {"libdriver-dalsa.so.0", "libgevplat.so.0"}) {
        fs::create_directories(folder_ / "lib");
        fs::copy(built / "lib" / library, folder_ / "lib");
    }
    folder_.Write("lib/libgevplat-net.so.0", "no library");
    const std::string there = folder_ / "bin/kvgrab";
    EXPECT_THAT(OutputOf(Command({"list", "--cameras", "net"}, there), 5),
                HasSubstr("network cameras can't be used, their library doesn't load: "));
    EXPECT_THAT(OutputOf(Command({"list"}, there)), HasSubstr("S0000001"));
}

} // namespace
