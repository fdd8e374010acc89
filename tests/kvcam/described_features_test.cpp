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

/** What a node is, whatever its value. */
std::string Kind(GenApi::INode& node)
{
    std::string kind = node.AsInteger() != nullptr   ? "integer "
                       : node.AsFloat() != nullptr   ? "float "
                       : node.AsBoolean() != nullptr ? "boolean "
                       : node.AsString() != nullptr  ? "string "
                       : node.AsCommand() != nullptr ? "command "
                                                     : "enumeration ";
    kind += node.GetUnit();
    auto* const entries = node.AsEnumeration();
    for (std::size_t i = 0; entries != nullptr && i < entries->GetEntryCount(); ++i) {
        GenApi::IEnumEntry* const entry = entries->GetEntry(i);
        kind += fmt::format(" {}={}", entry->GetSymbolic(), entry->GetNumericValue());
    }
    return kind;
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

TEST_P(Described, EveryFeatureIsThereWithItsTypeUnitAndEntries)
{
    for (std::size_t i = 0; i < here.GetNodeCount(); ++i) {
        GenApi::INode& node = *here.GetNodeAt(i);
        GenApi::INode* const other = there.GetNode(node.GetName());
        ASSERT_NE(other, nullptr) << node.GetName();
        EXPECT_EQ(Kind(*other), Kind(node)) << node.GetName();
    }
    for (const char* name : {"GevSCPD", "GevHeartbeatTimeout", "TLParamsLocked"}) {
        EXPECT_NE(there.GetNode(name), nullptr) << name;
    }
    EXPECT_EQ(there.GetNode("HeightMax") == nullptr, GetParam() == 2); // hidden by the set-up
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
        const auto attempts = test::Attempts(node);
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
