/** Where the registers of a camera's features lie. */
#pragma once

#include "sim/camera/camera_features.h"

#include <cstdint>
#include <vector>

namespace kvcam
{

/** A selector of a register, and the distance of two neighbouring cells in this direction. */
struct CellStep {
    genapi::Selector* selector = nullptr;
    std::uint32_t bytes = 0;
};

struct Register {
    /** A feature's value, one for each cell; or what the camera says about the feature. */
    enum class Kind { Value, Max, Available, Locked };

    genapi::Feature* feature = nullptr;
    Kind kind = Kind::Value;
    std::uint32_t address = 0;
    std::uint32_t bytes = 0;     ///< of one cell
    std::uint32_t cellBytes = 0; ///< the same, rounded up to whole words
    std::uint32_t cells = 1;
    /** Of a value: the selectors that the camera shows and that have a choice. What others select
     *  is the cell at their present position. */
    std::vector<CellStep> steps = {};

    std::uint32_t End() const { return address + cells * cellBytes; }
    bool IsText() const { return kind == Kind::Value && feature->Node()->AsString() != nullptr; }
};

class RegisterMap
{
public:
    /** For the features that the camera shows, one after the other from `base` on. */
    RegisterMap(sim::CameraFeatures& features, std::uint32_t base);

    /** In the order of their addresses, those of one feature together and its value first. */
    const std::vector<Register>& All() const { return registers_; }
    /** Null when no register has this address. */
    const Register* Find(std::uint32_t address) const;

private:
    void Add(Register added);

    std::vector<Register> registers_;
    std::uint32_t next_;
};

} // namespace kvcam
