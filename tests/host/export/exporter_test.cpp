#include "export/exporter.h"
#include "tests/base/text_cases.h"
#include "tests/host/export/picture_text.h"
#include "tests/support/alloc_count.h"
#include "tests/system/png_file.h"
#include "tests/system/program.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <mutex>
#include <optional>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using namespace kvgrab;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
using Bytes = std::vector<std::uint8_t>;

/** An exporter that writes raw frames with one worker, unless a test says otherwise. */
class ExporterTest : public testing::Test
{
protected:
    ExporterTest()
    {
        options_.folder = folder_ / "frames";
        options_.format = ExportFormat::kRaw;
        options_.workers = 1;
        options_.report = [this](const std::string& text) {
            const std::lock_guard lock(mutex_);
            reports_.push_back(text);
        };
    }

    fs::path File(const std::string& name) const { return folder_ / ("frames/" + name); }
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(options_.folder)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }
    Exporter& Started()
    {
        exporter_.emplace(options_);
        EXPECT_TRUE(exporter_->Start()) << exporter_->ErrorText();
        return *exporter_;
    }
    std::string Index() const { return ReadFile(File("index.csv")); }
    static FrameView View(const Bytes& pixels, std::uint32_t width = 4, std::uint32_t height = 1,
                          std::string_view codec = "MONO8T")
    {
        FrameView view;
        view.pixels = pixels.data();
        view.bytes = pixels.size();
        view.width = width;
        view.height = height;
        view.codec = codec;
        return view;
    }

    const TempFolder folder_;
    std::optional<Exporter> exporter_;
    const Bytes four_ = Bytes(4, 'x');
    ExportOptions options_;
    std::mutex mutex_;
    std::vector<std::string> reports_;
};

/**
 * Holds the worker half way through a file: after it has opened it, before it writes. A worker that
 * was given up goes on when the holder is gone, so what it waits for outlives every holder.
 */
class HeldWorker
{
public:
    explicit HeldWorker(fs::path file) : file_(std::move(file))
    {
        const std::lock_guard lock(mutex);
        held = this;
    }
    ~HeldWorker()
    {
        const std::lock_guard lock(mutex);
        held = nullptr;
        changed.notify_all();
    }
    void Release() { Go(Step::Write); }
    void Break() { Go(Step::Fail); } ///< what it writes fails

    /** Called for every write of this program. False: it is to fail. */
    static bool MayWrite(int fd)
    {
        std::unique_lock lock(mutex);
        std::error_code ignored;
        if (held == nullptr ||
            fs::read_symlink(fmt::format("/proc/self/fd/{}", fd), ignored) != held->file_) {
            return true;
        }
        changed.wait(lock, [] { return held == nullptr || held->step_ != Step::Hold; });
        return held == nullptr || held->step_ == Step::Write;
    }

private:
    enum class Step { Hold, Write, Fail };
    void Go(Step step)
    {
        const std::lock_guard lock(mutex);
        step_ = step_ == Step::Hold ? step : step_;
        changed.notify_all();
    }
    inline static std::mutex mutex;
    inline static std::condition_variable changed;
    inline static HeldWorker* held = nullptr;
    const fs::path file_;
    Step step_ = Step::Hold;
};

class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit = {bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_ = {};
};

TEST_F(ExporterTest, PngHoldsThePixelsOfEveryCodec)
{
    options_.format = ExportFormat::kPng;
    Exporter& exporter = Started();
    ExpectOutcomes(PICTURE_CASES, [&](const std::string& text) {
        const PictureText sent(text);
        const std::uint64_t number = exporter.Counters().exported + 1;
        exporter.Export(View(sent.bytes, sent.width, sent.height, sent.codec));
        EXPECT_TRUE(Eventually([&] { return exporter.Counters().exported == number; }));
        const auto picture = ReadPng(File(fmt::format("frame_{:06}.png", number)));
        return picture
                   ? fmt::format("{}x{}x{} of {} bits: {:02X}", picture->width, picture->height,
                                 picture->channels, picture->bits, fmt::join(picture->bytes, " "))
                   : exporter.ErrorText();
    });
}

TEST_F(ExporterTest, IndexHasARowForEachFrameInTheirOrder)
{
    options_.workers = 4;
    options_.everyFrame = true;
    Exporter& exporter = Started();
    std::string expected = "number,file,time_us,camera_ticks,frame_counter,gain_db,exposure_us,"
                           "width,height,codec,camera_frame_number,capture_time_ns\n";
    for (std::uint32_t i = 1; i <= 200; ++i) {
        const Bytes pixels(i % 7 == 0 ? 100000 : 4,
                           static_cast<std::uint8_t>(i)); // some take longer
        FrameView view = View(pixels);
        view.timeUs = 1700000000000000 + i;
        view.cameraTicks = 125000000000 + i;
        view.frameCounter = 4'000'000'000 + i;
        view.gainDb = 3.5F;
        view.exposureUs = 10000.25F;
        view.cameraFrameNumber = 18'000'000'000'000'000'000U + i;
        view.captureTimeNs = 1'700'000'000'123'456'000 + i;
        ASSERT_EQ(exporter.Export(view), ExportResult::kQueued);
        expected += fmt::format("{0},frame_{0:06}.raw,1700000000000{0:03},125000000{0:03},"
                                "4000000{0:03},3.5,10000.25,4,1,MONO8T,"
                                "18000000000000000{0:03},1700000000123456{0:03}\n",
                                i);
    }
    exporter.Close();
    EXPECT_EQ(Index(), expected);
    EXPECT_EQ(ReadFile(File("frame_000200.raw")), std::string(4, static_cast<char>(200)));
    EXPECT_EQ(exporter.Counters().bytes, 28 * 100000U + 172 * 4U);
    EXPECT_EQ(Names().size(), 201U);
}

TEST_F(ExporterTest, FullQueueSkipsAndGoesOnWithTheFramesThatItTook)
{
    options_.queueLength = 2;
    Exporter& exporter = Started();
    exporter.Prepare(4);
    HeldWorker worker(File("frame_000001.raw.kvpart"));
    const std::uint64_t before = rig::AllocationsOfThisThread();
    for (int i = 0; i < 3; ++i) {
        std::string codec = "MONO8T";
        EXPECT_EQ(exporter.Export(View(four_, 4, 1, codec)), ExportResult::kQueued);
        codec = "other!"; // long before the worker comes to it
    }
    EXPECT_EQ(rig::AllocationsOfThisThread(), before) << "by the grab thread";
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kSkipped);
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kSkipped);
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("frames are skipped"))) << "said once";
    worker.Release();
    for (std::uint64_t frames = 3; frames < 12; ++frames) {
        ASSERT_TRUE(Eventually([&] { return exporter.Counters().exported == frames; }));
        EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kQueued) << "no slot is lost";
    }
    exporter.Close();
    EXPECT_EQ(exporter.Counters().exported, 12U);
    EXPECT_EQ(exporter.Counters().failed, 0U);
    EXPECT_EQ(exporter.Counters().skipped, 2U);
    EXPECT_THAT(Index(), HasSubstr("3,frame_000003.raw,0,0,0,0,0,4,1,MONO8T,0,0\n"));
    EXPECT_THAT(Index(), HasSubstr("\n12,frame_000012.raw,"));
}

TEST_F(ExporterTest, EveryFrameWaitsForRoom)
{
    options_.queueLength = 1;
    options_.everyFrame = true;
    Exporter& exporter = Started();
    HeldWorker worker(File("frame_000001.raw.kvpart"));
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kQueued);
    std::thread releaser([&] { worker.Release(); });
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kQueued);
    releaser.join();
    exporter.Close();
    EXPECT_EQ(exporter.Counters().exported, 3U);
    EXPECT_EQ(exporter.Counters().skipped, 0U);
}

TEST_F(ExporterTest, FullDiskFailsTheFrameLeavesNothingAndGoesOn)
{
    options_.queueLength = 1;
    Exporter& exporter = Started();
    const Bytes large(5000, 'L');
    const Bytes small(500, 's');
    {
        const FileSizeLimit limit(1000);
        for (std::uint64_t frames = 1; frames <= 5; ++frames) {
            EXPECT_EQ(exporter.Export(View(large)), ExportResult::kQueued) << "no slot is lost";
            ASSERT_TRUE(Eventually([&] { return exporter.Counters().failed == frames; }));
        }
        exporter.Export(View(small));
        exporter.Close();
    }
    EXPECT_THAT(Names(), UnorderedElementsAre("index.csv", "frame_000006.raw"));
    EXPECT_THAT(Index(), testing::ContainsRegex("capture_time_ns\n6,frame_000006.raw,.*\n$"));
    EXPECT_EQ(exporter.Counters().exported, 1U);
    EXPECT_FALSE(exporter.Failed());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("frame_000001.raw' can't be written: File too"),
                                      HasSubstr("4 more frames could not be exported")));
}

TEST_F(ExporterTest, IndexThatCannotGrowEndsWithAWholeRowAndDropsThePicture)
{
    options_.onError = ExportErrorPolicy::kStop;
    options_.queueLength = 20;
    Exporter& exporter = Started();
    {
        const FileSizeLimit limit(200); // the head and two rows
        for (int i = 0; i < 6; ++i) {
            exporter.Export(View(four_));
        }
        exporter.Close();
    }
    EXPECT_TRUE(exporter.Failed());
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("index.csv' can't be written"));
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kFailed);
    const std::string index = Index();
    const auto rows = static_cast<std::size_t>(std::count(index.begin(), index.end(), '\n')) - 1;
    EXPECT_GT(rows, 0U);
    EXPECT_EQ(index.back(), '\n');
    EXPECT_EQ(rows, exporter.Counters().exported);
    EXPECT_EQ(Names().size(), rows + 1) << "no picture without a row";
}

TEST_F(ExporterTest, FileThatAppearsMeanwhileIsNotReplaced)
{
    options_.onError = ExportErrorPolicy::kStop;
    Exporter& exporter = Started();
    folder_.Write("frames/frame_000001.raw", "somebody else's");
    exporter.Export(View(four_));
    exporter.Close();
    EXPECT_TRUE(exporter.Failed());
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("File exists"));
    EXPECT_EQ(ReadFile(File("frame_000001.raw")), "somebody else's");
    EXPECT_THAT(Names(), UnorderedElementsAre("frame_000001.raw", "index.csv"));
}

TEST_F(ExporterTest, FramesThatMakeNoPictureAreRefusedWithTheReason)
{
    options_.format = ExportFormat::kPng;
    Exporter& exporter = Started();
    const Bytes pixels(10, 'x');
    EXPECT_EQ(exporter.Export(View(pixels, 11, 1)), ExportResult::kFailed);
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("takes 11 bytes, but 10 came"));
    EXPECT_EQ(exporter.Export(View(pixels, 0, 1)), ExportResult::kFailed);
    EXPECT_EQ(exporter.Export(View(pixels, 2, 1, "RGB8")), ExportResult::kFailed);
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("'RGB8' has no PNG form"));
    exporter.Close();
    EXPECT_EQ(exporter.Counters().failed, 3U);
    EXPECT_THAT(Names(), ElementsAre("index.csv"));
}

TEST_F(ExporterTest, AbandoningRemovesWhatIsBeingWritten)
{
    Exporter& exporter = Started();
    HeldWorker worker(File("frame_000001.raw.kvpart"));
    exporter.Export(View(four_));
    exporter.Export(View(four_));
    ASSERT_TRUE(Eventually([&] { return fs::exists(File("frame_000001.raw.kvpart")); }));
    exporter.AbandonNow();
    EXPECT_THAT(Names(), ElementsAre("index.csv"));
    worker.Break();
    exporter.Close();
    EXPECT_THAT(Names(), ElementsAre("index.csv"));
}

TEST_F(ExporterTest, ClosingGivesUpOnAWriterThatHangs)
{
    options_.queueLength = 1;
    options_.everyFrame = true;
    Exporter& exporter = Started();
    const HeldWorker worker(File("frame_000001.raw.kvpart"));
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kQueued);
    std::thread stopper([&] { exporter.StopWaiting(); });
    EXPECT_EQ(exporter.Export(View(four_)), ExportResult::kSkipped) << "it does not wait for room";
    stopper.join();
    int asked = 0;
    EXPECT_FALSE(exporter.Close([&asked] { return ++asked == 2; }));
    EXPECT_EQ(exporter.Counters().notWritten, 2U);
    EXPECT_EQ(exporter.Counters().exported, 0U);
    EXPECT_FALSE(exporter.Close()) << "nor does it wait afterwards";
    EXPECT_THAT(Names(), ElementsAre("index.csv"));
}

} // namespace

/** In place of the system's, for HeldWorker. */
extern "C" ssize_t write(int fd, const void* bytes, std::size_t count)
{
    if (!HeldWorker::MayWrite(fd)) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_write, fd, bytes, count);
}
