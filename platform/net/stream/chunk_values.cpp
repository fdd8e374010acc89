#include "net/stream/chunk_values.h"

#include "net/description/description.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <string_view>

namespace net
{

namespace
{

constexpr std::size_t kTrailer = 8; ///< id and length, behind the data

struct ChunkMemory {
    ArvDevice parent;
    const std::uint8_t* bytes;
    std::size_t size;
};

struct ChunkMemoryClass {
    ArvDeviceClass parent;
};

gboolean ReadMemory(ArvDevice* device, guint64 address, guint32 size, void* data, GError** error)
{
    const auto* const chunk = reinterpret_cast<ChunkMemory*>(device);
    if (address > chunk->size || size > chunk->size - address) {
        g_set_error_literal(error, ARV_DEVICE_ERROR,
                            ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
                            "the chunk is too short");
        return FALSE;
    }
    std::memcpy(data, chunk->bytes + address, size);
    return TRUE;
}

gboolean WriteMemory(ArvDevice*, guint64, guint32, void*, GError** error)
{
    g_set_error_literal(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT,
                        "a chunk can't be written");
    return FALSE;
}

void InitClass(gpointer type, gpointer)
{
    auto* const calls = static_cast<ArvDeviceClass*>(type);
    calls->read_memory = ReadMemory;
    calls->write_memory = WriteMemory;
}

GType ChunkMemoryType()
{
    static const GType type =
        g_type_register_static_simple(ARV_TYPE_DEVICE, "KvChunkMemory", sizeof(ChunkMemoryClass),
                                      InitClass, sizeof(ChunkMemory), nullptr, GTypeFlags{});
    return type;
}

std::uint32_t Take32(const std::uint8_t* from)
{
    return static_cast<std::uint32_t>(from[0]) << 24 | static_cast<std::uint32_t>(from[1]) << 16 |
           static_cast<std::uint32_t>(from[2]) << 8 | from[3];
}

/** The ports that a value is read through. */
class Ports
{
public:
    explicit Ports(ArvGc* features) : features_(features) {}

    /** The chunk that has all of the value; none if other memory is needed as well. */
    std::optional<std::uint32_t> ChunkOf(gpointer node)
    {
        Follow(node);
        return known_ && ids_.size() == 1 ? std::optional(*ids_.begin()) : std::nullopt;
    }

private:
    void Follow(gpointer node)
    {
        static constexpr std::array<std::string_view, 8> kLinks = {
            "pValue", "pAddress",  "pIndex",        "pLength",
            "pPort",  "pVariable", "pValueIndexed", "pValueDefault"};
        if (!visited_.insert(node).second) {
            return;
        }
        if (ARV_IS_GC_PORT(node)) {
            AddPort(node);
            return;
        }
        ForEachChild(node, [&](ArvDomNode* child) {
            const char* const name = arv_dom_node_get_node_name(child);
            if (ARV_IS_GC_SWISS_KNIFE(child)) { // an address that is computed
                Follow(child);
            } else if (name != nullptr && std::ranges::count(kLinks, name) != 0) {
                ArvGcNode* const target = arv_gc_get_node(features_, LinkText(child).c_str());
                known_ = known_ && target != nullptr;
                if (target != nullptr) {
                    Follow(target);
                }
            }
        });
        ArvDomNode* const parent = arv_dom_node_get_parent_node(ARV_DOM_NODE(node));
        const char* const around = parent == nullptr ? nullptr : arv_dom_node_get_node_name(parent);
        if (around != nullptr && std::string_view(around) == "StructReg") {
            Follow(parent);
        }
    }

    void AddPort(gpointer port)
    {
        std::string id;
        ForEachChild(port, [&](ArvDomNode* child) {
            const char* const name = arv_dom_node_get_node_name(child);
            if (name != nullptr && std::string_view(name) == "ChunkID") {
                id = LinkText(child);
            }
        });
        known_ = known_ && !id.empty();
        constexpr int kHexadecimal = 16;
        ids_.insert(
            static_cast<std::uint32_t>(g_ascii_strtoull(id.c_str(), nullptr, kHexadecimal)));
    }

    ArvGc* const features_;
    std::set<gpointer> visited_;
    std::set<std::uint32_t> ids_;
    bool known_ = true;
};

/** In place of the ids of chunks there are blanks. */
std::string WithoutChunkIds(std::string description)
{
    constexpr std::string_view kBegin = "<ChunkID>";
    constexpr std::string_view kEnd = "</ChunkID>";
    for (std::size_t at = 0; (at = description.find(kBegin, at)) != std::string::npos;) {
        const std::size_t end = description.find(kEnd, at);
        if (end == std::string::npos) {
            break;
        }
        std::fill(description.begin() + static_cast<std::ptrdiff_t>(at),
                  description.begin() + static_cast<std::ptrdiff_t>(end + kEnd.size()), ' ');
    }
    return description;
}

} // namespace

std::span<const std::uint8_t> FindChunk(std::span<const std::uint8_t> chunks, std::uint32_t id)
{
    while (chunks.size() >= kTrailer) {
        const std::uint8_t* const trailer = chunks.data() + chunks.size() - kTrailer;
        const std::size_t before = chunks.size() - kTrailer;
        const std::size_t size = Take32(trailer + 4);
        if (size > before) { // also that of the image, which lies before these bytes
            return {};
        }
        if (Take32(trailer) == id) {
            return chunks.subspan(before - size, size);
        }
        chunks = chunks.first(before - size);
    }
    return {};
}

std::unique_ptr<ChunkValues> ChunkValues::Make(ArvDevice* camera)
{
    static constexpr Value kValues[] = {{"ChunkGain", "Gain"},
                                        {"ChunkExposureTime", "ExposureTime"}};
    ArvGc* const features = arv_device_get_genicam(camera);
    std::unique_ptr<ChunkValues> made(new ChunkValues);
    Description examined;
    for (Value value : kValues) {
        ArvGcNode* const node = arv_gc_get_node(features, value.chunk);
        if (!ARV_IS_GC_FLOAT(node) || !examined.Examine(ARV_GC_FEATURE_NODE(node)).fault.empty()) {
            continue;
        }
        const std::optional<std::uint32_t> id = Ports(features).ChunkOf(node);
        if (id) {
            value.id = *id;
            made->values_.push_back(value);
        }
    }
    std::size_t size = 0;
    const char* const description = arv_device_get_genicam_xml(camera, &size);
    if (made->values_.empty() || description == nullptr) {
        return nullptr;
    }
    made->description_ = WithoutChunkIds(std::string(description, size));
    made->memory_.reset(static_cast<ArvDevice*>(g_object_new(ChunkMemoryType(), nullptr)));
    made->features_.reset(
        arv_gc_new(made->memory_.get(), made->description_.data(), made->description_.size()));
    return made->features_ == nullptr ? nullptr : std::move(made);
}

std::optional<double> ChunkValues::Read(const Value& value, std::span<const std::uint8_t> chunks)
{
    const std::span<const std::uint8_t> chunk = FindChunk(chunks, value.id);
    if (chunk.empty()) {
        return std::nullopt;
    }
    auto* const memory = reinterpret_cast<ChunkMemory*>(memory_.get());
    memory->bytes = chunk.data();
    memory->size = chunk.size();
    ErrorSlot error;
    const double read = arv_gc_float_get_value(
        ARV_GC_FLOAT(arv_gc_get_node(features_.get(), value.chunk)), error.Out());
    memory->size = 0;
    return error ? std::nullopt : std::optional(read);
}

} // namespace net
