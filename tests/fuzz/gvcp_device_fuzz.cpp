/** Takes any bytes as what clients send to a camera: each datagram is preceded by a byte with its
 *  sender and the time since the last one, and by its length. */
#include "tools/kvcam/control/command_desk.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace
{

/** As large as a description and some features, so that reads and writes find something. */
class SomeMemory : public kvcam::Memory
{
public:
    kvcam::Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override
    {
        std::fill(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(address));
        return static_cast<kvcam::Status>(address % 8 == 4 ? 0x8003 : 0);
    }
    kvcam::Status Write(std::uint32_t address, kvcam::ByteView bytes) override
    {
        return address % 8 == 4 || bytes.empty() ? kvcam::Status::NoAnswer : kvcam::Status::Done;
    }
};

class SomeAcquisition : public kvcam::Acquisition
{
public:
    kvcam::Status Start(std::uint32_t) override { return kvcam::Status::Done; }
    kvcam::Status Stop() override { return kvcam::Status::Done; }
    bool IsRunning() const override { return false; }
    void SetTarget(const kvcam::StreamTarget&) override {}
    void SendTestPacket() override {}
    void Resend(const kvcam::ResendRange& range) override { Require(range.first <= range.last); }

    static void Require(bool holds)
    {
        if (!holds) {
            std::abort();
        }
    }
};

constexpr std::uint16_t kFirstPort = 1000;
constexpr unsigned kClients = 12;

/** Whole, and to a client that has sent something. */
void Check(const std::vector<kvcam::Reply>& replies)
{
    for (const kvcam::Reply& reply : replies) {
        const kvcam::ByteView bytes = reply.bytes;
        SomeAcquisition::Require(
            bytes.size() >= kvcam::kHeaderBytes && bytes.size() <= kvcam::kMostDatagramBytes &&
            kvcam::Get16(bytes, 4) == bytes.size() - kvcam::kHeaderBytes &&
            kvcam::Get16(bytes, 6) != 0 && reply.to.port - kFirstPort < static_cast<int>(kClients));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::int64_t kStepNs = 20'000'000;
    constexpr std::size_t kPrefix = 3;
    SomeMemory memory;
    SomeAcquisition acquisition;
    kvcam::Bootstrap bootstrap({}, {[] { return std::uint64_t{1}; }, [] {}}, acquisition);
    kvcam::CommandFaults faults({});
    for (const char* text : {"slow-command ms=30 every=7", "late-answer ms=50 pending=1 every=5",
                             "silence at=4 for=1", "reboot at=8"}) {
        kvcam::FaultText fault(text);
        faults.Add(fault);
    }
    kvcam::CommandDesk desk(
        {.bootstrap = bootstrap,
         .parts = {{kvcam::kDescriptionBase, &memory}, {kvcam::kFeatureBase, &memory}},
         .acquisition = acquisition,
         .isPresent = [] { return true; },
         .powerUp = [] {}},
        std::move(faults), 0);
    kvcam::ByteView rest(data, size);
    std::int64_t nowNs = 0;
    while (rest.size() >= kPrefix) {
        const unsigned client = rest[0] % kClients;
        nowNs += rest[0] / kClients * kStepNs;
        const std::size_t length =
            std::min<std::size_t>(kvcam::Get16(rest, 1), rest.size() - kPrefix);
        desk.Take(rest.subspan(kPrefix, length),
                  {client, static_cast<std::uint16_t>(kFirstPort + client)}, client == 0, nowNs);
        Check(desk.Due(nowNs));
        rest = rest.subspan(kPrefix + length);
    }
    while (desk.NextNs() != std::numeric_limits<std::int64_t>::max()) {
        Check(desk.Due(desk.NextNs()));
    }
    return 0;
}
