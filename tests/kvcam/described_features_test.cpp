// The features of a simulated camera as the network library and the network backend understand its
// description: they are the same as in process.

#include "net/nodes/feature_map.h"
#include "tests/kvcam/served_camera.h"
#include "tests/net/memory_device.h"
#include "tests/platform/do_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fmt/format.h>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace
{

using kvcam::Status;

int ErrorOf(Status status)
{
    switch (status) {
    case Status::Done:
        return 0;
    case Status::AccessDenied:
        return ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED;
    case Status::WriteProtected:
        return ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT;
    case Status::InvalidParameter:
        return ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER;
    case Status::NoAnswer:
        return ARV_DEVICE_ERROR_TIMEOUT;
    default:
        return ARV_DEVICE_ERROR_PROTOCOL_ERROR;
    }
}

constexpr std::uint64_t kPacketSize = 0x0D04; // the only register of GigE Vision here

/** The served camera on the other side of the library. */
struct Client {
    explicit Client(test::ServedCamera& served)
        : device(test::NewMemoryDevice(served.features.DescriptionText()), "S1"),
          registers(Served(device.Handle(), served)), map(device)
    {
    }

    static test::Registers& Served(ArvDevice* device, test::ServedCamera& served)
    {
        test::Registers& own = test::RegistersOf(device);
        own.serves = [&](std::uint64_t address, std::uint32_t size, void* data, bool write) {
            if (address == kPacketSize) {
                std::uint32_t value = GUINT32_TO_BE(own.At(address));
                std::memcpy(write ? static_cast<void*>(&value) : data, write ? data : &value, size);
                own.Put(address, GUINT32_FROM_BE(value));
                return 0;
            }
            const std::span bytes(static_cast<std::uint8_t*>(data), size);
            const auto at = static_cast<std::uint32_t>(address);
            kvcam::Memory& memory = served.features.Values();
            return ErrorOf(write ? memory.Write(at, bytes) : memory.Read(at, bytes));
        };
        return own;
    }

    net::Device device;
    test::Registers& registers;
    net::FeatureMap map;
};

/** All that can be asked of a node. */
std::vector<std::string> Questions(GenApi::INode& node)
{
    std::vector<std::string> questions = {"?", "^"};
    const auto add = [&](std::initializer_list<const char*> more) {
        questions.insert(questions.end(), more.begin(), more.end());
    };
    if (node.AsInteger() != nullptr) {
        add({"", ".Min", ".Max", ".Inc"});
    } else if (node.AsFloat() != nullptr) {
        add({"", ".Min", ".Max"});
    } else if (node.AsString() != nullptr) {
        add({"", ".MaxLength"});
    } else if (node.AsCommand() == nullptr) { // when it is done is asked where it is executed
        add({""});
    }
    if (auto* const enumeration = node.AsEnumeration()) {
        for (std::size_t i = 0; i < enumeration->GetEntryCount(); ++i) {
            questions.push_back(fmt::format(".{}", enumeration->GetEntry(i)->GetSymbolic()));
        }
    }
    return questions;
}

/** Values to write, a few of which the node refuses. */
std::vector<std::string> Attempts(GenApi::INode& node)
{
    std::vector<std::string> attempts;
    if (auto* const integer = node.AsInteger()) {
        const auto& number = static_cast<genapi::IntegerNode&>(*integer);
        for (const std::int64_t value :
             {number.Min(), number.Max(), number.Min() + number.Inc(),
              number.Min() + number.Inc() * ((number.Max() - number.Min()) / number.Inc() / 2),
              number.Max() / 3, number.Min() - 1}) {
            attempts.push_back(fmt::format("={}", value));
        }
    } else if (auto* const real = node.AsFloat()) {
        const auto& number = static_cast<genapi::FloatNode&>(*real);
        for (const double value : {number.Min(), number.Max(), (number.Min() + number.Max()) / 3,
                                   number.Max() * 1.0000001, number.Max() + 1}) {
            attempts.push_back(fmt::format("={}", value));
        }
    } else if (auto* const enumeration = node.AsEnumeration()) {
        for (std::size_t i = 0; i < enumeration->GetEntryCount(); ++i) {
            attempts.push_back(fmt::format("={}", enumeration->GetEntry(i)->GetSymbolic()));
        }
        attempts.emplace_back("=nothing");
    } else if (node.AsString() != nullptr) {
        attempts = {"=me", "=", "=0123456789abcdef", "=0123456789abcdefg"};
    } else {
        attempts = {"=true", "=false"};
    }

    return attempts;
}

/** What came of an access, without the words of an exception. */
std::string Outcome(GenApi::INodeMap& map, const std::string& access)
{
    const std::string outcome = DoAccess(map, access);
    for (const char* kind : {"InvalidArgument", "OutOfRange", "Access", "Runtime", "Timeout"}) {
        if (outcome.starts_with(std::string(kind) + " ")) {
            return kind;
        }
    }
    return outcome;
}

const char* TypeOf(GenApi::INode& node)
{
    return node.AsInteger() != nullptr       ? "integer"
           : node.AsFloat() != nullptr       ? "float"
           : node.AsEnumeration() != nullptr ? "enumeration"
           : node.AsBoolean() != nullptr     ? "boolean"
           : node.AsString() != nullptr      ? "string"
                                             : "command";
}

class Described : public testing::TestWithParam<std::size_t>
{
protected:
    test::ServedCamera inProcess{test::Setups()[GetParam()]};
    test::ServedCamera served{test::Setups()[GetParam()]};
    Client client{served};
    GenApi::INodeMap& there = client.map;
    GenApi::INodeMap& here = inProcess.camera.Features().Map();
    std::mt19937 random{7};
};

TEST_P(Described, EveryFeatureIsThereWithItsTypeAndUnit)
{
    for (std::size_t i = 0; i < here.GetNodeCount(); ++i) {
        GenApi::INode& node = *here.GetNodeAt(i);
        GenApi::INode* const other = there.GetNode(node.GetName());
        ASSERT_NE(other, nullptr) << node.GetName();
        EXPECT_STREQ(TypeOf(*other), TypeOf(node)) << node.GetName();
        EXPECT_STREQ(other->GetUnit(), node.GetUnit()) << node.GetName();
        if (auto* const entries = node.AsEnumeration()) {
            ASSERT_EQ(other->AsEnumeration()->GetEntryCount(), entries->GetEntryCount());
            for (std::size_t j = 0; j < entries->GetEntryCount(); ++j) {
                EXPECT_STREQ(other->AsEnumeration()->GetEntry(j)->GetSymbolic(),
                             entries->GetEntry(j)->GetSymbolic());
                EXPECT_EQ(other->AsEnumeration()->GetEntry(j)->GetNumericValue(),
                          entries->GetEntry(j)->GetNumericValue());
            }
        }
    }
    for (const char* name :
         {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop", "TLParamsLocked",
          "GevSCPSPacketSize", "GevSCPD", "GevHeartbeatTimeout"}) {
        EXPECT_NE(there.GetNode(name), nullptr) << name;
    }
    EXPECT_EQ(there.GetNode("NoSuchFeature"), nullptr);
}

/** The same accesses to two cameras, one in process and one through registers: each has the same
 *  outcome, and then every feature answers every question in the same way. */
TEST_P(Described, EveryAccessHasTheSameOutcomeAsInProcess)
{
    constexpr int kAccesses = 400;
    std::string story;
    for (int i = 0; i < kAccesses; ++i) {
        GenApi::INode& node = *here.GetNodeAt(random() % here.GetNodeCount());
        const std::string name = node.GetName();
        const auto attempts = Attempts(node);
        std::string access = name + attempts[random() % attempts.size()];
        if (random() % 8 == 0) { // unverified
            access.replace(access.find('='), 1, "~");
        }
        if (i % 50 == 25) {
            access = "streaming";
            inProcess.Start();
            ASSERT_EQ(Outcome(there, "AcquisitionStart=execute"), "");
        } else if (i % 50 == 45) {
            access = "stopped";
            inProcess.Stop();
            ASSERT_EQ(Outcome(there, "AcquisitionStop=execute"), "");
        } else {
            ASSERT_EQ(Outcome(there, access), Outcome(here, access)) << access << " after" << story;
        }
        story += " " + access;
        for (std::size_t n = 0; n < here.GetNodeCount(); ++n) {
            GenApi::INode& asked = *here.GetNodeAt(n);
            for (const std::string& question : Questions(asked)) {
                const std::string ask = asked.GetName() + question;
                if (ask != "PayloadSize") { // has the pixels' own chunk on the network only
                    ASSERT_EQ(Outcome(there, ask), Outcome(here, ask)) << ask << " after" << story;
                }
            }
        }
    }
}

/** Several features may share a register; a command costs one access. */
TEST_P(Described, FeaturesOfTheNetworkLieInItsRegisters)
{
    client.registers.Put(kPacketSize, 0x4000'05DC);
    EXPECT_EQ(DoAccess(there, "GevSCPSPacketSize"), "1500");
    EXPECT_EQ(DoAccess(there, "GevSCPSDoNotFragment"), "true");
    EXPECT_EQ(DoAccess(there, "GevSCPSPacketSize=9000"), "");
    EXPECT_EQ(client.registers.At(kPacketSize), 0x4000'2328);
    EXPECT_EQ(DoAccess(there, "GevSCPSFireTestPacket=execute"), "");
    EXPECT_EQ(client.registers.At(kPacketSize), 0xC000'2328);
    client.registers.reads = 0;
    EXPECT_EQ(DoAccess(there, "AcquisitionStart=execute"), "");
    EXPECT_EQ(client.registers.reads, 0);
    EXPECT_EQ(DoAccess(there, "AcquisitionMode"), "Continuous");
}

INSTANTIATE_TEST_SUITE_P(Setups, Described, testing::Range<std::size_t>(0, 3));

} // namespace
