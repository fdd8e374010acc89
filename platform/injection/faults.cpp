#include "injection/faults.h"

#include "gen_api.h"

#include <stdexcept>
#include <string>

namespace injection
{

namespace
{

bool Matches(const Fault& fault, Trigger trigger, std::string_view name, std::string_view camera)
{
    const bool access = trigger == Trigger::Read || trigger == Trigger::Write;
    if (fault.trigger != trigger && !(access && fault.trigger == Trigger::Access)) {
        return false;
    }
    const bool named = trigger != Trigger::Frame && !fault.name.empty();
    return (!named || fault.name == name) && (fault.camera.empty() || fault.camera == camera);
}

/** Something that is no standard exception. */
struct UnknownError {
};

} // namespace

FaultTable& FaultTable::Get()
{
    static FaultTable table;
    return table;
}

void FaultTable::Add(const Fault& fault)
{
    const std::lock_guard lock(mutex_);
    armed_.push_back({fault});
    count_.store(armed_.size(), std::memory_order_relaxed);
}

void FaultTable::Clear()
{
    const std::lock_guard lock(mutex_);
    armed_.clear();
    count_.store(0, std::memory_order_relaxed);
}

std::vector<Fault> FaultTable::Due(Trigger trigger, std::string_view name, std::string_view camera)
{
    std::vector<Fault> due;
    if (Empty()) {
        return due;
    }
    const std::lock_guard lock(mutex_);
    for (Armed& armed : armed_) {
        const Fault& fault = armed.fault;
        if (!Matches(fault, trigger, name, camera)) {
            continue;
        }
        const std::uint64_t match = ++armed.matches;
        if (match >= fault.nth && (fault.times == 0 || match - fault.nth < fault.times)) {
            due.push_back(fault);
        }
    }
    return due;
}

void RaiseFault(const Fault& fault)
{
    const std::string& text = fault.text;
    switch (fault.exception) {
    case ExceptionKind::InvalidArgument:
        throw GenICam_3_0::InvalidArgumentException(text);
    case ExceptionKind::Property:
        throw GenICam_3_0::PropertyException(text);
    case ExceptionKind::LogicalError:
        throw GenICam_3_0::LogicalErrorException(text);
    case ExceptionKind::OutOfRange:
        throw GenICam_3_0::OutOfRangeException(text);
    case ExceptionKind::Runtime:
        throw GenICam_3_0::RuntimeException(text);
    case ExceptionKind::Access:
        throw GenICam_3_0::AccessException(text);
    case ExceptionKind::Timeout:
        throw GenICam_3_0::TimeoutException(text);
    case ExceptionKind::DynamicCast:
        throw GenICam_3_0::DynamicCastException(text);
    case ExceptionKind::Standard:
        throw std::runtime_error(text);
    case ExceptionKind::Unknown:
        break;
    }
    throw UnknownError{};
}

} // namespace injection
