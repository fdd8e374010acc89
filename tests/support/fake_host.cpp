#include "tests/support/fake_host.h"

#include <algorithm>

namespace rig
{

static constexpr std::uint32_t kLargestFrame = 16U << 20;

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
    const bool fits = size <= kLargestFrame; // otherwise there are no buffers
    pagesPerBuffer_ = size / sizeof(Page) + 1;
    memory_.assign(fits ? pagesPerBuffer_ * bufferCount : 0, Page{});
}

const IoBoxConfig& FakeHost::SetAt(int set) const
{
    static const IoBoxConfig none;
    const auto index = static_cast<std::size_t>(set);
    return index < ioboxes.size() ? ioboxes[index] : none;
}

void* FakeHost::BufferAt(std::uint32_t index)
{
    if (bufferAt) {
        return bufferAt(index);
    }
    const std::size_t first = index * pagesPerBuffer_;
    return first < memory_.size() ? &memory_[first] : nullptr;
}

std::string FakeHost::NameOf(const void* address) const
{
    if (!recording || address == nullptr) {
        return recording ? "null" : "";
    }
    for (std::size_t i = 0; i < memory_.size(); i += pagesPerBuffer_) {
        if (address == &memory_[i]) {
            return fmt::format("buf{}", i / pagesPerBuffer_);
        }
    }
    return fmt::format("{}", address);
}

void RisingTable(std::uint8_t bits, std::uint16_t* lut)
{
    constexpr std::size_t kHighest = 4087;
    for (std::size_t i = 0; i < (std::size_t{1} << bits); ++i) {
        lut[i] = static_cast<std::uint16_t>(std::min(i * 16, kHighest));
    }
}

} // namespace rig
