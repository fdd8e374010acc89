/** The camera that the contract tests run on. Each test binary has one factory; the tests see only
 *  the contract, so the cameras of every backend must fulfil it. */
#pragma once

#include "gev_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/** One camera on the network, switched on and not opened, for the life of this object. */
class CameraUnderTest
{
public:
    virtual ~CameraUnderTest() = default;
    virtual std::string Serial() const = 0;
    /** Returns when an open camera's session knows of it. */
    virtual void SetAttached(bool attached) = 0;
    /** Whether its transfers ask the host before they fill a buffer. */
    virtual bool AsksTheHost() const { return true; }
};

std::unique_ptr<CameraUnderTest> MakeCameraUnderTest();

/** One camera session; whatever a test leaves open is closed. */
class Session : public testing::Test
{
protected:
    static constexpr std::uint32_t kForEver = 0xFFFFFFFF;
    static constexpr std::uint32_t kPatienceMs = 20'000; ///< for what has to come

    void TearDown() override { GevApiUninitialize(); }

    bool FindDevice(const std::string& serial)
    {
        GEV_DEVICE_INFO list[8];
        int count = 0;
        GevGetCameraList(list, 8, &count);
        for (int i = 0; i < count; ++i) {
            if (serial == list[i].serial) {
                device = list[i];
                return true;
            }
        }
        return false;
    }

    /** Small pictures at 100 Hz. */
    void Open(const std::string& serial)
    {
        ASSERT_TRUE(FindDevice(serial));
        ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
        map = GevGetFeatureNodeMap(handle);
        ASSERT_NE(map, nullptr);
        Integer("Width")->SetValue(64);
        Integer("Height")->SetValue(64);
        Float("ExposureTime")->SetValue(1000);
        Float("AcquisitionFrameRate")->SetValue(100);
    }

    GenApi::CIntegerPtr Integer(const char* name) { return map->GetNode(name); }
    GenApi::CFloatPtr Float(const char* name) { return map->GetNode(name); }
    GenApi::CEnumerationPtr Enumeration(const char* name) { return map->GetNode(name); }
    GenApi::CBooleanPtr Boolean(const char* name) { return map->GetNode(name); }

    /** Buffers of one payload each, filled with 0xEE. */
    int Initialize(std::uint32_t count)
    {
        std::uint64_t payload = 0;
        GevGetPayloadParameters(handle, &payload, nullptr);
        memory.assign(count, std::vector<std::uint8_t>(payload, 0xEE));
        buffers.clear();
        for (auto& buffer : memory) {
            buffers.push_back(buffer.data());
        }
        return GevInitializeTransfer(handle, 1, payload, count, buffers.data());
    }

    void StartFor(std::uint32_t bufferCount)
    {
        ASSERT_EQ(Initialize(bufferCount), kGevOk);
        ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    }

    /** The next frame, or null; the status is kept. */
    _tag_GEVBUF_ENTRY* Next(std::uint32_t timeoutMs = kPatienceMs)
    {
        _tag_GEVBUF_ENTRY* frame = nullptr;
        status = GevWaitForNextFrame(handle, &frame, timeoutMs);
        return frame;
    }

    /** The next frame, which has to come. */
    _tag_GEVBUF_ENTRY& Take()
    {
        static _tag_GEVBUF_ENTRY none{};
        _tag_GEVBUF_ENTRY* frame = Next();
        EXPECT_NE(frame, nullptr);
        return frame == nullptr ? none : *frame;
    }
    int Release(_tag_GEVBUF_ENTRY& frame) { return GevReleaseFrame(handle, &frame); }
    void GrabFrames(int frames)
    {
        for (int i = 0; i < frames; ++i) {
            EXPECT_EQ(Release(Take()), kGevOk);
        }
    }

    static GEV_TRANSFER_STATISTICS Statistics()
    {
        GEV_TRANSFER_STATISTICS counts{};
        EXPECT_EQ(GevGetTransferStatistics(&counts), kGevOk);
        return counts;
    }

    GEV_DEVICE_INFO device{};
    void* handle = nullptr;
    GenApi::CNodeMapRef* map = nullptr;
    std::vector<std::vector<std::uint8_t>> memory;
    std::vector<void*> buffers;
    int status = kGevOk;
};

/** A session on the camera under test. */
class Contract : public Session
{
protected:
    void SetUp() override { Open(camera->Serial()); }

    std::unique_ptr<CameraUnderTest> camera = MakeCameraUnderTest();
};
