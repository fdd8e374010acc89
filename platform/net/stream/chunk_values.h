/** Values of features that a frame brings along in its chunk data. */
#pragma once

#include "net/library_owners.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace net
{

/** The chunk with this id: data, id and length, each of 4 bytes, one behind the other; read from
 * the end. Empty: there is none, or the lengths make no sense. */
std::span<const std::uint8_t> FindChunk(std::span<const std::uint8_t> chunks, std::uint32_t id);

/** Reads gain and exposure time as the camera's description says. The library does that only for
 *  frames that it received itself, so it is given the description once more, without the ids of
 *  the chunks: each port is then the memory of a device, which has the bytes of one chunk.
 *
 *  One thread at a time. Nothing of the camera's own device is used once it is made. */
class ChunkValues
{
public:
    struct Value {
        const char* chunk;   ///< feature of the description that reads it
        const char* feature; ///< whose value it is
        std::uint32_t id = 0;
    };

    /** Null: the description has no chunk that is read, or only in a form that can't be. */
    static std::unique_ptr<ChunkValues> Make(ArvDevice* camera);

    const std::vector<Value>& Values() const { return values_; }
    /** `chunks`: what follows the image. */
    std::optional<double> Read(const Value& value, std::span<const std::uint8_t> chunks);

private:
    ChunkValues() = default;

    std::string description_; ///< which the library doesn't copy
    Ref<ArvDevice> memory_;
    Ref<ArvGc> features_;
    std::vector<Value> values_;
};

} // namespace net
