/** Serves lines on a listening UNIX socket: takes those of its clients, and sends them answers and
 *  events.
 *
 *  One thread of its own waits for all clients, so that none of them can hold up the program or
 *  another client. What a client may cost is limited: the length of a line, the number of clients,
 *  and what waits to be sent. A client whose answers wait is not read from; one that takes nothing
 *  of them for ten seconds is dropped, and so is one whose line is too long. */
#pragma once

#include "file_handle.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace kvgrab
{

using ClientId = std::uint64_t;

/** Threads: Start and Stop on any one thread; Send, Publish and Subscribe on any. */
class LineServer
{
public:
    static constexpr std::size_t kLongestLine = 64 * 1024;
    static constexpr std::size_t kMostClients = 16;

    struct Parts {
        /** Called on the server's thread with each line, without its line feed. */
        std::function<void(ClientId, std::string_view)> handle;
        /** The line that a client gets before it is dropped for this reason. */
        std::function<std::string(const char* why)> refusal;
        /** The event for each second; asked for while somebody has subscribed. */
        std::function<std::string()> everySecond;
        /** The event for those that missed events. */
        std::function<std::string(std::uint64_t missed)> missed;
    };

    explicit LineServer(Parts parts) : parts_(std::move(parts)) {}
    ~LineServer() { Stop(); }
    LineServer(const LineServer&) = delete;
    LineServer& operator=(const LineServer&) = delete;

    /** `listening` is not blocking and stays the caller's. False: `*error` says why. */
    bool Start(int listening, std::string* error);
    void Stop();

    /** An answer to a client; nothing happens if it has left. */
    void Send(ClientId client, std::string line);
    /** An event for all that have subscribed. Never waits: events that can't be kept are counted.
     */
    void Publish(std::string line);
    void Subscribe(ClientId client, bool wanted);

private:
    struct Client {
        FileHandle fd;
        std::string in;  ///< not handled yet
        std::string out; ///< not sent yet
        bool subscribed = false;
        bool ended = false;                             ///< it sends nothing more
        bool leaving = false;                           ///< dropped once `out` is sent
        unsigned expected = 0;                          ///< answers that are not in `out` yet
        std::uint64_t missed = 0;                       ///< events
        std::chrono::steady_clock::time_point progress; ///< when `out` last began or shrank
    };
    enum class Kind { Answer, Event, Subscription };
    struct Posted {
        Kind kind;
        ClientId client;
        std::string line;
        bool wanted;
    };

    void Run();
    void Turn();
    void Accept();
    void Read(ClientId id, Client* client);
    void HandleLines(ClientId id, Client* client);
    void Write(Client* client);
    void Deliver();
    void DeliverEvent(Client* client, const std::string& line);
    void Append(Client* client, std::string_view line);
    void DropDone();
    void Post(Posted posted);
    bool AnySubscribed() const;

    const Parts parts_;
    int listening_ = -1;
    FileHandle wakeUp_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};

    std::map<ClientId, Client> clients_; ///< server's thread only, like the next
    ClientId newest_ = 0;
    bool acceptLater_ = false; ///< there was no descriptor left
    std::chrono::steady_clock::time_point nextSecond_;

    std::mutex mutex_; ///< guards the rest
    std::deque<Posted> posted_;
    std::size_t postedEvents_ = 0;
    std::uint64_t unposted_ = 0; ///< events that found no room
};

} // namespace kvgrab
