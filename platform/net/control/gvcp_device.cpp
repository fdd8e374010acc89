#include "net/control/gvcp_device.h"

#include "base/printable.h"
#include "core/interruption.h"
#include "gev_api.h"
#include "net/control/background.h"
#include "net/control/checked_description.h"
#include "net/nodes/value_cache.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

namespace net
{

namespace
{

using Channel = std::shared_ptr<ControlChannel>;

gpointer parentClass = nullptr;

/** Of the device that this thread is opening: it is needed while the library constructs it. */
thread_local const Channel* opening = nullptr;

GQuark ChannelQuark()
{
    static const GQuark quark = g_quark_from_static_string("kv-control-channel");
    return quark;
}

std::array<std::uint8_t, sizeof(std::uint32_t)> Bytes(std::uint32_t value)
{
    value = htonl(value);
    std::array<std::uint8_t, sizeof value> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

ControlChannel& ChannelOf(ArvDevice* device)
{
    return **static_cast<Channel*>(g_object_get_qdata(G_OBJECT(device), ChannelQuark()));
}

gboolean ReadMemory(ArvDevice* device, guint64 address, guint32 size, void* data, GError** error)
{
    const std::span bytes(static_cast<std::uint8_t*>(data), size);
    return ReadRegisters(device, address, bytes,
                         [&] { return ChannelOf(device).Read(address, bytes, error); });
}

gboolean WriteMemory(ArvDevice* device, guint64 address, guint32 size, void* data, GError** error)
{
    const std::span bytes(static_cast<const std::uint8_t*>(data), size);
    return WriteRegisters(device, address, bytes,
                          [&] { return ChannelOf(device).Write(address, bytes, error); });
}

/** Registers that the description doesn't know, too: always asked for. */
gboolean ReadRegister(ArvDevice* device, guint64 address, guint32* value, GError** error)
{
    return ChannelOf(device).ReadRegister(address, value, error);
}

gboolean WriteRegister(ArvDevice* device, guint64 address, guint32 value, GError** error)
{
    const std::array<std::uint8_t, sizeof value> bytes = Bytes(value);
    return WriteRegisters(device, address, bytes,
                          [&] { return ChannelOf(device).WriteRegister(address, value, error); });
}

/** The library would make streams only for a device that it takes for the controller. It asks the
 *  camera for some registers over its own socket then, which can't be called off, only left. */
ArvStream* CreateStream(ArvDevice* device, ArvStreamCallback callback, void* user,
                        GDestroyNotify destroy, GError** error)
{
    struct Made {
        Ref<ArvStream> stream;
        std::unique_ptr<ErrorSlot> error = std::make_unique<ErrorSlot>();
    };
    const std::shared_ptr<ArvDevice> kept(ARV_DEVICE(g_object_ref(device)), Unref());
    const auto work = Background<Made>::Begin([=] {
        Made made;
        made.stream.reset(static_cast<ArvStream*>(g_initable_new(
            ARV_TYPE_GV_STREAM, nullptr, made.error->Out(), "device", kept.get(), "callback",
            callback, "callback-data", user, "destroy-notify", destroy, nullptr)));
        return made;
    });
    ControlChannel& channel = ChannelOf(device);
    std::optional<Made> made =
        work->Wait([&channel] { return gevplat::Interruption::IsOn() || !channel.IsAnswering(); });
    if (!made) {
        channel.Abandon();
        g_set_error_literal(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_TIMEOUT,
                            "the camera does not answer, or the access was interrupted");
        return nullptr;
    }
    if (made->stream == nullptr && *made->error) {
        g_propagate_error(error, g_error_copy(made->error->Get()));
    }
    return made->stream.release();
}

void InitClass(gpointer type, gpointer)
{
    parentClass = g_type_class_peek_parent(type);
    auto* const calls = static_cast<ArvDeviceClass*>(type);
    calls->read_memory = ReadMemory;
    calls->write_memory = WriteMemory;
    calls->read_register = ReadRegister;
    calls->write_register = WriteRegister;
    calls->create_stream = CreateStream;
}

void InitDevice(GTypeInstance* device, gpointer)
{
    g_object_set_qdata_full(G_OBJECT(device), ChannelQuark(), new Channel(*opening),
                            [](gpointer channel) { delete static_cast<Channel*>(channel); });
}

GType GvcpDeviceType()
{
    static const GType type = [] {
        GTypeQuery parent{};
        g_type_query(ARV_TYPE_GV_DEVICE, &parent);
        return g_type_register_static_simple(ARV_TYPE_GV_DEVICE, "KvGvcpDevice", parent.class_size,
                                             InitClass, parent.instance_size, InitDevice,
                                             GTypeFlags{});
    }();
    return type;
}

Ref<GInetAddress> InetAddress(std::uint32_t address)
{
    const std::uint32_t bytes = htonl(address);
    return Ref<GInetAddress>(g_inet_address_new_from_bytes(reinterpret_cast<const guint8*>(&bytes),
                                                           G_SOCKET_FAMILY_IPV4));
}

/** Of the description that this thread is opening: what the library says first about its XML. */
thread_local std::string* xmlFault = nullptr;

/** In place of a handler that writes to the standard error output. */
void TakeXmlFault(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer)
{
    if (xmlFault == nullptr) {
        g_log_default_handler(domain, level, message, nullptr);
    } else if (xmlFault->empty()) {
        const std::string_view text(message);
        *xmlFault = base::Printable(text.substr(0, text.find('\n')));
    }
}

void ListenForXmlFaults()
{
    constexpr auto kFaults =
        static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING);
    for (const char* domain : {"XML", static_cast<const char*>(nullptr)}) {
        g_log_set_handler(domain, kFaults, TakeXmlFault, nullptr);
    }
}

/** The library reads the description over its own socket once more. */
bool HasText(ArvDevice* device, const std::string& text)
{
    std::size_t size = 0;
    const char* const read = arv_device_get_genicam_xml(device, &size);
    return read == nullptr || std::string_view(read, size) == text;
}

/** On a thread of its own. */
Opened OpenHere(const Channel& channel, std::uint32_t address, const std::string& description)
{
    static std::once_flag listening;
    std::call_once(listening, ListenForXmlFaults);
    const Ref<GInetAddress> own = InetAddress(channel->OwnAddress());
    const Ref<GInetAddress> camera = InetAddress(address);
    ErrorSlot error;
    Opened opened;
    opening = &channel;
    xmlFault = &opened.remark;
    Ref<ArvDevice> device(static_cast<ArvDevice*>(
        g_initable_new(GvcpDeviceType(), nullptr, error.Out(), "interface-address", own.get(),
                       "device-address", camera.get(), nullptr)));
    opening = nullptr;
    xmlFault = nullptr;
    if (device == nullptr) {
        opened.status = kGevNotFound;
        opened.error = error.Text();
        return opened;
    }
    if (!HasText(device.get(), description)) {
        arv_gv_device_leave_control(ARV_GV_DEVICE(device.get()), nullptr);
        opened.status = kGevError;
        opened.error = "its description changes while it is read";
        return opened;
    }
    // The library has taken control over its own socket. Ours takes it over; the library's
    // heartbeat pauses from then on.
    auto* const library = ARV_GV_DEVICE(device.get());
    if (arv_gv_device_is_controller(library) == FALSE ||
        arv_gv_device_leave_control(library, nullptr) == FALSE || !channel->TakeControl(nullptr)) {
        opened.status = kGevAccessDenied; // somebody was faster
        return opened;
    }
    opened.device = std::move(device);
    return opened;
}

} // namespace

Opened OpenThrough(const Channel& channel, std::uint32_t address)
{
    std::string fault;
    const std::string description = ReadDescription(*channel, &fault);
    if (gevplat::Interruption::IsOn()) {
        return {.status = kGevTimeout, .device = nullptr, .error = {}, .remark = {}};
    }
    if (!fault.empty() && channel->IsAnswering()) {
        return {.status = kGevError, .device = nullptr, .error = fault, .remark = {}};
    }
    const auto work = Background<Opened>::Begin(
        [channel, address, description] { return OpenHere(channel, address, description); });
    std::optional<Opened> opened = work->Wait([&channel] {
        return gevplat::Interruption::IsOn() || !channel->IsAnswering() || channel->IsSilent();
    });
    if (!opened && gevplat::Interruption::IsOn()) {
        // The library may have taken control just now, which nobody but itself can give back.
        constexpr auto kLast = std::chrono::milliseconds(300);
        const auto end = std::chrono::steady_clock::now() + kLast;
        opened = work->Wait([&channel, end] {
            return !channel->IsAnswering() || std::chrono::steady_clock::now() >= end;
        });
    }
    if (opened && !(opened->status != kGevOk && gevplat::Interruption::IsOn())) {
        return std::move(*opened);
    }
    channel->GiveControlBack();
    if (gevplat::Interruption::IsOn()) {
        return {.status = kGevTimeout, .device = nullptr, .error = {}, .remark = {}};
    }
    return {.status = kGevNotFound, .device = nullptr, .error = "it does not answer", .remark = {}};
}

void CloseThrough(const Channel& channel, ArvDevice* device)
{
    channel->GiveControlBack();
    const auto work = Background<bool>::Begin([device] {
        g_object_unref(device); // the library tries to give control back itself
        return true;
    });
    constexpr auto kAnswered = std::chrono::milliseconds(200);
    const auto end = std::chrono::steady_clock::now() + kAnswered;
    work->Wait([&channel, end] {
        return !channel->IsAnswering() || std::chrono::steady_clock::now() >= end;
    });
}

} // namespace net
