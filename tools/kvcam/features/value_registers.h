/** The registers of the camera's own features. */
#pragma once

#include "sim/camera/camera_model.h"
#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/features/register_map.h"

#include <cstdint>
#include <span>

namespace kvcam
{

/** Numbers are accessed as a whole. A text may be read in parts that begin at a whole word, and is
 *  written from its beginning. */
class ValueRegisters : public Memory
{
public:
    ValueRegisters(sim::CameraModel& camera, const RegisterMap& map) : camera_(camera), map_(map) {}

    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override;
    Status Write(std::uint32_t address, std::span<const std::uint8_t> bytes) override;

private:
    /** What an access is about: a cell of a register, and where in it. */
    struct Place {
        const Register* reg = nullptr;
        std::uint32_t cell = 0;
        std::uint32_t first = 0;
    };
    Status Find(std::uint32_t address, std::size_t bytes, Place* place) const;
    void ReadValue(const Place& place, std::span<std::uint8_t> bytes);
    void ReadStatus(const Register& reg, std::span<std::uint8_t> bytes);

    sim::CameraModel& camera_;
    const RegisterMap& map_;
};

} // namespace kvcam
