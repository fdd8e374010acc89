#include "tests/support/fake_host.h"

#include "sim_control.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace rig
{

static constexpr std::size_t kPage = 4096;
static constexpr std::uint32_t kLargestFrame = 16U << 20;

std::string FakeHost::Text(const char* format, va_list arguments)
{
    char text[1024];
    vsnprintf(text, sizeof text, format, arguments);
    return text;
}

void FakeHost::AskForManual(float gainDb, float exposureUs)
{
    sweepGainMod = KvTd::kSweepManual;
    sweepEtimeMod = KvTd::kSweepManual;
    gainMan = gainDb;
    exptMan = exposureUs;
}

void FakeHost::AskForAutomatics()
{
    sweepProf = 1;
    sweepGainMod = KvTd::kSweepAuto;
    sweepEtimeMod = KvTd::kSweepAuto;
    atbright = 0.4F;
    gainlimsLow = 0;
    gainlimsHigh = 12;
    etlimsLow = 100;
    etlimsHigh = 8000;
    wbred = 150;
    wbblu = 120;
}

void FakeHost::Called(const char* service, const char* arguments, ...)
{
    if (onCall) {
        onCall(service);
    }
    if (recording) {
        va_list values;
        va_start(values, arguments);
        const std::string text = arguments == nullptr ? "" : Text(arguments, values);
        va_end(values);
        sim::AddJournal("host", std::string(service) + "(" + text + ")");
    }
}

std::string_view FakeHost::ExtremeNow(const char* service)
{
    std::string_view extreme;
    for (Tampering& tampering : tamperings) {
        if (tampering.service == service && --tampering.callsToGo == 0) {
            extreme = tampering.extreme;
        }
    }
    return extreme;
}

void FakeHost::AllocateMemory(std::uint32_t size)
{
    if (size > kLargestFrame) { // no memory, no buffers
        first_ = nullptr;
        return;
    }
    stride_ = (std::size_t{size} + kPage - 1) / kPage * kPage;
    memory_.assign(stride_ * bufferCount + kPage, 0);
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    first_ = memory_.data() + (kPage - address % kPage) % kPage;
}

const IoBoxConfig& FakeHost::SetAt(int set) const
{
    static const IoBoxConfig none;
    const auto index = static_cast<std::size_t>(set);
    return index < ioboxes.size() ? ioboxes[index] : none;
}

void* FakeHost::BufferAt(std::uint32_t index) const
{
    if (bufferAt) {
        return bufferAt(index);
    }
    return first_ == nullptr || index >= bufferCount ? nullptr : first_ + index * stride_;
}

std::string FakeHost::NameOf(const void* address) const
{
    if (!recording || address == nullptr) {
        return recording ? "null" : "";
    }
    for (std::uint32_t i = 0; first_ != nullptr && i < bufferCount; ++i) {
        if (address == first_ + i * stride_) {
            return "buf" + std::to_string(i);
        }
    }
    char text[32];
    snprintf(text, sizeof text, "%p", address);
    return text;
}

void RisingTable(std::uint8_t bits, std::uint16_t* lut)
{
    constexpr std::size_t kHighest = 4087;
    for (std::size_t i = 0; i < (std::size_t{1} << bits); ++i) {
        lut[i] = static_cast<std::uint16_t>(std::min(i * 16, kHighest));
    }
}

} // namespace rig
