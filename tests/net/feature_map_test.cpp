/** Features of a network camera: what reaches the camera and what is refused before. */
#include "net/control/commands.h"
#include "net/library_owners.h"
#include "sim_control.h"
#include "tests/net/described_camera.h"
#include "tests/support/alloc_count.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace
{

using test::Describe;
using test::Opened;
using test::Raised;
using test::Register;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class Features : public testing::Test
{
protected:
    Features()
    {
        camera.registers.Put(test::kWidth, 640);
        camera.registers.Put(test::kGain, 2500);
        camera.registers.PutFloat(test::kExposure, 5000);
        camera.registers.PutFloat(test::kTemperature, 41.5F);
        camera.registers.Put(test::kSelector, 1);
        camera.registers.Put(test::kFormat, 8);
    }

    Opened camera{test::Camera()};
};

TEST_F(Features, APlainAccessIsOneRegisterAccess)
{
    EXPECT_EQ(camera.Traffic(), "0r 0w"); // opening asks the camera nothing
    EXPECT_EQ(camera.Float("Gain")->GetValue(), 2.5);
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Float("ExposureTime")->GetValue(), 5000); // a lock is no reader's concern
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Float("DeviceTemperature")->GetValue(), 41.5);
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Integer("Width")->GetValue(), 640); // its lock is not the camera's to answer
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Enumeration("GainSelector")->ToString(), "SensorAll");
    EXPECT_EQ(camera.Traffic(), "1r 0w");

    camera.Enumeration("GainSelector")->FromString("Sensor1");
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    EXPECT_EQ(camera.registers.At(test::kSelector), 2U);
    camera.Enumeration("PixelFormat")->FromString("Mono8"); // others of its entries are gated
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    camera.Float("Gain")->SetValue(4);
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    EXPECT_EQ(camera.registers.At(test::kGain), 4000U);
    camera.Integer("Width")->SetValue(800);
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    camera.Boolean("ReverseX")->SetValue(true);
    EXPECT_EQ(camera.registers.At(test::kReverse), 7U);
    EXPECT_TRUE(camera.Boolean("ReverseX")->GetValue());
    EXPECT_EQ(camera.Traffic(), "1r 1w");

    for (const char* name : {"Width", "WidthMax", "Gain", "GainSelector", "PixelFormat"}) {
        camera.Mode(name);
    }
    EXPECT_EQ(camera.Traffic(), "0r 0w");
}

TEST_F(Features, WhatDoesNotFitIsRefusedBeforeTheCamera)
{
    const auto width = camera.Integer("Width");
    const auto gain = camera.Float("Gain");
    const auto selector = camera.Enumeration("GainSelector");
    const struct {
        const char* kind;
        std::vector<const char*> says;
        std::function<void(bool verify)> write;
    } kRows[] = {
        {"OutOfRange",
         {"Width = 8000", "minimum 16", "maximum 1920"},
         [&](bool verify) { width->SetValue(8000, verify); }},
        {"OutOfRange",
         {"Width = 66", "increment 4"},
         [&](bool verify) { width->SetValue(66, verify); }},
        {"OutOfRange",
         {"-9223372036854775808"},
         [&](bool verify) { width->SetValue(INT64_MIN, verify); }},
        {"OutOfRange",
         {"Gain = 8.5", "minimum 1", "maximum 8.3"},
         [&](bool verify) { gain->SetValue(8.5, verify); }},
        {"OutOfRange", {"Gain = nan"}, [&](bool verify) { gain->SetValue(NAN, verify); }},
        {"OutOfRange", {"Gain = inf"}, [&](bool verify) { gain->SetValue(INFINITY, verify); }},
        {"Access",
         {"WidthMax = 4", "not writable"},
         [&](bool verify) { camera.Integer("WidthMax")->SetValue(4, verify); }},
        {"InvalidArgument",
         {"GainSelector = Sensor9", "no such entry"},
         [&](bool verify) { selector->FromString("Sensor9", verify); }},
        {"InvalidArgument",
         {"GainSelector = 77"},
         [&](bool verify) { selector->SetIntValue(77, verify); }},
    };
    for (const auto& row : kRows) {
        const std::string verified = Raised([&] { row.write(true); });
        EXPECT_THAT(verified, testing::StartsWith(row.kind));
        for (const char* part : row.says) {
            EXPECT_THAT(verified, HasSubstr(part));
        }
        EXPECT_THAT(Raised([&] { row.write(false); }),
                    AllOf(testing::StartsWith("Runtime"), HasSubstr(row.says.front())));
    }
    EXPECT_EQ(camera.Traffic(), "0r 0w");
}

TEST_F(Features, ALimitSurvivesAConversionInSinglePrecision)
{
    const auto exposure = camera.Float("ExposureTime");
    exposure->SetValue(1e6 + 0.9);
    EXPECT_EQ(exposure->GetValue(), 1e6);
    exposure->SetValue(10 - 0.9e-5);
    EXPECT_EQ(exposure->GetValue(), 10);
    EXPECT_THAT(Raised([&] { exposure->SetValue(1e6 + 1.1); }), HasSubstr("OutOfRange"));
    EXPECT_THAT(Raised([&] { exposure->SetValue(10 - 0.9e-5, false); }), HasSubstr("Runtime"));
}

TEST_F(Features, TheAccessModeFollowsEverythingBehindAFeature)
{
    EXPECT_EQ(camera.Mode("Width"), GenApi::RW);
    EXPECT_EQ(camera.Mode("WidthMax"), GenApi::RO); // because of its register
    EXPECT_EQ(camera.Mode("Trigger"), GenApi::WO);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::NI);
    EXPECT_THAT(Raised([&] { camera.Integer("Trigger")->GetValue(); }), HasSubstr("Access"));
    EXPECT_THAT(Raised([&] { camera.Integer("Trigger")->GetMax(); }), HasSubstr("Access"));
    EXPECT_THAT(Raised([&] { camera.Integer("StatusMirror")->GetValue(); }),
                AllOf(HasSubstr("Access"), HasSubstr("NI")));
    camera.registers.Put(test::kHas12, 1);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::NA);
    camera.registers.Put(test::kReady, 1);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::RW);

    camera.registers.Put(test::kStatus, 1);
    EXPECT_EQ(camera.Mode("ExposureTime"), GenApi::RO);
    camera.map.LockTransferParameters(true);
    EXPECT_EQ(camera.Mode("Width"), GenApi::RO);
    EXPECT_THAT(Raised([&] { camera.Integer("Width")->SetValue(800); }), HasSubstr("Access"));
    EXPECT_EQ(camera.Integer("Width")->GetValue(), 640);
    camera.map.LockTransferParameters(false);
    camera.Integer("Width")->SetValue(800);
    EXPECT_EQ(camera.registers.At(test::kWidth), 800U);
}

TEST_F(Features, EntriesAreFoundAndGatedOneByOne)
{
    const auto format = camera.Enumeration("PixelFormat");
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < format->GetEntryCount(); ++i) {
        entries.emplace_back(format->GetEntry(i)->GetSymbolic());
    }
    EXPECT_THAT(entries, ElementsAre("Mono12", "Mono10", "Mono8")); // "Nothing" has no value
    EXPECT_EQ(format->GetEntry(3), nullptr);
    EXPECT_EQ(format->GetEntryByName("Nothing"), nullptr);
    EXPECT_EQ(format->GetEntryByName("Mono10")->GetNumericValue(), 10);
    EXPECT_EQ(format->GetEntryByName("Mono12")->GetAccessMode(), GenApi::NI);
    EXPECT_EQ(format->GetEntryByName("Mono10")->GetAccessMode(), GenApi::NA);
    EXPECT_EQ(format->GetEntryByName("Mono8")->GetAccessMode(), GenApi::RW);
    EXPECT_THAT(Raised([&] { format->FromString("Mono12"); }),
                AllOf(HasSubstr("Access"), HasSubstr("not implemented")));
    EXPECT_THAT(Raised([&] { format->SetIntValue(10); }), HasSubstr("Access"));
    EXPECT_THAT(Raised([&] { format->FromString("Mono12", false); }), HasSubstr("Runtime"));
    EXPECT_EQ(format->GetIntValue(), 8);
    camera.registers.Put(test::kHas12, 1);
    format->FromString("Mono12");
    EXPECT_EQ(format->ToString(), "Mono12");
    camera.registers.Put(test::kFormat, 4711);
    EXPECT_EQ(format->GetIntValue(), 4711);
    EXPECT_THAT(Raised([&] { format->ToString(); }),
                AllOf(HasSubstr("Runtime"), HasSubstr("4711")));
}

TEST_F(Features, TheLibrarysErrorsKeepTheirMeaning)
{
    const struct {
        int code;
        const char* kind;
    } kRows[] = {
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
    for (const auto& row : kRows) {
        camera.registers.fails = [&](std::uint64_t, bool) { return row.code; };
        const auto fits = [&](const char* feature) {
            return AllOf(testing::StartsWith(row.kind), HasSubstr(feature),
                         HasSubstr("told to fail with " + std::to_string(row.code)));
        };
        EXPECT_THAT(Raised([&] { camera.Integer("Width")->GetValue(); }), fits("Width"));
        EXPECT_THAT(Raised([&] { camera.Integer("Width")->SetValue(64); }), fits("Width = 64"));
        EXPECT_THAT(Raised([&] { camera.Float("Gain")->GetValue(); }), fits("Gain"));
        EXPECT_THAT(Raised([&] { camera.Float("Gain")->SetValue(2); }), fits("Gain = 2"));
        EXPECT_THAT(Raised([&] { camera.Boolean("ReverseX")->GetValue(); }), fits("ReverseX"));
        EXPECT_THAT(Raised([&] { camera.Boolean("ReverseX")->SetValue(true); }), fits("= true"));
        EXPECT_THAT(Raised([&] { camera.Enumeration("GainSelector")->ToString(); }),
                    fits("GainSelector"));
        EXPECT_THAT(Raised([&] { camera.Enumeration("GainSelector")->FromString("Sensor1"); }),
                    fits("GainSelector = Sensor1"));
        EXPECT_THAT(Raised([&] { camera.Mode("StatusMirror"); }), fits("StatusMirror"));
        EXPECT_THAT(
            Raised([&] { camera.Enumeration("PixelFormat")->GetEntry(0)->GetAccessMode(); }),
            fits("PixelFormat.Mono12"));
        EXPECT_THAT(Raised([&] { net::ExecuteCommand(camera.device, "AcquisitionStart"); }),
                    fits("AcquisitionStart"));
    }
}

TEST_F(Features, ACameraThatIsGoneIsNotAsked)
{
    camera.registers.Put(test::kHas12, 1);
    camera.registers.Put(test::kReady, 1);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::RW);
    camera.map.SetFrameValue("ExposureTime", 77);
    camera.Traffic();
    camera.device.SetPresent(false);
    EXPECT_THAT(Raised([&] { camera.Integer("Width")->GetValue(); }), HasSubstr("Timeout Width"));
    EXPECT_THAT(Raised([&] { camera.Float("Gain")->SetValue(2); }), HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { camera.Float("Gain")->GetMax(); }), HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { camera.Float("ExposureTime")->GetValue(); }), HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { camera.Enumeration("GainSelector")->ToString(); }),
                HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { net::ExecuteCommand(camera.device, "AcquisitionStart"); }),
                HasSubstr("Timeout"));
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::RW); // as it was last
    camera.map.LockTransferParameters(true);
    EXPECT_EQ(camera.Traffic(), "0r 0w");
}

TEST_F(Features, FaultsAreInjectedAndTheJournalKeepsItsForms)
{
    using sim::Trigger;
    const auto width = camera.Integer("Width");
    const auto gain = camera.Float("Gain");
    sim::SetJournal(true);
    sim::ResetCounts();
    sim::AddFault({.trigger = Trigger::Read,
                   .name = "Width",
                   .camera = "S1",
                   .exception = sim::ExceptionKind::Timeout,
                   .text = "planned"});
    sim::AddFault({.trigger = Trigger::Access, .name = "Gain", .camera = "another", .times = 0});
    EXPECT_EQ(Raised([&] { width->GetValue(); }), "Timeout planned");
    EXPECT_EQ(camera.Traffic(), "0r 0w");
    EXPECT_EQ(width->GetValue(), 640);
    sim::AddFault({.trigger = Trigger::Write, .effect = sim::Effect::Delay, .value = 1});
    EXPECT_THAT(Raised([&] { width->SetValue(66, false); }), HasSubstr("Runtime")); // stays here
    width->SetValue(800);
    sim::AddFault({.trigger = Trigger::Access, .name = "Gain", .effect = sim::Effect::Detach});
    EXPECT_EQ(gain->GetMax(), 8.3); // there is nobody who could take this camera away
    camera.map.SetFrameValue("Gain", 6);
    EXPECT_EQ(gain->GetValue(), 6);
    camera.Boolean("ReverseX")->SetValue(true);
    camera.Boolean("ReverseX")->GetValue();
    camera.Enumeration("GainSelector")->FromString("Sensor1");
    camera.Enumeration("GainSelector")->GetIntValue();
    camera.Mode("WidthMax");
    camera.Enumeration("PixelFormat")->GetEntryByName("Mono12")->GetAccessMode();
    net::ExecuteCommand(camera.device, "AcquisitionStart"); // no node
    std::vector<std::string> lines;
    for (const sim::JournalEntry& entry : sim::Journal()) {
        lines.push_back(entry.kind + " " + entry.text);
    }
    EXPECT_THAT(lines, ElementsAre("fault read Width", "read Width=640", "fault write Width",
                                   "cam Width=800", "fault read Gain", "read Gain.Max=8.3",
                                   "read Gain=6", "cam ReverseX=true", "read ReverseX=true",
                                   "cam GainSelector=Sensor1", "read GainSelector=Sensor1",
                                   "mode WidthMax:RO", "mode PixelFormat.Mono12:NI"));
    EXPECT_EQ(sim::GetCounts().reads, 6U);
    EXPECT_EQ(sim::GetCounts().writes, 3U);
    sim::Reset();
}

TEST_F(Features, CommandsAreNoNodesAndRun)
{
    EXPECT_EQ(camera.map.GetNode("AcquisitionStart"), nullptr);
    net::ExecuteCommand(camera.device, "AcquisitionStart");
    EXPECT_EQ(camera.registers.At(test::kCommand), 5U);
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    for (const char* name : {"AcquisitionStop", "Width"}) {
        EXPECT_THAT(Raised([&] { net::ExecuteCommand(camera.device, name); }),
                    AllOf(HasSubstr("LogicalError"), HasSubstr(name)));
    }
}

TEST_F(Features, NodesStandInTheOrderOfTheCategoriesOnceEach)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < camera.map.GetNodeCount(); ++i) {
        names.emplace_back(camera.map.GetNodeAt(i)->GetName());
        EXPECT_EQ(camera.map.GetNode(names.back().c_str()), camera.map.GetNodeAt(i));
    }
    EXPECT_THAT(names, ElementsAre("Width", "PixelFormat", "Gain", "GainSelector"));
    EXPECT_EQ(camera.map.GetNodeAt(4), nullptr);
    EXPECT_TRUE(camera.Integer("StatusReg").IsValid()); // in no category
    EXPECT_EQ(camera.map.GetNode("Analog"), nullptr);
    EXPECT_FALSE(camera.Integer("PixelFormat").IsValid()); // whatever it is to the library
    EXPECT_STREQ(camera.map.GetNode("Gain")->GetUnit(), "dB");
    EXPECT_STREQ(camera.map.GetNode("Width")->GetUnit(), "");
    const GenApi::gcstring there = "Gain";
    const GenApi::gcstring notThere = "NoSuchFeature";
    const std::size_t before = rig::AllocationsOfThisThread();
    EXPECT_NE(camera.map.GetNode(there), nullptr);
    EXPECT_EQ(camera.map.GetNode(notThere), nullptr);
    EXPECT_EQ(rig::AllocationsOfThisThread(), before);
}

TEST_F(Features, AFramesValueHoldsUntilItsFeatureOrSelectorMoves)
{
    const auto gain = camera.Float("Gain");
    const auto selector = camera.Enumeration("GainSelector");
    const auto frameBrings = [&] {
        camera.map.SetFrameValue("Gain", 6);
        camera.Traffic();
    };
    selector->FromString("SensorAll");
    frameBrings();
    EXPECT_EQ(gain->GetValue(), 6);
    EXPECT_EQ(camera.Traffic(), "0r 0w");
    EXPECT_EQ(gain->GetValue(false, true), 2.5);
    EXPECT_EQ(gain->GetValue(), 6);

    selector->FromString("SensorAll"); // moves nothing, and reaches the camera all the same
    EXPECT_EQ(gain->GetValue(), 6);
    EXPECT_EQ(camera.Traffic(), "1r 1w");
    selector->FromString("Sensor1");
    EXPECT_EQ(gain->GetValue(), 2.5);

    frameBrings();
    gain->SetValue(3);
    EXPECT_EQ(gain->GetValue(), 3);
    frameBrings();
    camera.map.ForgetFrameValues();
    EXPECT_EQ(gain->GetValue(), 3);

    frameBrings(); // a refused write ends nothing, one that failed on its way does
    EXPECT_NE(Raised([&] { gain->SetValue(99); }), "");
    EXPECT_EQ(gain->GetValue(), 6);
    camera.registers.fails = [](std::uint64_t, bool write) {
        return write ? ARV_DEVICE_ERROR_TIMEOUT : 0;
    };
    EXPECT_NE(Raised([&] { selector->FromString("SensorAll"); }), "");
    EXPECT_EQ(gain->GetValue(), 3);
    frameBrings(); // the selector may have moved or not, so its former value is a move as well
    camera.registers.fails = nullptr;
    selector->FromString("Sensor1");
    EXPECT_EQ(gain->GetValue(), 3);

    camera.map.SetFrameValue("NoSuchFeature", 1);
    camera.map.SetFrameValue("Width", 1);
    EXPECT_EQ(camera.Integer("Width")->GetValue(), 640);
}

TEST(FrameValues, EndWithASelectorOfTheirSelectorAndWithOneThatIsNotDescribed)
{
    Opened camera(Describe(
        R"(<Integer Name="Outer"><pValue>R1</pValue><pSelected>Inner</pSelected></Integer>
           <Integer Name="Inner"><pValue>R2</pValue><pSelected>Outer</pSelected>
             <pSelected>Brightness</pSelected></Integer>
           <Float Name="Brightness"><pValue>R3</pValue></Float>
           <Integer Name="GainSelector"><pValue>R4</pValue></Integer>
           <Float Name="Gain"><pValue>R5</pValue></Float>)" +
        Register("R1", 0x2000) + Register("R2", 0x2004) + Register("R3", 0x2008) +
        Register("R4", 0x200c) + Register("R5", 0x2010)));
    camera.map.SetFrameValue("Brightness", 5);
    camera.map.SetFrameValue("Gain", 6);
    camera.Integer("Outer")->SetValue(1);
    EXPECT_EQ(camera.Float("Brightness")->GetValue(), 0);
    EXPECT_EQ(camera.Float("Gain")->GetValue(), 6);
    camera.Integer("GainSelector")->SetValue(1);
    EXPECT_EQ(camera.Float("Gain")->GetValue(), 0);
}

TEST_F(Features, ThreadsOnDisjointSelectorsDoNotDisturbEachOther)
{
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    camera.registers.fails = [&](std::uint64_t, bool) {
        overlaps += inside.fetch_add(1) != 0 ? 1 : 0;
        std::this_thread::yield();
        --inside;
        return 0;
    };
    const auto work = [&](const char* selectorName, const char* selectedName, int sign) {
        int wrong = 0;
        const auto selector = camera.Integer(selectorName);
        const auto selected = camera.Integer(selectedName);
        for (int i = 0; i < 2000; ++i) {
            const int cell = (i * sign) & 3;
            selector->SetValue(cell);
            selected->SetValue(1000 * (cell + 1) + i);
            selector->SetValue((cell + 1) & 3);
            selector->SetValue(cell);
            wrong += selected->GetValue() != 1000 * (cell + 1) + i ? 1 : 0;
        }
        return wrong;
    };
    int wrongElsewhere = -1;
    std::thread other([&] { wrongElsewhere = work("LutSelector", "Lut", -1); });
    EXPECT_EQ(work("BankSelector", "Bank", 1), 0);
    other.join();
    EXPECT_EQ(wrongElsewhere, 0);
    EXPECT_EQ(overlaps, 0);
}

/** A network with nothing but a loopback interface, for this thread and those it starts. */
bool EnterPrivateNetwork()
{
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return false;
    }
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    const int any = socket(AF_INET, SOCK_DGRAM, 0);
    const bool up = ioctl(any, SIOCSIFFLAGS, &loopback) == 0;
    close(any);
    return up;
}

TEST(TickFrequency, IsOfferedWhereTheDescriptionLacksIt)
{
    if (!EnterPrivateNetwork()) {
        GTEST_SKIP() << "no right to a network of its own";
    }
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
}

} // namespace
