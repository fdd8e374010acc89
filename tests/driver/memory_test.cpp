#include "kv_td_factory.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

/** Buffers of the host at these addresses; they are only looked at. */
static void PlaceBuffers(Rig& rig, std::vector<std::uintptr_t> addresses)
{
    rig.host.bufferAt = [addresses = std::move(addresses)](std::uint32_t i) {
        return reinterpret_cast<void*>(addresses.at(i)); // NOLINT(performance-no-int-to-ptr)
    };
}

TEST(Factory, EvenlySpacedBuffersGoToTheTransfer)
{
    Rig rig;
    rig.Open();
    rig.host.AllocateMemory(2000);
    CBufferFactory factory;
    unsigned int size = 2000;
    EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 3), rig.host.BufferAt(0));
    EXPECT_EQ(size, 4096U) << "the distance of two buffers";
    EXPECT_THAT(
        Rig::Of({"host", "gev", "log"}),
        ElementsAre(
            "host KvGiMem__GetBufPtr(0)",
            HasSubstr("log4 kv_td_factory:GetBuffer: AllocBuffer: asked size 2000 - idx=0 "
                      "buff 0x"),
            "host KvGiMem__GetBufPtr(1)", HasSubstr("asked size 2000 - idx=1 buff 0x"),
            "host KvGiMem__GetBufPtr(2)", HasSubstr("asked size 2000 - idx=2 buff 0x"),
            "host KvGiMem__GetBufPtr(0)", "host KvGiMem__GetBufPtr(1)",
            "host KvGiMem__GetBufPtr(2)", "gev GevInitializeTransfer(1,2000,3)=0",
            testing::AllOf(HasSubstr("log3 kv_td_factory:GetBuffer: return flat buffer: 0x"),
                           HasSubstr(", block size 4096 (asked 2000), rc = 0"))));
}

TEST(Factory, FailedInitialisationIsOnlyLogged)
{
    Rig rig;
    rig.Open();
    rig.host.AllocateMemory(2000);
    sim::AddFault(CallFails("GevInitializeTransfer", -10));
    CBufferFactory factory;
    unsigned int size = 2000;
    EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 2), rig.host.BufferAt(0));
    EXPECT_THAT(Rig::Logs().back(), HasSubstr("rc = -10"));
}

TEST(Factory, SingleBufferIsNotHandedOver)
{
    Rig rig;
    rig.Open();
    rig.host.AllocateMemory(2000);
    CBufferFactory factory;
    unsigned int size = 2000;
    EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 1), rig.host.BufferAt(0));
    EXPECT_EQ(size, 2000U);
    EXPECT_THAT(Rig::Of("gev"), IsEmpty());
    EXPECT_EQ(Rig::Of("host"), Texts{"KvGiMem__GetBufPtr(0)"});
}

TEST(Factory, WithoutACameraNothingIsHandedOver)
{
    Rig rig;
    PlaceBuffers(rig, {0x1000, 0x2000});
    CBufferFactory factory;
    unsigned int size = 0x800;
    EXPECT_NE(factory.GetBuffer(nullptr, &size, 2), nullptr);
    EXPECT_EQ(size, 0x800U);
    EXPECT_THAT(Rig::Of("gev"), IsEmpty());
}

TEST(Factory, UnevenBuffersAreRefused)
{
    for (const auto& addresses : {std::vector<std::uintptr_t>{0x1000, 0x2000, 0x3800},
                                  {0x1000, 0x1700, 0x1E00},
                                  {0x3000, 0x2000, 0x1000},
                                  {0x1000, 0x2000, 0}}) {
        Rig rig;
        rig.Open();
        PlaceBuffers(rig, addresses);
        CBufferFactory factory;
        unsigned int size = 0x800;
        EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 3), nullptr);
        EXPECT_EQ(Rig::Logs().back(), "1 GetBuffer: Allocated buffer flat is incorrect !");
        EXPECT_THAT(Rig::Of("gev"), IsEmpty());
        EXPECT_EQ(size, 0x800U);
    }
}

TEST(Factory, WrongInputAndMissingMemoryAreRefused)
{
    Rig rig;
    rig.Open();
    CBufferFactory factory;
    unsigned int size = 0;
    EXPECT_EQ(factory.GetBuffer(rig.handle, nullptr, 2), nullptr);
    EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 2), nullptr);
    size = 1;
    EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 0), nullptr);
    EXPECT_EQ(Rig::Of({"host", "log"}),
              Texts(3, "log2 kv_td_factory:GetBuffer: Incorrect input params detected"));
    EXPECT_EQ(factory.GetBuffer(rig.handle, &size, 2), nullptr);
    EXPECT_EQ(Rig::Logs().back(), "2 GetBuffer: The buffer flat zero head found");
}

// ---- frame memory ------------------------------------------------------------------------------

struct ConversionCase {
    int asked;
    std::uint32_t gevFormat;
    const char* conversion;
    const char* name;
};

class Conversion : public testing::TestWithParam<ConversionCase>
{
};

TEST_P(Conversion, TakesASecondInstance)
{
    const ConversionCase& c = GetParam();
    Rig rig;
    CCamProc& proc = rig.proc;
    rig.host.cformat = static_cast<std::uint8_t>(c.asked);
    proc.formatCode = 1;
    proc.fullFrameSize = 3072;
    proc.bufferFrameSize = 3328;
    proc.ProcInitMem(nullptr, 3300);
    EXPECT_EQ(proc.memInstance, 1);
    EXPECT_EQ(proc.convActive, 1);
    EXPECT_EQ(proc.convPixelFormat, c.gevFormat);
    EXPECT_EQ(proc.convFrameSize, 3072U);
    Texts expected = {"host KvGiMem__Init(3300, 0)", "host KvGiMem__SetActFsize(3072)",
                      "host KvGiMainCtx__GetCformat()",
                      "log3 kv_td_proc:ProcInitMem: Conv: asking convertion from 1 -> " +
                          std::to_string(c.asked)};
    if (c.asked == 9) {
        expected.push_back("log3 kv_td_proc:ProcSetPixelFormat: BAYER_TILE_MAPPING value: meta "
                           "codec chosen 'BayerRG8T'");
    }
    expected.push_back(std::string("log3 kv_td_proc:ProcSetPixelFormat: Use pixel format: '") +
                       c.name + "'");
    expected.push_back(std::string("log3 kv_td_proc:ProcInitMem: Initialize conversion to: \"") +
                       c.conversion + "\"");
    expected.push_back("host KvGiMemInst__Init(1, 3328, 0)");
    expected.push_back("host KvGiMemInst__SetActFsize(1, 3072)");
    expected.push_back(std::string("host KvSc__InstSetParamVal(1, 4, ") + c.conversion + ")");
    EXPECT_THAT(Rig::Of({"host", "log"}), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Codes, Conversion,
                         testing::Values(ConversionCase{1, 0x01080001, "MONO8T", "MONO8T"},
                                         ConversionCase{2, 0x010C0006, "MONO12PT", "MONO12PT"},
                                         ConversionCase{3, 0x01100005, "MONO12T", "MONO12T"},
                                         ConversionCase{5, 0x0210001F, "UYVY", "YUV422PT"},
                                         ConversionCase{9, 0x01080009, "BayerRG8T", "Bayer8T"}),
                         [](const auto& it) { return "Code" + std::to_string(it.param.asked); });

TEST(FrameMemory, WithoutConversionThePlainMemoryIsUsed)
{
    Rig rig;
    CCamProc& proc = rig.proc;
    proc.convActive = 1;
    proc.convPixelFormat = 1;
    proc.fullFrameSize = 3072;
    proc.ProcInitMem(nullptr, 3300);
    EXPECT_EQ(proc.memInstance, -1);
    EXPECT_EQ(proc.convActive, 0);
    EXPECT_EQ(proc.convPixelFormat, 0U);
    EXPECT_EQ(Story(Rig::Of({"host", "log"})), R"(
host KvGiMem__Init(3300, 0)
host KvGiMem__SetActFsize(3072)
host KvGiMainCtx__GetCformat()
)");
}

TEST(FrameMemory, UnknownConversionIsLeftOut)
{
    Rig rig;
    CCamProc& proc = rig.proc;
    rig.host.cformat = 7;
    proc.ProcInitMem(nullptr, 3300);
    EXPECT_EQ(proc.memInstance, -1);
    EXPECT_EQ(proc.convActive, 0);
    EXPECT_EQ(proc.convPixelFormat, 0U);
    EXPECT_EQ(Rig::Logs().back(),
              "2 ProcInitMem: The asked pixel conversion way is not supported (rc=-1)");
    EXPECT_EQ(Count(Rig::Of("host"), "Inst"), 0U);
}

TEST(FrameMemory, SecondCallWithoutAConfigurationUsesInstanceZero)
{
    Rig rig;
    CCamProc& proc = rig.proc;
    proc.convFormat = 3;
    proc.fullFrameSize = 3072;
    proc.ProcInitMem(nullptr, 3300);
    EXPECT_EQ(proc.memInstance, 0);
    EXPECT_EQ(proc.convActive, 1);
    EXPECT_EQ(Story(Rig::Of("host")), R"(
KvGiMemInst__Init(0, 3300, 0)
KvGiMemInst__SetActFsize(0, 3072)
KvSc__InstSetParamVal(0, 4, MONO12T)
)");
}

TEST(FrameMemory, ConvertedImageIsTriggeredFirst)
{
    struct Case {
        bool frame;
        bool converted;
        std::deque<int> results;
        int result;
        std::vector<int> instances;
    };
    for (const Case& c : {Case{false, false, {}, 0, {}},
                          {true, false, {0}, 0, {0}},
                          {true, false, {5}, 5, {0}},
                          {false, true, {6}, 6, {1}},
                          {true, true, {0, 7}, 7, {1, 0}},
                          {true, true, {8, 0}, 8, {1}}}) {
        Rig rig;
        rig.host.AllocateMemory(64);
        rig.host.triggerResults = c.results;
        rig.proc.pendingFrame = c.frame ? rig.host.BufferAt(2) : nullptr;
        rig.proc.pendingConvFrame = c.converted ? rig.host.BufferAt(3) : nullptr;
        EXPECT_EQ(rig.proc.ProcLoopMem(123456, 9), c.result);
        EXPECT_EQ(rig.proc.pendingFrame, nullptr);
        EXPECT_EQ(rig.proc.pendingConvFrame, nullptr);
        Texts expected;
        for (const int instance : c.instances) {
            expected.push_back("KvGiMemInst__Trigger(" + std::to_string(instance) +
                               ", 0, 123456, " + (instance == 0 ? "buf2" : "buf3") + ", 9)");
        }
        EXPECT_EQ(Rig::Of("host"), expected);
    }
}
