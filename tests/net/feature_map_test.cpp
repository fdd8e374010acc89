/** Features of a network camera: which accesses reach the camera and which are refused before. */
#include "gev_host.h"
#include "net/library_owners.h"
#include "net/stream/stream_options.h"
#include "sim_control.h"
#include "tests/net/described_camera.h"
#include "tests/platform/access_stories.h"
#include "tests/platform/journal_lines.h"
#include "tests/support/alloc_count.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <fmt/format.h>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

using test::Opened;

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/** Camera() with values in its registers. */
struct FilledCamera : Opened {
    FilledCamera() : Opened(test::Camera())
    {
        registers.Put(test::kWidth, 640);
        registers.Put(test::kGain, 2500);
        registers.Put(test::kExposure, std::bit_cast<std::uint32_t>(5000.0F));
        registers.Put(test::kTemperature, std::bit_cast<std::uint32_t>(41.5F));
        registers.Put(test::kSelector, 1);
        registers.Put(test::kFormat, 8);
    }
};

class Features : public testing::Test
{
protected:
    FilledCamera camera;
};

TEST(Accesses, DoWhatTheirTextSays)
{
    std::unique_ptr<FilledCamera> camera;
    const auto act = [&](const std::string& step) -> std::string {
        std::istringstream words(step);
        std::string word;
        std::string name;
        double value = 0;
        words >> word >> name;
        if (word == "put") {
            words >> value;
            camera->registers.Put(std::stoul(name, nullptr, 16), static_cast<unsigned>(value));
        } else if (word == "frame") {
            words >> value;
            camera->map.SetFrameValue(name, value);
        } else if (word == "forget") {
            camera->map.ForgetFrameValues();
        } else if (word == "gone") {
            camera->device.SetPresent(false);
        } else if (word == "writes") {
            camera->registers.fails = [fail = name == "fail"](std::uint64_t, bool write) {
                return write && fail ? ARV_DEVICE_ERROR_TIMEOUT : 0;
            };
        } else if (word == "lock" || word == "unlock") {
            camera->map.LockTransferParameters(word == "lock");
        } else {
            const std::string result = camera->Do(step);
            return fmt::format("{}{}[{}]", result, result.empty() ? "" : " ", camera->Traffic());
        }
        return "";
    };
    TellStories(
        TEXTS "/accesses.txt",
        [&](const std::string&) { camera = std::make_unique<FilledCamera>(); }, act);
}

TEST_F(Features, EntriesStandInTheDescriptionsOrderWithoutThoseThatHaveNoValue)
{
    const auto format = camera.Enumeration("PixelFormat");
    ASSERT_EQ(format->GetEntryCount(), 3U);
    EXPECT_STREQ(format->GetEntry(0)->GetSymbolic(), "Mono12");
    EXPECT_EQ(format->GetEntry(1)->GetNumericValue(), 10);
    EXPECT_STREQ(format->GetEntry(2)->GetSymbolic(), "Mono8");
    EXPECT_EQ(format->GetEntry(3), nullptr);
}

TEST_F(Features, TheLibrarysErrorsKeepTheirMeaning)
{
    const std::pair<int, const char*> kErrors[] = {
        {ARV_DEVICE_ERROR_TIMEOUT, "Timeout"},
        {ARV_DEVICE_ERROR_NOT_CONTROLLER, "Access"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED, "Access"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, "Access"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER, "InvalidArgument"},
        {ARV_DEVICE_ERROR_INVALID_PARAMETER, "InvalidArgument"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS, "Runtime"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY, "Runtime"},
        {ARV_DEVICE_ERROR_TRANSFER_ERROR, "Runtime"},
    };
    const std::pair<const char*, const char*> kAccesses[] = {
        {"Width", "Width can't be read"},
        {"Width=64", "Width = 64 can't be written"},
        {"Gain", "Gain can't be read"},
        {"Gain=2", "Gain = 2 can't be written"},
        {"ReverseX", "ReverseX can't be read"},
        {"ReverseX=true", "ReverseX = true can't be written"},
        {"GainSelector", "GainSelector can't be read"},
        {"GainSelector=Sensor1", "GainSelector = Sensor1 can't be written"},
        {"StatusMirror?", "StatusMirror: access mode can't be read"},
        {"PixelFormat=Mono12", "PixelFormat.Mono12: access mode can't be read"},
        {"AcquisitionStart!", "AcquisitionStart can't be executed"},
        {"AcquisitionStart=execute", "AcquisitionStart can't be executed"},
        {"DeviceUserID", "DeviceUserID can't be read"},
        {"DeviceUserID=me", "DeviceUserID = me can't be written"},
    };
    for (const auto& [code, kind] : kErrors) {
        camera.registers.fails = [failure = code](std::uint64_t, bool) { return failure; };
        const std::string error = " told to fail with " + std::to_string(code);
        for (const auto& [access, attempt] : kAccesses) {
            EXPECT_THAT(camera.Do(access),
                        AllOf(StartsWith(kind + std::string(" ") + attempt), EndsWith(error)));
        }
    }
}

/** That each kind of node goes through the layer of faults and journal; its rules are tested with
 *  the simulated cameras. */
TEST_F(Features, FaultsAreInjectedAndTheJournalKeepsItsForms)
{
    sim::SetJournal(true);
    sim::ResetCounts();
    sim::AddFault({.trigger = sim::Trigger::Read,
                   .name = "Width",
                   .camera = "S1",
                   .exception = sim::ExceptionKind::Timeout,
                   .text = "planned"});
    EXPECT_EQ(camera.Do("Width"), "Timeout planned");
    EXPECT_EQ(camera.Traffic(), "0r 0w");
    sim::AddFault({.trigger = sim::Trigger::Access, .name = "Gain", .effect = sim::Effect::Detach});
    EXPECT_EQ(camera.Do("Gain.Max"), "8.3"); // there is nobody who could take this camera away
    camera.map.SetFrameValue("Gain", 6);
    EXPECT_EQ(camera.Float("Gain")->GetValue(false, true), 2.5); // past what the frame brought
    for (const char* access : {"Width", "Width~66", "Width=800", "Gain", "ReverseX=true",
                               "ReverseX", "GainSelector=Sensor1", "GainSelector", "WidthMax?",
                               "PixelFormat.Mono12", "AcquisitionStart!", "DeviceUserID=me",
                               "DeviceUserID", "AcquisitionStart=execute", "AcquisitionStart"}) {
        camera.Do(access);
    }
    EXPECT_THAT(JournalLines(),
                ElementsAre("fault read Width", "fault read Gain", "read Gain.Max=8.3",
                            "read Gain=2.5", "read Width=640", "cam Width=800", "read Gain=6",
                            "cam ReverseX=true", "read ReverseX=true", "cam GainSelector=Sensor1",
                            "read GainSelector=Sensor1", "mode WidthMax:RO",
                            "mode PixelFormat.Mono12:NI", "cam DeviceUserID=me",
                            "read DeviceUserID=me", "cam AcquisitionStart=execute",
                            "read AcquisitionStart.Done=true"));
    EXPECT_EQ(sim::GetCounts().reads, 9U);
    EXPECT_EQ(sim::GetCounts().writes, 5U);
    sim::Reset();
}

TEST_F(Features, NodesStandInTheOrderOfTheCategoriesOnceEach)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < camera.map.GetNodeCount(); ++i) {
        names.emplace_back(camera.map.GetNodeAt(i)->GetName());
        EXPECT_EQ(camera.map.GetNode(names.back().c_str()), camera.map.GetNodeAt(i));
    }
    EXPECT_THAT(names,
                ElementsAre("Width", "PixelFormat", "Gain", "GainSelector", "AcquisitionStart"));
    EXPECT_EQ(camera.map.GetNodeAt(5), nullptr);
    EXPECT_NE(camera.map.GetNode("StatusReg"), nullptr); // in no category
    EXPECT_EQ(camera.map.GetNode("Analog"), nullptr);
    EXPECT_EQ(camera.map.GetNode("PixelFormat")->AsInteger(), nullptr); // as the library has it
    EXPECT_STREQ(camera.map.GetNode("Gain")->GetUnit(), "dB");
    EXPECT_STREQ(camera.map.GetNode("Width")->GetUnit(), "");
    const GenApi::gcstring there = "Gain";
    const GenApi::gcstring notThere = "NoSuchFeature";
    const std::size_t before = rig::AllocationsOfThisThread();
    EXPECT_NE(camera.map.GetNode(there), nullptr);
    EXPECT_EQ(camera.map.GetNode(notThere), nullptr);
    EXPECT_EQ(rig::AllocationsOfThisThread(), before);
}

TEST_F(Features, ThreadsOnDisjointSelectorsDoNotDisturbEachOther)
{
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    camera.registers.fails = [&](std::uint64_t, bool) {
        overlaps += inside.fetch_add(1) != 0 ? 1 : 0;
        // Long enough for the other thread to come in. It never gives the processor away, which
        // would take for ever on a busy machine.
        for (int i = 0; i < 300; ++i) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        --inside;
        return 0;
    };
    const auto work = [&](const char* selectorName, const char* selectedName, int sign) {
        const GenApi::CIntegerPtr selector = camera.map.GetNode(selectorName);
        const GenApi::CIntegerPtr selected = camera.map.GetNode(selectedName);
        for (int i = 0; i < 2000; ++i) {
            const int cell = (i * sign) & 3;
            selector->SetValue(cell);
            selected->SetValue(1000 * (cell + 1) + i);
            selector->SetValue((cell + 1) & 3);
            selector->SetValue(cell);
            EXPECT_EQ(selected->GetValue(), 1000 * (cell + 1) + i);
        }
    };
    std::thread other([&] { work("LutSelector", "Lut", -1); });
    work("BankSelector", "Bank", 1);
    other.join();
    EXPECT_EQ(overlaps, 0);
}

TEST(TickFrequency, IsOfferedWhereTheDescriptionLacksIt)
{
    const net::Ref<ArvGvFakeCamera> fake(arv_gv_fake_camera_new("127.0.0.1", "S1"));
    ASSERT_NE(fake, nullptr);
    ASSERT_NE(arv_gv_fake_camera_is_running(fake.get()), 0);
    const net::Ref<GInetAddress> address(g_inet_address_new_from_string("127.0.0.1"));
    net::Device device(arv_gv_device_new(address.get(), address.get(), nullptr), "S1");
    ASSERT_NE(device.Handle(), nullptr);
    net::FeatureMap map(device);
    const GenApi::CIntegerPtr frequency = map.GetNode("GevTimestampTickFrequency");
    ASSERT_TRUE(frequency.IsValid());
    EXPECT_EQ(frequency->GetAccessMode(), GenApi::RO);
    EXPECT_EQ(frequency->GetValue(), 1'000'000'000);
    EXPECT_THAT(Raised([&] { frequency->SetValue(1); }), HasSubstr("Access"));
    EXPECT_STREQ(map.GetNodeAt(map.GetNodeCount() - 1)->GetName(), "GevTimestampTickFrequency");
    device.SetPresent(false);
    EXPECT_THAT(Raised([&] { frequency->GetValue(); }), HasSubstr("Timeout"));
    device.SetPresent(true);

    // One that no camera can have is reported, and a packet delay can be set all the same.
    std::string reported;
    gevplat::SetLogSink([&](int, const std::string& text) { reported += text; });
    ArvFakeCamera* const registers = arv_gv_fake_camera_get_fake_camera(fake.get());
    for (const std::uint64_t hz : {std::uint64_t{0}, std::uint64_t{1'000'000'000},
                                   std::uint64_t{1'000'000'001}, ~std::uint64_t{0}}) {
        arv_fake_camera_write_register(registers, 0x093C, static_cast<std::uint32_t>(hz >> 32));
        arv_fake_camera_write_register(registers, 0x0940, static_cast<std::uint32_t>(hz));
        reported.clear();
        net::StreamOptions options(device, true);
        EXPECT_EQ(options.Fault(), "");
        EXPECT_EQ(reported, hz == 1'000'000'000
                                ? ""
                                : fmt::format("network camera S1 has a tick frequency of {} Hz: "
                                              "its time stamps can't be relied on",
                                              hz));
        GEV_CAMERA_OPTIONS wanted = options.Get();
        wanted.streamPacketDelay = ~std::uint32_t{0};
        net::DeferredLog log;
        EXPECT_EQ(options.Set(wanted, log), kGevOk);
    }
    gevplat::SetLogSink(nullptr);
}

} // namespace
