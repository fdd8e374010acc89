/** One run of each side: what it received and what that cost. */
#pragma once

#include "benchmarks/network/child.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

struct Case {
    std::int64_t width;
    std::int64_t height;
    int packetSize; ///< bytes
    double fps;
};

struct Programs {
    std::string self;
    std::string kvgrab;
    std::string camera;          ///< the program and its arguments, separated by blanks
    std::string cameraNamespace; ///< file of the network namespace it runs in; empty: this one
    std::string address;         ///< of the camera
    std::string folder;          ///< for configuration and trace
    int turns = 4;
    int buffers = 16;
    double seconds = 2; ///< length of a run
};

struct Run {
    double framesPerSecond = 0; ///< that the camera sent
    double received = 0;        ///< complete frames
    double lost = 0;
    double spared = 0; ///< lost although the camera sent all their packets
    double resent = 0; ///< packets
    Load load;         ///< us of CPU time per frame
};

enum class Side {
    Own,           ///< the camera calls, without any capability
    LibraryUdp,    ///< the network library's UDP socket, without any capability
    LibraryPacket, ///< its packet socket
    Whole          ///< kvgrab, driver and platform
};

/** A camera that runs for the life of this object. */
class Camera
{
public:
    /** `faults` are as kvcam takes them. Raises std::runtime_error if the camera doesn't start. */
    explicit Camera(const Programs& programs, const std::vector<std::string>& faults = {});
    pid_t Pid() const { return process_.Pid(); }

private:
    Background process_;
};

/** Runs one side for about `seconds`. With `damagedEvery`, the camera damages the frames whose
 *  number it divides. Its load is measured if `watched`. Raises std::runtime_error if the program
 *  fails, or nothing could be measured. */
Run RunSide(Side side, const Programs& programs, const Case& one, const Camera& camera,
            double seconds, bool watched = true, std::uint64_t damagedEvery = 0);

} // namespace bench
