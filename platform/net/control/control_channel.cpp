#include "net/control/control_channel.h"

#include "core/interruption.h"
#include "gev_api.h"
#include "net/control/leavable_access.h"
#include "net/control/session_end.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <iterator>
#include <string>

namespace net
{

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds kSlowAccess(2500); ///< for which any access may take
constexpr milliseconds kBeyondPatience(500);
constexpr milliseconds kLook(110);
constexpr milliseconds kLongestEnd(1300); ///< with the look after it, a close stays below 2 s
constexpr milliseconds kInterruptedEnd(500);
constexpr std::uint32_t kWithControl = 2;

ArvDeviceError CodeOf(std::uint32_t status)
{
    constexpr std::uint32_t kFirst = 0x8001; // NOT_IMPLEMENTED, to 0x8007, BUSY, in this order
    constexpr ArvDeviceError kCodes[] = {ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED,
                                         ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER,
                                         ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
                                         ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT,
                                         ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT,
                                         ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED,
                                         ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY};
    const std::uint32_t index = status - kFirst;
    return index < std::size(kCodes) ? kCodes[index] : ARV_DEVICE_ERROR_PROTOCOL_ERROR;
}

/** How the library has errors. */
void PutError(GError** error, ArvDeviceError code, const std::string& text)
{
    g_set_error_literal(error, ARV_DEVICE_ERROR, code, text.c_str());
}

} // namespace

ControlChannel::ControlChannel(std::uint32_t address, int patienceMs)
    : patience_(patienceMs), client_(address), idleSince_(GvcpClient::Clock::now())
{
}

/** For how long the next access waits. */
AnswerTime ControlChannel::Time() const
{
    if (!SessionEnd::IsUnderWay()) {
        const auto* const leave = LeavableAccess::Flag();
        return {.usual = leave == nullptr ? LongestAccess() : patience_, .leave = leave};
    }
    if (!IsAnswering()) { // it is only sent: a camera that comes back finds it
        return {.usual = milliseconds(0), .interrupted = milliseconds(1)};
    }
    return {.usual = std::min(kLongestEnd, patience_), .interrupted = kInterruptedEnd};
}

bool ControlChannel::IsSilent()
{
    const std::unique_lock lock(mutex_, std::try_to_lock);
    return lock.owns_lock() &&
           GvcpClient::Clock::now() - std::max(client_.HeardAt(), idleSince_) > LongestAccess();
}

void ControlChannel::Abandon()
{
    answering_.store(false, std::memory_order_release);
    abandoned_.store(true, std::memory_order_release);
}

milliseconds ControlChannel::LongestAccess() const
{
    return std::max(kSlowAccess, patience_ + kBeyondPatience);
}

/** Under the lock: an access ended so. */
void ControlChannel::Took(Answer answer)
{
    const auto begin = idleSince_;
    // An access in the background excuses no silence.
    const bool excuses = answer != Answer::Silent || LeavableAccess::Flag() == nullptr;
    idleSince_ = excuses ? GvcpClient::Clock::now() : begin;
    if (answer == Answer::Refused) {
        answering_.store(false, std::memory_order_release);
        return;
    }
    if (answer != Answer::Silent || !IsAnswering() || client_.HeardAt() > begin) {
        return;
    }
    // A camera may ignore one thing and answer everything else.
    std::uint32_t privilege = 0;
    const Answer look = client_.ReadRegister(kControlPrivilege, &privilege, {.usual = kLook});
    if (look == Answer::Silent || look == Answer::Refused || look == Answer::Interrupted) {
        answering_.store(false, std::memory_order_release);
    }
    idleSince_ = excuses ? GvcpClient::Clock::now() : idleSince_;
}

/** One access: `ask` is given the time for it. */
template <class Ask>
bool ControlChannel::Access(const char* what, std::uint64_t at, GError** error, Ask ask)
{
    const std::lock_guard lock(mutex_);
    if (closed_ || (!IsAnswering() && !SessionEnd::IsUnderWay())) {
        PutError(error, ARV_DEVICE_ERROR_TIMEOUT, "the camera does not answer");
        return false;
    }
    idleSince_ = GvcpClient::Clock::now();
    const Answer answer = ask(Time());
    Took(answer);
    if (answer == Answer::Given) {
        return true;
    }
    const std::string where = fmt::format("{} 0x{:04x}", what, at);
    switch (answer) {
    case Answer::Given:
        break;
    case Answer::Denied:
        PutError(error, CodeOf(client_.Error()),
                 client_.Error() == 0
                     ? fmt::format("the camera's answer to {} has another size or address", where)
                     : fmt::format("the camera refuses to {} (status 0x{:04x})", where,
                                   client_.Error()));
        break;
    case Answer::Interrupted:
        PutError(error, ARV_DEVICE_ERROR_TIMEOUT, "the access was interrupted");
        break;
    case Answer::Refused:
    case Answer::Silent:
        PutError(error, ARV_DEVICE_ERROR_TIMEOUT, fmt::format("no answer to {}", where));
        break;
    }
    return false;
}

/** Descriptions may compute any number for an address, of which the wire has 32 bits. */
bool ControlChannel::Exists(std::uint64_t address, std::size_t size, GError** error)
{
    constexpr std::uint64_t kBehindLast = std::uint64_t{1} << 32;
    if (address < kBehindLast && size <= kBehindLast - address) {
        return true;
    }
    PutError(error, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
             fmt::format("no camera has {} bytes at 0x{:04x}", size, address));
    return false;
}

bool ControlChannel::Read(std::uint64_t address, std::span<std::uint8_t> bytes, GError** error)
{
    constexpr std::size_t kWord = 4;
    if (!Exists(address, bytes.size(), error)) {
        return false;
    }
    std::array<std::uint8_t, GvcpClient::kLargestBlock> block{};
    while (!bytes.empty()) {
        const std::size_t size = std::min(bytes.size(), block.size());
        const std::span whole = std::span(block).first((size + kWord - 1) / kWord * kWord);
        const bool read = Access("read the memory at", address, error, [&](AnswerTime time) {
            return client_.ReadMemory(static_cast<std::uint32_t>(address), whole, time);
        });
        if (!read) {
            return false;
        }
        std::copy_n(block.begin(), size, bytes.begin());
        bytes = bytes.subspan(size);
        address += size;
    }
    return true;
}

bool ControlChannel::Write(std::uint64_t address, std::span<const std::uint8_t> bytes,
                           GError** error)
{
    if (!Exists(address, bytes.size(), error)) {
        return false;
    }
    while (!bytes.empty()) {
        const std::size_t size = std::min(bytes.size(), GvcpClient::kLargestBlock);
        const bool written = Access("write the memory at", address, error, [&](AnswerTime time) {
            return client_.WriteMemory(static_cast<std::uint32_t>(address), bytes.first(size),
                                       time);
        });
        if (!written) {
            return false;
        }
        bytes = bytes.subspan(size);
        address += size;
    }
    return true;
}

bool ControlChannel::ReadRegister(std::uint64_t address, std::uint32_t* value, GError** error)
{
    return Exists(address, sizeof *value, error) &&
           Access("read the register", address, error, [&](AnswerTime time) {
               return client_.ReadRegister(static_cast<std::uint32_t>(address), value, time);
           });
}

bool ControlChannel::WriteRegister(std::uint64_t address, std::uint32_t value, GError** error)
{
    return Exists(address, sizeof value, error) &&
           Access("write the register", address, error, [&](AnswerTime time) {
               return client_.WriteRegister(static_cast<std::uint32_t>(address), value, time);
           });
}

int ControlChannel::MayTakeControl()
{
    const std::lock_guard lock(mutex_);
    std::uint32_t privilege = 0;
    switch (client_.ReadRegister(kControlPrivilege, &privilege, {.usual = patience_})) {
    case Answer::Given:
        return privilege == 0 ? kGevOk : kGevAccessDenied;
    case Answer::Denied:
        return kGevAccessDenied;
    case Answer::Interrupted:
        return kGevTimeout;
    case Answer::Refused:
    case Answer::Silent:
        break;
    }
    return kGevNotFound;
}

bool ControlChannel::TakeControl(GError** error)
{
    const bool taken = WriteRegister(kControlPrivilege, kWithControl, error);
    const std::lock_guard lock(mutex_);
    controls_ = taken;
    return taken;
}

void ControlChannel::GiveControlBack()
{
    const SessionEnd reachesOut;
    const std::lock_guard lock(mutex_);
    if (controls_ && !closed_) {
        idleSince_ = GvcpClient::Clock::now();
        Took(client_.WriteRegister(kControlPrivilege, 0, Time()));
    }
    closed_ = true;
}

ControlChannel::Control ControlChannel::Look()
{
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock()) {
        return Control::Unknown;
    }
    // A heartbeat goes out also while the host interrupts the cameras.
    constexpr AnswerTime kTime{.usual = kLook, .interrupted = kLook};
    std::uint32_t privilege = 1; // of a camera that refuses to tell: taken as it was
    Answer answer = client_.ReadRegister(kControlPrivilege, &privilege, kTime);
    bool lost = privilege == 0;
    if (answer == Answer::Given && !lost && gone_) { // meanwhile somebody may have taken control
        answer = client_.WriteRegister(kControlPrivilege, kWithControl, kTime);
        lost = answer == Answer::Denied;
    }
    if (lost) {
        closed_ = true;
        return Control::Lost;
    }
    if (answer == Answer::Given || answer == Answer::Denied) {
        gone_ = false;
        answering_.store(!IsAbandoned(), std::memory_order_release);
        return Control::Ours;
    }
    const auto silentSince = std::max(client_.HeardAt(), idleSince_);
    if (!gone_ && answer != Answer::Refused && GvcpClient::Clock::now() - silentSince < patience_) {
        return Control::Unknown;
    }
    gone_ = true;
    answering_.store(false, std::memory_order_release);
    return Control::Gone;
}

} // namespace net
