#include "kv_td_factory.h"
#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

struct FactoryCase {
    const char* name;
    unsigned int size;
    unsigned int count;
    std::vector<std::uintptr_t> addresses; ///< the buffers, only looked at; none: real memory
    bool camera = true;
    int failure = 0; ///< of the transfer's initialisation
};

TEST(Factory, HandsEvenlySpacedBuffersToTheTransfer)
{
    Texts story;
    for (const FactoryCase& c : {
             FactoryCase{"even", 2000, 3, {}},
             {"a failed initialisation is only logged", 2000, 2, {}, true, -10},
             {"a single buffer is not handed over", 2000, 1, {}},
             {"without a camera", 0x800, 2, {0x1000, 0x2000}, false},
             {"uneven", 0x800, 3, {0x1000, 0x2000, 0x3800}},
             {"too close", 0x800, 3, {0x1000, 0x1700, 0x1E00}},
             {"falling", 0x800, 3, {0x3000, 0x2000, 0x1000}},
             {"one is missing", 0x800, 3, {0x1000, 0x2000, 0}},
             {"the first is missing", 0x800, 2, {0, 0x2000}},
             {"size 0", 0, 2, {}},
             {"no buffer", 1, 0, {}},
         }) {
        Rig rig;
        rig.Open();
        rig.host.AllocateMemory(2000);
        if (!c.addresses.empty()) {
            rig.host.bufferAt = [&c](std::uint32_t i) {
                return reinterpret_cast<void*>(c.addresses.at(i)); // NOLINT
            };
        }
        if (c.failure != 0) {
            sim::AddFault(CallFails("GevInitializeTransfer", c.failure));
        }
        CBufferFactory factory;
        unsigned int size = c.size;
        const void* const block =
            factory.GetBuffer(c.camera ? rig.handle : nullptr, &size, c.count);
        Texts lines = Rig::Of({"host", "gev", "log"});
        lines.push_back("gives " + (block == nullptr ? "nothing" : rig.host.NameOf(block)) +
                        ", size " + std::to_string(size));
        Append(story, c.name, Masked(lines));
    }
    EXPECT_TRUE(IsStory("factory", story));
    const Rig rig;
    EXPECT_EQ(CBufferFactory().GetBuffer(nullptr, nullptr, 2), nullptr);
}

// ---- frame memory ------------------------------------------------------------------------------

struct MemoryCase {
    const char* name;
    std::uint8_t asked;      ///< the host's conversion format
    std::uint8_t convFormat; ///< of an earlier call
};

TEST(FrameMemory, ConversionTakesASecondInstance)
{
    Texts story;
    for (const MemoryCase& c : {MemoryCase{"none", 0, 0},
                                {"MONO8T", 1, 0},
                                {"MONO12PT", 2, 0},
                                {"MONO12T", 3, 0},
                                {"YUV422PT", 5, 0},
                                {"Bayer8T", 9, 0},
                                {"unknown", 7, 0},
                                {"none asked, but one of an earlier call", 0, 3}}) {
        Rig rig;
        CCamProc& proc = rig.proc;
        rig.host.cformat = c.asked;
        proc.convFormat = c.convFormat;
        proc.formatCode = 1;
        proc.memInstance = 7;
        proc.convActive = 7;
        proc.convPixelFormat = 7;
        proc.fullFrameSize = 3072;
        proc.bufferFrameSize = 3328;
        proc.ProcInitMem(nullptr, 3300);
        Texts lines = Rig::Of({"host", "log"});
        char fields[100];
        snprintf(fields, sizeof fields, "instance %i, active %u, format 0x%08X, size %u",
                 proc.memInstance, proc.convActive, proc.convPixelFormat, proc.convFrameSize);
        lines.emplace_back(fields);
        Append(story, c.name, lines);
    }
    EXPECT_TRUE(IsStory("frame_memory", story));
}

TEST(FrameMemory, ConvertedImageIsTriggeredFirst)
{
    struct Case {
        const char* name;
        bool frame;
        bool converted;
        std::deque<int> results;
    };
    Texts story;
    for (const Case& c : {Case{"no image", false, false, {}},
                          {"accepted", true, false, {0}},
                          {"refused", true, false, {5}},
                          {"converted alone", false, true, {6}},
                          {"both", true, true, {0, 7}},
                          {"both, the converted one refused", true, true, {8, 0}}}) {
        Rig rig;
        rig.host.AllocateMemory(64);
        rig.host.triggerResults = c.results;
        rig.proc.pendingFrame = c.frame ? rig.host.BufferAt(2) : nullptr;
        rig.proc.pendingConvFrame = c.converted ? rig.host.BufferAt(3) : nullptr;
        const int result = rig.proc.ProcLoopMem(123456, 9);
        EXPECT_EQ(rig.proc.pendingFrame, nullptr);
        EXPECT_EQ(rig.proc.pendingConvFrame, nullptr);
        Append(story, std::string(c.name) + ": " + std::to_string(result), Rig::Of("host"));
    }
    EXPECT_TRUE(IsStory("frame_triggers", story));
}
