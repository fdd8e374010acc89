/** Cameras on loopback: processes of their own. Which program they run (CAMERA) is up
 * to the build: kvcam, or the camera of the network library (fake_camera/). */
#pragma once

#include "tests/system/program.h"

#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/** Network cameras and no others from here on. Skips the test, and says so, where there is no
 *  loopback. */
void UseNetworkCameras(int patienceMs = 1500);

/** Whether frames are received by the platform itself, not by the network library: there is a test
 *  program for each. */
bool OwnReceiver();

/** Sends datagrams to a port of 127.0.0.1, as a program that is none of ours. */
class DatagramSocket
{
public:
    explicit DatagramSocket(std::uint16_t port);
    ~DatagramSocket();
    DatagramSocket(const DatagramSocket&) = delete;
    DatagramSocket& operator=(const DatagramSocket&) = delete;

    void Send(const std::vector<std::uint8_t>& datagram) const;

private:
    int socket_;
};

/** The description of the camera's features, with `text` wherever it has `own`. */
std::string DescriptionWith(const std::string& own, const std::string& text);

/** What the platform logs for the life of this object; there is one at a time. */
class PlatformLog
{
public:
    /** `heard` is called for each line, on the thread that logs it. */
    explicit PlatformLog(std::function<void()> heard = [] {});
    ~PlatformLog();
    /** Until a line begins with `text`; false: none did for a minute. */
    bool WaitFor(const std::string& text);
    /** All that was logged so far. */
    std::vector<std::string> Lines() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

/** On the network for the life of this object. Skips the test, and says so, where no interface has
 *  the address; the other calls then do nothing. */
class LoopbackCamera
{
public:
    /** Returns when the camera answers. */
    explicit LoopbackCamera(const std::string& serial, const std::string& address = "127.0.0.1",
                            const std::vector<std::string>& options = {});

    /** As if its cable were pulled: it stops where it is. Returns when it has. */
    void Freeze() const;
    void Continue() const { Signal(SIGCONT); }
    /** As if its power were cut. Returns when it is gone. */
    void Kill();

private:
    void Start(const std::string& serial, const std::string& address,
               const std::vector<std::string>& options);
    void Signal(int number) const;

    TempFolder folder_;
    std::unique_ptr<Program> process_;
};
