#include "kv_frame_memory.h"
#include "tests/consumers/host.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace
{

using namespace KvFrames;

/** The object as only its host should write to it. */
class Writer
{
public:
    Writer() : fd_(shm_open(OwnName().c_str(), O_RDWR, 0))
    {
        struct stat status = {};
        fstat(fd_, &status);
        bytes_ = static_cast<std::size_t>(status.st_size);
        base_ = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
    }
    ~Writer()
    {
        Cut(static_cast<off_t>(bytes_)); // the host needs its memory back
        munmap(base_, bytes_);
        close(fd_);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    FrameMemoryHeader& Header() const { return *static_cast<FrameMemoryHeader*>(base_); }
    FrameBufferInfo& Info(std::uint32_t index) const
    {
        return reinterpret_cast<FrameBufferInfo*>(&Header() + 1)[index];
    }
    void Cut(off_t bytes) const { EXPECT_EQ(ftruncate(fd_, bytes), 0); }

private:
    int fd_;
    std::size_t bytes_ = 0;
    void* base_;
};

struct Row {
    const char* what;
    std::function<void(const Writer&)> spoil;
    kvf_result before; ///< of a wait, if the memory is so when the consumer attaches
    kvf_result after;  ///< if it becomes so later, with a change of generation
};

const Row kRows[] = {
    {"nothing", [](const Writer&) {}, KVF_OK, KVF_OK},
    {"another magic", [](const Writer& w) { w.Header().magic = 77; }, KVF_INCOMPATIBLE, KVF_OK},
    {"no magic yet", [](const Writer& w) { w.Header().magic = 0; }, KVF_NO_HOST, KVF_OK},
    {"another version", [](const Writer& w) { w.Header().version = 2; }, KVF_INCOMPATIBLE, KVF_OK},
    {"an empty object", [](const Writer& w) { w.Cut(0); }, KVF_NO_HOST, KVF_OK},
    {"less than a header", [](const Writer& w) { w.Cut(100); }, KVF_INCOMPATIBLE, KVF_OK},
    {"only a header", [](const Writer& w) { w.Cut(4096); }, KVF_INCOMPATIBLE, KVF_OK},
    {"a larger object than there is",
     [](const Writer& w) { w.Header().objectBytes = std::uint64_t{1} << 60; }, KVF_INCOMPATIBLE,
     KVF_INCOMPATIBLE},
    {"a layout that changes", [](const Writer& w) { w.Header().generation.fetch_sub(1); },
     KVF_TIMEOUT, KVF_TIMEOUT},
    {"no buffers", [](const Writer& w) { w.Header().bufferCount = 0; }, KVF_TIMEOUT, KVF_TIMEOUT},
    {"too many buffers", [](const Writer& w) { w.Header().bufferCount = 0xFFFFFFFF; },
     KVF_INCOMPATIBLE, KVF_INCOMPATIBLE},
    {"a buffer more than there is", [](const Writer& w) { w.Header().bufferCount = 9; },
     KVF_INCOMPATIBLE, KVF_INCOMPATIBLE},
    {"pixels among the records", [](const Writer& w) { w.Header().pixelOffset = 64; },
     KVF_INCOMPATIBLE, KVF_INCOMPATIBLE},
    {"pixels behind the end", [](const Writer& w) { w.Header().pixelOffset = ~std::uint64_t{0}; },
     KVF_INCOMPATIBLE, KVF_INCOMPATIBLE},
    {"strides that overflow",
     [](const Writer& w) { w.Header().stride = (std::uint64_t{1} << 61) + 4096; }, KVF_INCOMPATIBLE,
     KVF_INCOMPATIBLE},
    {"pictures larger than the buffers", [](const Writer& w) { w.Header().frameBytes = 5000; },
     KVF_INCOMPATIBLE, KVF_INCOMPATIBLE},
    {"no stride", [](const Writer& w) { w.Header().stride = 0; }, KVF_INCOMPATIBLE,
     KVF_INCOMPATIBLE},
    {"frames larger than their buffers",
     [](const Writer& w) { w.Info(1).frameBytes = w.Info(2).frameBytes = 0xFFFFFFFF; },
     KVF_INCOMPATIBLE, KVF_INCOMPATIBLE},
    {"a newest buffer that is none", [](const Writer& w) { w.Header().newestIndex = 4000; }, KVF_OK,
     KVF_OK},
    {"a newest frame that is none",
     [](const Writer& w) { w.Header().newestSequence = ~std::uint64_t{0}; }, KVF_OK, KVF_OK},
    {"a codec without an end",
     [](const Writer& w) { std::memset(w.Header().codec, 'x', sizeof w.Header().codec); }, KVF_OK,
     KVF_OK},
    {"a picture larger than its frame", [](const Writer& w) { w.Header().width = 0xFFFFFFFF; },
     KVF_OK, KVF_OK},
};

/** Returns the result of a wait after `spoil`, and uses the frame if there is one. */
kvf_result WaitAfter(const Row& row, const Source& source, bool attached)
{
    const Writer writer;
    writer.Header().generation.fetch_add(attached ? 2 : 0);
    row.spoil(writer);
    kvf_frame frame = {};
    const kvf_result result = source.Wait(&frame);
    EXPECT_TRUE(result == KVF_OK || kvf_error()[0] != '\0');
    if (result == KVF_OK) {
        char copy[100] = {};
        EXPECT_EQ(frame.bytes, sizeof copy);
        EXPECT_EQ(kvf_copy(source, &frame, copy, sizeof copy), KVF_OK);
        EXPECT_EQ(copy[99], attached ? 2 : 1);
        EXPECT_LT(strnlen(frame.codec, sizeof frame.codec), sizeof frame.codec);
        EXPECT_TRUE(frame.width == 10 || frame.format == KVF_UNKNOWN);
    }
    return result;
}

TEST(HostileMemory, NeverLeadsOutOfTheMapping)
{
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        Host host;
        ASSERT_TRUE(host.Usable()) << host.Memory().Error();
        host.Publish();
        EXPECT_EQ(WaitAfter(row, Source(), false), row.before) << kvf_error();
    }
    for (const Row& row : kRows) {
        if (row.before == row.after) { // what matters only to those who attach is left out
            SCOPED_TRACE(row.what);
            Host host;
            host.Publish();
            const Source source;
            kvf_frame frame;
            ASSERT_EQ(source.Wait(&frame), KVF_OK);
            host.Publish();
            EXPECT_EQ(WaitAfter(row, source, true), row.after) << kvf_error();
        }
    }
}

TEST(HostileMemory, AFrameCountsFromWhenTheHeaderNamesIt)
{
    Host host;
    host.Publish(2);
    const Source source;
    kvf_frame frame;
    Writer().Header().newestSequence = 1; // the host is about to publish the second
    EXPECT_EQ(source.Wait(&frame), KVF_OK);
    EXPECT_EQ(frame.sequence, 1U);
    EXPECT_EQ(source.Wait(&frame), KVF_TIMEOUT);
}

TEST(HostileMemory, FramesThatWereNeverReturnedAreRefused)
{
    Host host;
    host.Publish();
    const Source source;
    kvf_frame good;
    ASSERT_EQ(source.Wait(&good), KVF_OK);
    char copy[100];
    const auto refused = [&](void (*spoil)(kvf_frame*)) {
        kvf_frame frame = good;
        spoil(&frame);
        return kvf_is_valid(source, &frame) == 0 &&
               kvf_copy(source, &frame, copy, sizeof copy) != KVF_OK &&
               kvf_hold(source, &frame) == KVF_OVERWRITTEN &&
               kvf_pin(source, &frame) == KVF_OVERWRITTEN;
    };
    EXPECT_TRUE(refused([](kvf_frame* frame) { frame->buffer = 8; }));
    EXPECT_TRUE(refused([](kvf_frame* frame) { frame->bytes = 1 << 20; }));
    EXPECT_TRUE(refused([](kvf_frame* frame) { frame->host = 2; }));
    EXPECT_TRUE(refused([](kvf_frame* frame) { frame->generation += 2; }));
    EXPECT_EQ(kvf_copy(source, &good, copy, 99), KVF_INVALID);
    EXPECT_EQ(kvf_wait(nullptr, KVF_NEXT, 0, &good), KVF_INVALID);
    EXPECT_EQ(source.Wait(&good, KVF_NEXT, -2), KVF_INVALID);
    for (const char* name : {"", "/", "kvgrab", "/a/b", "/..", "//"}) {
        kvf_source* none = nullptr;
        EXPECT_EQ(kvf_open(name, &none), KVF_INVALID) << name;
    }
}

} // namespace
