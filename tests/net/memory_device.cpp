#include "tests/net/memory_device.h"

#include "net/nodes/value_cache.h"

#include <cstring>

namespace test
{

namespace
{

struct MemoryDevice {
    ArvDevice parent;
    Registers* registers;
    std::string* description;
    ArvGc* features;
};

struct MemoryDeviceClass {
    ArvDeviceClass parent;
};

gpointer parentClass = nullptr;

MemoryDevice* Of(ArvDevice* device)
{
    return reinterpret_cast<MemoryDevice*>(device);
}

gboolean ReadMemory(ArvDevice* device, guint64 address, guint32 size, void* data, GError** error)
{
    return net::ReadRegisters(device, address, {static_cast<std::uint8_t*>(data), size}, [&] {
        return RegistersOf(device).Access(address, size, data, false, error);
    });
}

gboolean WriteMemory(ArvDevice* device, guint64 address, guint32 size, void* data, GError** error)
{
    return net::WriteRegisters(device, address, {static_cast<std::uint8_t*>(data), size}, [&] {
        return RegistersOf(device).Access(address, size, data, true, error);
    });
}

ArvGc* Features(ArvDevice* device)
{
    return Of(device)->features;
}

const char* Text(ArvDevice* device, std::size_t* size)
{
    *size = Of(device)->description->size();
    return Of(device)->description->data();
}

void Finalize(GObject* object)
{
    auto* const device = reinterpret_cast<MemoryDevice*>(object);
    g_clear_object(&device->features);
    delete device->registers;
    delete device->description;
    G_OBJECT_CLASS(parentClass)->finalize(object);
}

void InitClass(gpointer type, gpointer)
{
    parentClass = g_type_class_peek_parent(type);
    auto* const calls = static_cast<ArvDeviceClass*>(type);
    calls->read_memory = ReadMemory;
    calls->write_memory = WriteMemory;
    calls->get_genicam = Features;
    calls->get_genicam_xml = Text;
    G_OBJECT_CLASS(type)->finalize = Finalize;
}

GType MemoryDeviceType()
{
    static const GType type =
        g_type_register_static_simple(ARV_TYPE_DEVICE, "KvMemoryDevice", sizeof(MemoryDeviceClass),
                                      InitClass, sizeof(MemoryDevice), nullptr, GTypeFlags{});
    return type;
}

} // namespace

std::uint32_t Registers::At(std::uint64_t address) const
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes_ + address, sizeof value);
    return GUINT32_FROM_BE(value);
}

void Registers::Put(std::uint64_t address, std::uint32_t value)
{
    value = GUINT32_TO_BE(value);
    std::memcpy(bytes_ + address, &value, sizeof value);
}

bool Registers::Access(std::uint64_t address, std::uint32_t size, void* data, bool write,
                       GError** error)
{
    ++(write ? writes : reads);
    const int code = serves  ? serves(address, size, data, write)
                     : fails ? fails(address, write)
                             : 0;
    if (code != 0) {
        g_set_error(error, ARV_DEVICE_ERROR, code, "told to fail with %d", code);
        return false;
    }
    if (serves) {
        return true;
    }
    if (address > kBytes || size > kBytes - address) {
        g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
                    "no register at 0x%" G_GINT64_MODIFIER "x", address);
        return false;
    }
    if (write) {
        std::memcpy(bytes_ + address, data, size);
    } else {
        std::memcpy(data, bytes_ + address, size);
    }
    return true;
}

ArvDevice* NewMemoryDevice(const std::string& description)
{
    auto* const device = static_cast<ArvDevice*>(g_object_new(MemoryDeviceType(), nullptr));
    Of(device)->registers = new Registers;
    Of(device)->description = new std::string(description);
    Of(device)->features =
        arv_gc_new(device, Of(device)->description->data(), Of(device)->description->size());
    return device;
}

Registers& RegistersOf(ArvDevice* device)
{
    return *Of(device)->registers;
}

} // namespace test
