/** The sockets and the thread of a camera's control channel. */
#pragma once

#include "tools/kvcam/control/command_desk.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace kvcam
{

/** The network interface that a camera is on. */
struct Interface {
    unsigned index = 0;
    std::uint32_t mask = 0; ///< host byte order, as the next one
    std::uint32_t broadcast = 0;
};

/** An IPv4 address in host byte order. Raises std::runtime_error, whose text is a sentence. */
std::uint32_t ParseAddress(const std::string& text);
std::string AddressText(std::uint32_t address);
/** Raises std::runtime_error, whose text is a sentence, if no interface of this machine has the
 *  address. */
Interface InterfaceOf(std::uint32_t address);

/** Raises std::runtime_error, whose text is a sentence, if the address can't be used. */
class ControlSockets
{
public:
    ControlSockets(std::uint32_t address, const Interface& interface);
    ~ControlSockets();
    ControlSockets(const ControlSockets&) = delete;
    ControlSockets& operator=(const ControlSockets&) = delete;

    /** Hands over what has arrived, and sends what the desk answers. */
    void Serve(CommandDesk& desk, const std::function<std::int64_t()>& nowNs);
    /** Until something arrives, the time is over or Wake is called. */
    void Wait(std::int64_t ns) const;
    void Wake() const;

private:
    void Close();
    int Open(std::uint32_t address, bool shared);
    bool TakeFrom(int handle, CommandDesk& desk, const std::function<std::int64_t()>& nowNs);
    void Send(CommandDesk& desk, std::int64_t nowNs) const;

    const unsigned interface_;
    int own_ = -1;       ///< at the camera's address; it also sends all answers
    int broadcast_ = -1; ///< at 255.255.255.255
    int subnet_ = -1;    ///< at the interface's own broadcast address; -1: it has none
    int wake_ = -1;      ///< an eventfd
};

/** Serves a desk from its construction to its destruction.
 *
 *  Threads: one of its own, the only one that calls the desk. */
class ControlServer
{
public:
    ControlServer(ControlSockets& sockets, CommandDesk& desk, std::function<std::int64_t()> nowNs);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

private:
    void Run();

    ControlSockets& sockets_;
    CommandDesk& desk_;
    const std::function<std::int64_t()> nowNs_;
    std::atomic<bool> ends_{false};
    std::thread thread_;
};

} // namespace kvcam
