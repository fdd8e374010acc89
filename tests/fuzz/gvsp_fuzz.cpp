/** Takes any bytes as settings, packets and times of a stream. The buffers and packets are as small
 *  as they can be, so that the address sanitizer sees each access beyond them. */
#include "net/stream/reassembly.h"
#include "tests/net/gvsp_sender.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>

namespace
{

constexpr std::uint8_t kCallers = 0x5A; ///< fills a buffer that is the caller's

void Check(bool holds, int line = __builtin_LINE())
{
    if (!holds) {
        std::fprintf(stderr, "the check in line %d fails\n", line);
        std::abort();
    }
}

class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : bytes_(data, size) {}
    bool IsEmpty() const { return bytes_.empty(); }
    std::uint8_t Byte()
    {
        if (bytes_.empty()) {
            return 0;
        }
        const std::uint8_t byte = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return byte;
    }
    std::uint32_t Word() { return Byte() | std::uint32_t{Byte()} << 8; }
    Packet Bytes(std::size_t count)
    {
        const auto taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

private:
    std::span<const std::uint8_t> bytes_;
};

class Session
{
public:
    explicit Session(Input& input) : input_(input)
    {
        const std::uint8_t sizes = input.Byte();
        settings_.bufferBytes = 1 + input.Word() % 4096;
        ReadSettings();
        buffers_.assign(1 + sizes % 4, Packet(settings_.bufferBytes, kCallers));
        isCallers_.assign(buffers_.size(), true);
        std::vector<std::uint8_t*> memory;
        for (Packet& buffer : buffers_) {
            memory.push_back(buffer.data());
        }
        reassembly_ = std::make_unique<net::Reassembly>(
            settings_, memory, [this](std::uint32_t buffer, bool lastChoice) {
                Check(!isCallers_[buffer]);
                return lastChoice || (kept_ >> buffer & 1U) == 0;
            });
        for (std::uint32_t i = 0; i < buffers_.size(); ++i) {
            Give(i);
        }
    }

    void Step()
    {
        const std::uint8_t step = input_.Byte();
        switch (step % 8) {
        case 0:
            Take(input_.Bytes(step / 8));
            break;
        case 1:
            now_ += input_.Word() * 10'000;
            break;
        case 2:
            Give(step / 8);
            break;
        case 3:
            now_ = std::max(now_, std::min(reassembly_->Due(), now_ + kLongStep));
            break;
        case 4:
            kept_ = step / 8U;
            if (kept_ == 0) {
                Restart();
            }
            break;
        default:
            TakeMade(step / 8);
        }
        if (step % 2 == 1) {
            reassembly_->Tick(now_);
            Check(reassembly_->Due() > now_);
        }
        Collect();
    }

    void CheckBuffers() const
    {
        for (std::size_t i = 0; i < buffers_.size(); ++i) {
            Check(!isCallers_[i] ||
                  std::all_of(buffers_[i].begin(), buffers_[i].end(),
                              [](std::uint8_t byte) { return byte == kCallers; }));
        }
    }

private:
    static constexpr net::Ns kLongStep = 1'000'000'000;

    void ReadSettings()
    {
        const std::uint8_t flags = input_.Byte();
        settings_.packetSize = input_.Word() % 2048;
        settings_.payloadBytes = (flags & 1) != 0 ? input_.Word() % 4096 : settings_.bufferBytes;
        settings_.requests = (flags & 2) != 0;
        settings_.mostRequested = flags / 4;
        settings_.reorderWindow = input_.Byte() * 100'000;
        settings_.requestTimeout = input_.Byte() * 1'000'000;
        settings_.retention = input_.Byte() * 1'000'000;
        sender_.extendedIds = (flags & 4) != 0;
        sender_.step = settings_.packetSize % 128 + 92;
        sender_.bytes = settings_.payloadBytes;
        sender_.width = static_cast<std::uint32_t>(sender_.bytes);
        sender_.height = 1;
    }

    /** A packet that is likely to belong to a frame. */
    void TakeMade(std::uint8_t kind)
    {
        const std::uint8_t to = input_.Byte();
        number_ += to / 64;
        const std::uint64_t number = number_ - (kind & 3);
        const std::uint32_t id = to % 64;
        if ((kind & 4) == 0) {
            Take(sender_.Make(number, id));
        } else if ((kind & 8) != 0) {
            const std::uint32_t length = input_.Word() % 1500;
            Take(sender_.Payload(number, id, length % 3 == 0 ? sender_.step : length));
        } else if ((kind & 16) != 0) {
            sender_.payloadType = static_cast<std::uint16_t>(input_.Word());
            Take(sender_.TrailerPacket(number, id, input_.Byte()));
        } else {
            Take(sender_.Header(number, 3, id, static_cast<std::uint16_t>(0x8000 + input_.Byte())));
        }
    }

    void Take(const Packet& packet)
    {
        const std::uint64_t packets = reassembly_->Counts().packets;
        reassembly_->Take(packet, now_);
        Check(reassembly_->Counts().packets == packets + 1);
    }

    void Restart()
    {
        ReadSettings();
        reassembly_->Restart(settings_);
        newest_.reset();
    }

    void Give(std::uint32_t buffer)
    {
        if (buffer < buffers_.size() && isCallers_[buffer]) {
            CheckBuffers();
            isCallers_[buffer] = false;
        }
        reassembly_->AddBuffer(buffer);
    }

    void Collect()
    {
        net::ResendRequest request;
        while (reassembly_->NextRequest(&request)) {
            Check(settings_.requests && request.first <= request.last);
        }
        net::ReceivedFrame frame;
        while (reassembly_->Next(&frame)) {
            Check(frame.buffer < buffers_.size() && !isCallers_[frame.buffer]);
            Check(frame.bytes <= settings_.bufferBytes);
            Check(frame.fault != net::FrameFault::None || frame.hasLeader);
            CheckOrder(frame);
            isCallers_[frame.buffer] = true;
            std::fill(buffers_[frame.buffer].begin(), buffers_[frame.buffer].end(), kCallers);
        }
        const net::ReassemblyCounts& counts = reassembly_->Counts();
        Check(counts.late + counts.duplicate + counts.refused + counts.resent <= counts.packets);
        Check(counts.malformed <= counts.packets);
    }

    /** As long as all frames are delivered, none follows one that is shortly behind it. */
    void CheckOrder(const net::ReceivedFrame& frame)
    {
        constexpr std::uint64_t kLate = 100;
        if (newest_ && newest_->extendedIds == frame.extendedIds &&
            reassembly_->Counts().framesWithoutBuffer == 0) {
            Check(frame.number > newest_->number || newest_->number - frame.number >= kLate);
        }
        newest_ = frame;
    }

    Input& input_;
    GvspSender sender_;
    net::ReassemblySettings settings_;
    std::vector<Packet> buffers_;
    std::vector<bool> isCallers_;
    unsigned kept_ = 0; ///< buffers that may not be filled, a bit for each
    std::unique_ptr<net::Reassembly> reassembly_;
    std::optional<net::ReceivedFrame> newest_;
    std::uint64_t number_ = 0xFFFD;
    net::Ns now_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    Session session(input);
    while (!input.IsEmpty()) {
        session.Step();
    }
    session.CheckBuffers();
    return 0;
}
