/** A camera without a network: a feature description and the registers behind it, in memory. Counts
 *  the accesses that reach it, and refuses or delays those that a test names. */
#pragma once

#include <arv.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace test
{

/** What a memory device holds; it lives as long as the device. Registers are 32 bits, big endian.
 */
class Registers
{
public:
    static constexpr std::size_t kBytes = 0x10000;

    std::uint32_t At(std::uint64_t address) const;
    void Put(std::uint64_t address, std::uint32_t value);

    std::atomic<int> reads{0};
    std::atomic<int> writes{0};
    /** Asked at each access, on the thread that makes it: the error it fails with, or 0. */
    std::function<int(std::uint64_t address, bool write)> fails;
    /** In place of the bytes here: does an access, and returns the error it fails with, or 0. */
    std::function<int(std::uint64_t address, std::uint32_t size, void* data, bool write)> serves;

    // For the device.
    bool Access(std::uint64_t address, std::uint32_t size, void* data, bool write, GError** error);

private:
    std::uint8_t bytes_[kBytes]{};
};

/** The caller owns the reference. Null when the description can't be read at all. */
ArvDevice* NewMemoryDevice(const std::string& description);
Registers& RegistersOf(ArvDevice* device);

} // namespace test
