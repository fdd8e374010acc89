/** What kvgrab reports to the service manager that started it (systemd): that it is ready, what it
 * is doing, that it is alive, and that it stops. Does nothing without one.
 *
 *  kvgrab is ready once everything is set up that doesn't depend on the camera. A service that
 *  waits for a camera that is switched off has started: its status line says what it waits for.
 *
 *  Grab thread only, and that is the point: what is said here proves that this thread is alive. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

namespace kvgrab
{

class ServiceManager
{
public:
    /** Sends one notification, "READY=1" for example. */
    using Send = std::function<void(const char* message)>;

    /** `watchdogNs`: the manager ends the service if it hears nothing for so long; 0: it doesn't.
     */
    ServiceManager(Send send, std::int64_t watchdogNs);
    /** The manager that the environment names, if there is one. */
    static ServiceManager FromEnvironment();

    void Ready(std::string_view status);
    /** Sends the status if it is a new one, and at most once a second unless it is `urgent`. */
    void Status(std::int64_t nowNs, std::string_view status, bool urgent = false);
    /** Call it at least a few times a second if the thread is not waiting for the camera; sends
     *  something four times in the watchdog's time. Does nothing on another thread. */
    void Alive(std::int64_t nowNs);
    /** How long the thread may wait for something without a call of Alive. */
    std::int64_t LongestWaitNs() const;
    void Stopping(std::string_view status);

private:
    Send send_;
    std::int64_t intervalNs_; ///< between two signs of life; 0: none are wanted
    std::int64_t aliveDueNs_ = INT64_MIN;
    std::int64_t statusDueNs_ = INT64_MIN;
    std::string status_;
    std::thread::id thread_ = std::this_thread::get_id();
};

} // namespace kvgrab
