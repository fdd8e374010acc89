/** One fault at one place of a session, as given on the command line. */
#pragma once

#include "sim_control.h"
#include "tests/support/fake_host.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace faults
{

/** "write:Width:2:timeout" makes the second write of Width time out. */
struct Fault {
    std::string where; ///< read, write, call, frame, host, range or text
    std::string name;  ///< of the feature, camera call, host service or text; of frames "any"
    std::uint64_t nth; ///< occurrence, from 1; of range and text there is only one
    std::string how;   ///< one of WaysOf

    std::string Text() const;
    static std::optional<Fault> Parse(const std::string& text);

    /** Injects itself into a session. Ranges and texts are part of the camera from the start. */
    void ShapeCamera(sim::CameraSetup* camera) const;
    void Arm(rig::FakeHost* host) const;

    /** Raises an exception in an access that the control thread makes (the output lines). */
    bool ThrowsOnControlThread() const;
    /** May do so: the camera leaves, perhaps just when that thread reaches for it, or a line's
     *  range makes no sense. */
    bool MayThrowOnControlThread() const;
    /** Without the manufacturer's name no driver takes the camera for its own. */
    bool HidesCamera() const;
};

using Ways = std::vector<std::string_view>;
/** All the ways in which a place can fail; a host service has only those of its type. */
Ways WaysOf(std::string_view where);
/** What a camera tells of itself, by name. */
std::vector<std::string_view> CameraTexts();

} // namespace faults
