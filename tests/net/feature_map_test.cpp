/** Features of a network camera: what reaches the camera and what is refused before. */
#include "net/control/commands.h"
#include "net/library_owners.h"
#include "sim_control.h"
#include "tests/net/described_camera.h"
#include "tests/platform/journal_lines.h"
#include "tests/support/alloc_count.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace
{

using test::Describe;
using test::Opened;

using test::Register;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

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
    const auto costs = [&](const char* traffic, const auto& access) {
        access();
        EXPECT_EQ(camera.Traffic(), traffic);
    };
    costs("0r 0w", [] {}); // opening asks the camera nothing
    costs("1r 0w", [&] { EXPECT_EQ(camera.Float("Gain")->GetValue(), 2.5); });
    costs("1r 0w", [&] { EXPECT_EQ(camera.Float("ExposureTime")->GetValue(), 5000); }); // no lock
    costs("1r 0w", [&] { EXPECT_EQ(camera.Float("DeviceTemperature")->GetValue(), 41.5); });
    costs("1r 0w", [&] { EXPECT_EQ(camera.Integer("Width")->GetValue(), 640); });
    costs("1r 0w", [&] { EXPECT_EQ(camera.Enumeration("GainSelector")->ToString(), "SensorAll"); });
    costs("0r 1w", [&] { camera.Enumeration("GainSelector")->FromString("Sensor1"); });
    // Others of its entries are gated.
    costs("0r 1w", [&] { camera.Enumeration("PixelFormat")->FromString("Mono8"); });
    costs("0r 1w", [&] { camera.Float("Gain")->SetValue(4); });
    costs("0r 1w", [&] { camera.Integer("Width")->SetValue(800); });
    costs("0r 1w", [&] { camera.Boolean("ReverseX")->SetValue(true); });
    costs("1r 0w", [&] { EXPECT_TRUE(camera.Boolean("ReverseX")->GetValue()); });
    costs("0r 0w", [&] {
        for (const char* name : {"Width", "WidthMax", "Gain", "GainSelector", "PixelFormat"}) {
            camera.Mode(name);
        }
    });
    EXPECT_EQ(camera.registers.At(test::kSelector), 2U);
    EXPECT_EQ(camera.registers.At(test::kGain), 4000U);
    EXPECT_EQ(camera.registers.At(test::kReverse), 7U);
}

/** The rules themselves are tested where they are (access_rules_test), the texts by the contract.
 */
TEST_F(Features, WhatDoesNotFitNeverGoesOut)
{
    for (const bool verify : {true, false}) {
        const std::function<void()> kWrites[] = {
            [&] { camera.Integer("Width")->SetValue(66, verify); },
            [&] { camera.Float("Gain")->SetValue(INFINITY, verify); },
            [&] { camera.Integer("WidthMax")->SetValue(4, verify); },
            [&] { camera.Enumeration("GainSelector")->FromString("Sensor9", verify); },
            [&] { camera.Enumeration("GainSelector")->SetIntValue(77, verify); },
        };
        for (const auto& write : kWrites) {
            const std::string raised = Raised(write);
            EXPECT_NE(raised, "");
            EXPECT_EQ(raised.starts_with("Runtime "), !verify) << raised;
        }
    }
    EXPECT_EQ(camera.Traffic(), "0r 0w");
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
    const std::pair<const char*, std::function<void()>> kAccesses[] = {
        {"Width can't be read", [&] { camera.Integer("Width")->GetValue(); }},
        {"Width = 64 can't be written", [&] { camera.Integer("Width")->SetValue(64); }},
        {"Gain can't be read", [&] { camera.Float("Gain")->GetValue(); }},
        {"Gain = 2 can't be written", [&] { camera.Float("Gain")->SetValue(2); }},
        {"ReverseX can't be read", [&] { camera.Boolean("ReverseX")->GetValue(); }},
        {"ReverseX = true can't", [&] { camera.Boolean("ReverseX")->SetValue(true); }},
        {"GainSelector can't", [&] { camera.Enumeration("GainSelector")->ToString(); }},
        {"GainSelector = Sensor1 can't",
         [&] { camera.Enumeration("GainSelector")->FromString("Sensor1"); }},
        {"StatusMirror: access mode", [&] { camera.Mode("StatusMirror"); }},
        {"PixelFormat.Mono12: access mode",
         [&] { camera.Enumeration("PixelFormat")->GetEntry(0)->GetAccessMode(); }},
        {"AcquisitionStart can't", [&] { net::ExecuteCommand(camera.device, "AcquisitionStart"); }},
    };
    for (const auto& [code, kind] : kErrors) {
        camera.registers.fails = [failure = code](std::uint64_t, bool) { return failure; };
        for (const auto& [attempt, access] : kAccesses) {
            EXPECT_THAT(Raised(access),
                        AllOf(StartsWith(kind + std::string(" ") + attempt),
                              HasSubstr("told to fail with " + std::to_string(code))));
        }
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
    const std::function<void()> kAccesses[] = {
        [&] { camera.Integer("Width")->GetValue(); },
        [&] { camera.Float("Gain")->SetValue(2); },
        [&] { camera.Float("Gain")->GetMax(); },
        [&] { camera.Float("ExposureTime")->GetValue(); },
        [&] { camera.Enumeration("GainSelector")->ToString(); },
        [&] { net::ExecuteCommand(camera.device, "AcquisitionStart"); },
    };
    for (const auto& access : kAccesses) {
        EXPECT_THAT(Raised(access), AllOf(StartsWith("Timeout"), HasSubstr("camera S1")));
    }
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
    EXPECT_THAT(JournalLines(),
                ElementsAre("fault read Width", "read Width=640", "fault write Width",
                            "cam Width=800", "fault read Gain", "read Gain.Max=8.3", "read Gain=6",
                            "cam ReverseX=true", "read ReverseX=true", "cam GainSelector=Sensor1",
                            "read GainSelector=Sensor1", "mode WidthMax:RO",
                            "mode PixelFormat.Mono12:NI"));
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
        const auto selector = camera.Integer(selectorName);
        const auto selected = camera.Integer(selectedName);
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
}

} // namespace
