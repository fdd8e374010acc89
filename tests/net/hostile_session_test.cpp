/** Whatever a camera says of itself, and whatever strangers send, ends in an error or in nothing.
 */
#include "gev_host.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <random>
#include <sstream>

namespace
{

using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

class HostileSession : public Session
{
protected:
    void SetUp() override { UseNetworkCameras(); }

    TempFolder folder_;
};

TEST_F(HostileSession, AnImpossibleValueEndsInAnErrorThatNamesItsFeature)
{
    const struct {
        const char* feature;
        const char* value; ///< in place of the content of its register
        const char* error;
        int payload = kGevOk; ///< what asking for the payload comes to
        const char* before =
            "<Integer Name=\"{}\"><Value>{}</Value></Integer><IntReg Name=\"Own\">";
    } kRows[] = {
        {"Width", "0", "Width: the camera gives 0, where 1 to 1048576 are possible"},
        {"Width", "-4", "Width: the camera gives -4, where"},
        {"Width", "4294967360", "Width: the camera gives 4294967360, where"},
        {"Width", "1048576", "PayloadSize: the camera gives 2073600 bytes, but 1048576 x 1080"},
        {"Height", "0", "Height: the camera gives 0, where"},
        {"Height", "9223372036854775807", "Height: the camera gives 9223372036854775807, where"},
        {"PixelFormat", "0", "PixelFormat: the camera gives 0x0, which is no format"},
        {"PixelFormat", "1", "PixelFormat: the camera gives 0x1, which is no format"},
        {"PixelFormat", "-1", "PixelFormat: the camera gives -0x1, which is no format"},
        {"PayloadSize", "0", "PayloadSize: the camera gives 0 bytes, but 1920 x 1080"},
        {"PayloadSize", "2073599", "PayloadSize: the camera gives 2073599 bytes, but"},
        {"PayloadSize", "1073741825", "PayloadSize: the camera gives 1073741825 bytes, where",
         kGevBadValue},
        {"PayloadSize", "-1", "PayloadSize: the camera gives", kGevBadValue},
        {"Height", "0x100000000",
         "Height can't be read: [Height] [Height_Reg] no camera has 8 bytes at", kGevOk,
         "<IntReg Name=\"{}\"><Address>{}</Address>"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.feature) + " " + row.value);
        std::string text = row.before;
        for (const std::string& part :
             {std::string(row.feature) + "_Reg", std::string(row.value)}) {
            text.replace(text.find("{}"), 2, part);
        }
        const std::string features =
            DescriptionWith("<IntReg Name=\"" + std::string(row.feature) + "_Reg\">", text);
        const LoopbackCamera camera("V1", "127.0.0.1",
                                    {"--description", folder_.Write("V1.xml", features)});
        if (device.serial[0] == '\0') {
            ASSERT_TRUE(FindDevice("V1"));
        }
        const PlatformLog log;
        ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
        std::uint64_t payload = 0;
        EXPECT_EQ(GevGetPayloadParameters(handle, &payload, nullptr), row.payload);
        std::vector<std::uint8_t> place(std::max<std::uint64_t>(payload, 4096));
        void* one[] = {place.data()};
        ASSERT_EQ(GevInitializeTransfer(handle, 1, place.size(), 1, one), kGevOk);
        EXPECT_NE(GevStartTransfer(handle, kForEver), kGevOk);
        EXPECT_EQ(Next(0), nullptr);
        EXPECT_THAT(log.Lines(), SizeIs(row.payload == kGevOk ? 1 : 2));
        EXPECT_THAT(log.Lines(), testing::Each(HasSubstr(row.error)));
        EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
    }
}

TEST_F(HostileSession, APacketSizeOfZeroEndsInAnErrorThatNamesIt)
{
    const LoopbackCamera camera("Z1", "127.0.0.1", {"--fault", "lie value=0 address=0xd04"});
    Open("Z1");
    const PlatformLog log;
    EXPECT_EQ(Initialize(2), kGevError);
    EXPECT_THAT(log.Lines(),
                Contains(HasSubstr("GevSCPSPacketSize: the camera gives 0 bytes, where 49 to")));
}

/** The UDP ports that this process has open. */
std::vector<std::uint16_t> OwnPorts()
{
    std::vector<std::string> own;
    for (const auto& handle : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        own.push_back(std::filesystem::read_symlink(handle, gone).string());
    }
    std::vector<std::uint16_t> ports;
    std::ifstream table("/proc/net/udp");
    std::string line;
    std::getline(table, line); // the heading
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string local;
        std::string inode;
        fields >> inode >> local;
        for (int i = 0; i < 8; ++i) {
            fields >> inode;
        }
        if (std::count(own.begin(), own.end(), "socket:[" + inode + "]") != 0) {
            ports.push_back(static_cast<std::uint16_t>(
                std::stoul(local.substr(local.find(':') + 1), nullptr, 16)));
        }
    }
    return ports;
}

/** Noise of any size, and what begins as an answer, a command or a packet of a frame. */
std::vector<std::uint8_t> AnyDatagram(std::mt19937& random, std::uint32_t frame)
{
    const auto any = [&](std::uint32_t below) {
        return static_cast<std::uint32_t>(random() % below);
    };
    constexpr std::size_t kSizes[] = {0,    1,    7,    8,    12,   44,    256,
                                      1472, 1472, 1472, 1472, 9000, 65'000};
    std::vector<std::uint8_t> datagram(kSizes[any(std::size(kSizes))]);
    std::generate(datagram.begin(), datagram.end(),
                  [&] { return static_cast<std::uint8_t>(any(256)); });
    constexpr std::uint8_t kCommands[] = {0x02, 0x03, 0x40, 0x81, 0x83, 0x85, 0x87, 0x89, 0xC0};
    const std::uint8_t command = kCommands[any(std::size(kCommands))];
    const auto number = static_cast<std::uint8_t>(frame + any(12));
    const std::vector<std::uint8_t> kBegins[] = {
        {},
        {0x42, 0x11, 0, command, 0, 8, 0, number},
        {0, 0, 0, command, 0, 4, 0, number},
        {0, 0, 0, number, static_cast<std::uint8_t>(any(5)), 0, 0,
         static_cast<std::uint8_t>(any(7))},
        {0, 0, 0, 0, 0x83, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, number, 0xFF, 0xFF, 0xFF, 0xFF},
    };
    const auto& begin = kBegins[any(std::size(kBegins))];
    std::copy_n(begin.begin(), std::min(begin.size(), datagram.size()), datagram.begin());
    return datagram;
}

TEST_F(HostileSession, WhatAStrangerSendsToAnyPortChangesNoPicture)
{
    constexpr std::uint64_t kFrames = 40;
    std::map<std::uint64_t, std::vector<std::uint8_t>> pictures; // of the undisturbed camera
    std::uint64_t compared = 0;
    for (const bool disturbed : {false, true}) {
        const LoopbackCamera camera("N1");
        Open("N1");
        std::vector<std::unique_ptr<DatagramSocket>> strangers;
        std::mt19937 random(7);
        const PlatformLog log;
        const auto disturb = [&](std::uint64_t frame) {
            for (const auto& stranger : strangers) {
                for (int i = 0; i < 60; ++i) {
                    stranger->Send(AnyDatagram(random, static_cast<std::uint32_t>(frame)));
                }
            }
        };
        ASSERT_EQ(Initialize(16), kGevOk);
        const std::vector<std::uint16_t> ports = OwnPorts();
        EXPECT_THAT(ports, SizeIs(testing::Ge(3U))); // for commands, the library's, for frames
        for (const std::uint16_t port : ports) {
            if (disturbed) {
                strangers.push_back(std::make_unique<DatagramSocket>(port));
            }
        }
        disturb(1);
        ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
        for (std::uint64_t number = 0; number < kFrames;) {
            disturb(number);
            _tag_GEVBUF_ENTRY& frame = Take();
            EXPECT_EQ(status, kGevOk);
            EXPECT_GT(frame.frameNumber, number);
            number = frame.frameNumber;
            const auto* pixels = static_cast<const std::uint8_t*>(frame.address);
            std::vector<std::uint8_t> picture(pixels, pixels + frame.receivedBytes);
            if (disturbed && pictures.contains(number)) {
                EXPECT_TRUE(picture == pictures[number]) << number;
                ++compared;
            } else {
                pictures[number] = std::move(picture);
            }
            Release(frame);
            EXPECT_EQ(Float("ExposureTime")->GetValue(false, true), 1000);
        }
        EXPECT_EQ(GevAbortTransfer(handle), kGevOk);
        disturb(1);
        EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
        EXPECT_THAT(log.Lines(), SizeIs(testing::Le(1U)));
    }
    EXPECT_GT(compared, kFrames / 4);
    EXPECT_FALSE(pictures.begin()->second == pictures.rbegin()->second);
}

} // namespace
