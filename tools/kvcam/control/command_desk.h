/** Serves a camera's control channel: commands in; answers, accesses to the camera's memory, and
 *  requests to its stream out. It has neither socket nor clock: times come in as arguments, in
 *  nanoseconds, and never fall.
 *
 *  Commands are served one after the other. One that takes its time (a fault) makes the others
 *  wait. */
#pragma once

#include "tools/kvcam/control/bootstrap.h"
#include "tools/kvcam/control/command_faults.h"
#include "tools/kvcam/control/gvcp.h"
#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/acquisition.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace kvcam
{

struct Reply {
    Endpoint to;
    Bytes bytes;
};

/** A part of the address space; it ends where the next one begins. */
struct MemoryPart {
    std::uint32_t base = 0;
    Memory* memory = nullptr; ///< takes addresses of the whole space
};

/** The camera that the desk belongs to. All of it outlives the desk. */
struct DeskCamera {
    Bootstrap& bootstrap;
    std::vector<MemoryPart> parts; ///< besides the bootstrap registers, by rising base
    Acquisition& acquisition;
    std::function<bool()> isPresent; ///< on the network; it hears and sends nothing if it isn't
    std::function<void()> powerUp;   ///< gives the features the values that they have at power-up
};

/** Threads: one. */
class CommandDesk
{
public:
    CommandDesk(DeskCamera camera, CommandFaults faults, std::int64_t startNs);

    /** Hears a datagram. One that was sent to all cameras (`broadcast`) may only ask who is there.
     */
    void Take(ByteView datagram, Endpoint from, bool broadcast, std::int64_t nowNs);
    /** What is to be sent now. */
    std::vector<Reply> Due(std::int64_t nowNs);
    /** When to call Due again, if nothing is heard before. */
    std::int64_t NextNs() const;

private:
    struct Request {
        std::uint16_t command = 0;
        std::uint16_t id = 0;
        std::uint8_t flags = 0;
        bool wellFormed = false; ///< as long as its header says, and not too long
        Bytes body;

        bool Is(Command one) const { return command == static_cast<std::uint16_t>(one); }
        bool WantsAnswer() const { return (flags & kAcknowledgeFlag) != 0; }
    };
    struct Waiting {
        Request request;
        Endpoint from;
        Verdict verdict;
        std::int64_t heardNs = 0;
    };
    struct Answer {
        Status status = Status::Done;
        Bytes body;
    };
    /** The last command of a client. */
    struct Exchange {
        Endpoint from;
        std::uint16_t id = 0;
        std::int64_t heardNs = 0;
        std::int64_t answerNs = 0;
        bool pending = false; ///< the answer was announced by a PENDING_ACK
        Bytes answer;         ///< empty: none was wanted
    };
    struct Scheduled {
        std::int64_t dueNs = 0;
        Reply reply;
    };

    static std::optional<Request> Parse(ByteView datagram);
    static std::vector<AddressRange> Accessed(const Request& request);
    static Bytes Datagram(std::uint32_t status, std::uint32_t command, std::uint16_t id,
                          ByteView body);

    void Advance(std::int64_t nowNs);
    void Step(std::int64_t nowNs);
    std::int64_t OutageNs() const;
    std::int64_t LapseNs() const;
    std::int64_t ServeNs() const;
    void ChangeOutage();
    void Reboot();
    void SendScheduled(std::int64_t nowNs);

    void Serve(const Waiting& waiting, std::int64_t nowNs);
    static void Lie(const Request& request, std::uint32_t value, Bytes* body);
    bool RepeatsAnswer(const Waiting& waiting, std::int64_t nowNs);
    void Remember(Exchange exchange);
    void Schedule(std::int64_t dueNs, Endpoint to, Bytes bytes);
    void SchedulePending(const Exchange& exchange, std::int64_t nowNs);

    Answer Execute(const Request& request, Endpoint from, std::int64_t nowNs);
    Answer ForceIp(const Request& request);
    Answer ReadRegisters(const Request& request, Endpoint from);
    Answer WriteRegisters(const Request& request, Endpoint from, std::int64_t nowNs);
    Answer ReadMemory(const Request& request, Endpoint from);
    Answer WriteMemory(const Request& request, Endpoint from, std::int64_t nowNs);
    void Resend(const Request& request, Endpoint from);

    Memory* PartOf(std::uint32_t address, std::size_t bytes) const;
    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes, Endpoint from);
    Status Write(std::uint32_t address, ByteView bytes, Endpoint from, std::int64_t nowNs);
    Status WritePrivilege(std::uint32_t value, Endpoint from, std::int64_t nowNs);
    void GiveControlBack();

    const DeskCamera camera_;
    CommandFaults faults_;
    const std::int64_t startNs_;
    std::optional<Endpoint> controller_;
    std::int64_t lastBeatNs_ = 0; ///< the newest command of the controller
    std::size_t outage_ = 0;      ///< the present or next one
    bool silent_ = false;         ///< it is the present one
    std::int64_t busyUntilNs_;
    std::deque<Waiting> waiting_;
    std::vector<Exchange> exchanges_; ///< one for each client, the oldest first
    std::vector<Scheduled> scheduled_;
    std::vector<Reply> ready_;
};

} // namespace kvcam
