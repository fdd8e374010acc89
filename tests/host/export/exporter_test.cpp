#include "export/exporter.h"

#include "tests/support/alloc_count.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <mutex>
#include <png.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kvgrab
{
namespace
{

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Bytes = std::vector<std::uint8_t>;

class ExporterTest : public ::testing::Test
{
protected:
    ExporterTest()
    {
        folder_ = fs::temp_directory_path() / ("kvgrab-test-" + std::to_string(getpid()));
        fs::remove_all(folder_);
        options_.folder = folder_ / "frames";
        options_.format = ExportFormat::kRaw;
        options_.workers = 1;
        options_.report = [this](const std::string& text) {
            const std::lock_guard lock(mutex_);
            reports_.push_back(text);
        };
    }
    ~ExporterTest() override { fs::remove_all(folder_); }

    fs::path File(const std::string& name) const { return folder_ / "frames" / name; }
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_ / "frames")) {
            names.push_back(entry.path().filename());
        }
        return names;
    }
    std::string Read(const std::string& name) const
    {
        std::stringstream text;
        text << std::ifstream(File(name)).rdbuf();
        return text.str();
    }
    /** The file names in the index, below its head. */
    std::vector<std::string> IndexedFiles() const
    {
        std::stringstream lines(Read("index.csv"));
        std::string line;
        std::getline(lines, line);
        std::vector<std::string> files;
        while (std::getline(lines, line)) {
            const std::size_t begin = line.find(',') + 1;
            files.push_back(line.substr(begin, line.find(',', begin) - begin));
        }
        return files;
    }
    void Put(const std::string& name, const std::string& text) const
    {
        fs::create_directories(folder_ / "frames");
        std::ofstream(File(name)) << text;
    }
    static FrameView View(const Bytes& pixels, std::uint32_t width = 4, std::uint32_t height = 1,
                          const char* codec = "MONO8T")
    {
        FrameView view;
        view.pixels = pixels.data();
        view.bytes = pixels.size();
        view.width = width;
        view.height = height;
        view.codec = codec;
        return view;
    }

    fs::path folder_;
    ExportOptions options_;
    std::mutex mutex_;
    std::vector<std::string> reports_;
};

/** Holds the worker at its first frame: what it opens is a pipe that nobody reads yet. */
class HeldWorker
{
public:
    explicit HeldWorker(fs::path pipe) : pipe_(std::move(pipe))
    {
        EXPECT_EQ(mkfifo(pipe_.c_str(), 0600), 0);
    }
    void Release() { reader_ = open(pipe_.c_str(), O_RDONLY); }
    void Break() { close(std::exchange(reader_, -1)); } ///< what it writes fails
    ~HeldWorker()
    {
        if (reader_ >= 0) {
            close(reader_);
        }
    }

private:
    fs::path pipe_;
    int reader_ = -1;
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

struct ReadPng {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int bits = 0;
    int channels = 0;
    Bytes bytes; ///< 16-bit samples big-endian, as in the file
};

ReadPng ReadPngFile(const fs::path& path)
{
    ReadPng result;
    FILE* file = std::fopen(path.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr); // aborts on a broken file
    result.width = png_get_image_width(png, info);
    result.height = png_get_image_height(png, info);
    result.bits = png_get_bit_depth(png, info);
    result.channels = png_get_channels(png, info);
    for (std::uint32_t y = 0; y < result.height; ++y) {
        const png_bytep row = png_get_rows(png, info)[y];
        result.bytes.insert(result.bytes.end(), row, row + png_get_rowbytes(png, info));
    }
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return result;
}

TEST_F(ExporterTest, PngHoldsThePixelsOfEveryCodec)
{
    options_.format = ExportFormat::kPng;
    options_.workers = 3;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start()) << exporter.ErrorText();
    const Bytes grey = {0, 1, 128, 255, 7, 9};
    const Bytes packed = {0xAB, 0x3C, 0xDE, 0xFF, 0xFF, 0xFF};
    const Bytes wide = {0xBC, 0x0A, 0xFF, 0x0F};
    const Bytes uyvy = {128, 10, 128, 20};
    const Bytes bayer = {10, 20, 20, 30};
    EXPECT_EQ(exporter.Export(View(grey, 3, 2)), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(packed, 2, 2, "MONO12PT")), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(wide, 2, 1, "MONO12T")), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(uyvy, 2, 1, "UYVY")), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(bayer, 2, 2, "BayerRG8T")), ExportResult::kQueued);
    exporter.Close();
    EXPECT_EQ(exporter.Counters().exported, 5U) << exporter.ErrorText();

    const auto expectPng = [&](const char* name, std::uint32_t width, std::uint32_t height,
                               int bits, int channels, const Bytes& bytes) {
        const ReadPng png = ReadPngFile(File(name));
        EXPECT_EQ(png.width, width) << name;
        EXPECT_EQ(png.height, height) << name;
        EXPECT_EQ(png.bits, bits) << name;
        EXPECT_EQ(png.channels, channels) << name;
        EXPECT_THAT(png.bytes, ElementsAreArray(bytes)) << name;
    };
    expectPng("frame_000001.png", 3, 2, 8, 1, grey);
    expectPng("frame_000002.png", 2, 2, 16, 1, {0xAB, 0xCA, 0xDE, 0x3D, 255, 255, 255, 255});
    expectPng("frame_000003.png", 2, 1, 16, 1, {0xAB, 0xCA, 255, 255});
    expectPng("frame_000004.png", 2, 1, 8, 3, {10, 10, 10, 20, 20, 20});
    expectPng("frame_000005.png", 2, 2, 8, 3, {10, 20, 30, 10, 20, 30, 10, 20, 30, 10, 20, 30});
}

TEST_F(ExporterTest, IndexHasARowForEachFrameInTheirOrder)
{
    options_.workers = 4;
    options_.everyFrame = true;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    std::vector<std::string> expected;
    for (std::uint32_t i = 1; i <= 200; ++i) {
        Bytes pixels(i % 7 == 0 ? 100000 : 4, static_cast<std::uint8_t>(i)); // some take longer
        FrameView view = View(pixels);
        view.timeUs = 1700000000000000 + i;
        view.cameraTicks = 125000000000 + i;
        view.frameCounter = i;
        view.gainDb = 3.5F;
        view.exposureUs = 10000.25F;
        ASSERT_EQ(exporter.Export(view), ExportResult::kQueued);
        const std::string number = std::to_string(i);
        expected.push_back("frame_" + std::string(6 - number.size(), '0') + number + ".raw");
    }
    exporter.Close();
    EXPECT_THAT(IndexedFiles(), ElementsAreArray(expected));
    EXPECT_THAT(Read("index.csv"),
                HasSubstr("number,file,time_us,camera_ticks,frame_counter,gain_db,exposure_us,"
                          "width,height,codec\n1,frame_000001.raw,1700000000000001,125000000001,1,"
                          "3.5,10000.25,4,1,MONO8T\n"));
    EXPECT_EQ(Read("frame_000200.raw"), std::string(4, static_cast<char>(200)));
    EXPECT_EQ(exporter.Counters().bytes, 28 * 100000U + 172 * 4U);
    EXPECT_EQ(Names().size(), 201U);
}

TEST_F(ExporterTest, FullQueueSkipsAndTheGrabThreadAllocatesNothing)
{
    options_.queueLength = 2;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    HeldWorker worker(File("frame_000001.raw.kvpart"));
    const Bytes pixels(4, 'x');
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    const std::uint64_t before = rig::AllocationsOfThisThread();
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    EXPECT_EQ(rig::AllocationsOfThisThread(), before);
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kSkipped);
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kSkipped);
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("frames are skipped"))) << "said once";
    worker.Release();
    exporter.Close();
    EXPECT_EQ(exporter.Counters().exported, 3U);
    EXPECT_EQ(exporter.Counters().skipped, 2U);
    EXPECT_THAT(IndexedFiles(),
                ElementsAre("frame_000001.raw", "frame_000002.raw", "frame_000003.raw"));
}

TEST_F(ExporterTest, PreparedExporterAllocatesNothingAtTheFirstFrameEither)
{
    if (!rig::CountsAllocations()) {
        GTEST_SKIP() << "sanitizers keep the allocator to themselves";
    }
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    exporter.Prepare(4);
    const Bytes pixels(4, 'x');
    const std::uint64_t before = rig::AllocationsOfThisThread();
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    EXPECT_EQ(rig::AllocationsOfThisThread(), before);
}

TEST_F(ExporterTest, EveryFrameWaitsForRoom)
{
    options_.queueLength = 1;
    options_.everyFrame = true;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    HeldWorker worker(File("frame_000001.raw.kvpart"));
    const Bytes pixels(4, 'x');
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    std::thread releaser([&] { worker.Release(); });
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kQueued);
    releaser.join();
    exporter.Close();
    EXPECT_EQ(exporter.Counters().exported, 3U);
    EXPECT_EQ(exporter.Counters().skipped, 0U);
}

TEST_F(ExporterTest, FullDiskFailsTheFrameLeavesNothingAndGoesOn)
{
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    const Bytes large(5000, 'L');
    const Bytes small(500, 's');
    {
        const FileSizeLimit limit(1000);
        exporter.Export(View(large));
        exporter.Export(View(large));
        exporter.Export(View(small));
        exporter.Close();
    }
    EXPECT_THAT(Names(), UnorderedElementsAre("index.csv", "frame_000003.raw"));
    EXPECT_THAT(IndexedFiles(), ElementsAre("frame_000003.raw"));
    EXPECT_EQ(exporter.Counters().failed, 2U);
    EXPECT_EQ(exporter.Counters().exported, 1U);
    EXPECT_FALSE(exporter.Failed());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("frame_000001.raw' can't be written: File too"),
                                      HasSubstr("1 more frames could not be exported")));
}

TEST_F(ExporterTest, IndexThatCannotGrowEndsWithAWholeRowAndDropsThePicture)
{
    options_.onError = ExportErrorPolicy::kStop;
    options_.queueLength = 20;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    const Bytes pixels(4, 'x');
    {
        const FileSizeLimit limit(200); // the head and two rows
        for (int i = 0; i < 6; ++i) {
            exporter.Export(View(pixels));
        }
        exporter.Close();
    }
    EXPECT_TRUE(exporter.Failed());
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("index.csv' can't be written"));
    EXPECT_EQ(exporter.Export(View(pixels)), ExportResult::kFailed);
    const std::vector<std::string> files = IndexedFiles();
    EXPECT_EQ(Read("index.csv").back(), '\n');
    EXPECT_EQ(files.size(), exporter.Counters().exported);
    EXPECT_EQ(Names().size(), files.size() + 1) << "no picture without a row";
    EXPECT_FALSE(files.empty());
}

TEST_F(ExporterTest, FolderWithFramesIsRefusedUnlessOverwritingIsAllowed)
{
    const Bytes pixels(4, 'x');
    Put("frame_000001.png", "of an earlier run");
    EXPECT_FALSE(Exporter(options_).Start());
    EXPECT_THAT(Names(), ElementsAre("frame_000001.png"));
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("holds exported frames already")));

    Put("index.csv", "an older and longer index\n" + std::string(500, 'x'));
    Put("frame_000001.raw", "old");
    Put("frame_000007.raw.kvpart", "of a killed run");
    Put("mine.kvpart", "the user's own");
    options_.overwrite = true;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    EXPECT_FALSE(Exporter(options_).Start()) << "one export at a time";
    EXPECT_THAT(reports_.back(), HasSubstr("Another process is exporting"));
    exporter.Export(View(pixels));
    exporter.Close();
    EXPECT_THAT(Names(), UnorderedElementsAre("frame_000001.png", "frame_000001.raw", "index.csv",
                                              "mine.kvpart"));
    EXPECT_EQ(Read("frame_000001.raw"), "xxxx");
    EXPECT_THAT(IndexedFiles(), ElementsAre("frame_000001.raw"));
}

TEST_F(ExporterTest, FileThatAppearsMeanwhileIsNotReplaced)
{
    options_.onError = ExportErrorPolicy::kStop;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    Put("frame_000001.raw", "somebody else's");
    exporter.Export(View(Bytes(4, 'x')));
    exporter.Close();
    EXPECT_TRUE(exporter.Failed());
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("File exists"));
    EXPECT_EQ(Read("frame_000001.raw"), "somebody else's");
    EXPECT_THAT(Names(), UnorderedElementsAre("frame_000001.raw", "index.csv"));
}

TEST_F(ExporterTest, FolderThatCannotBeMadeIsToldAndFramesFail)
{
    fs::create_directories(folder_);
    std::ofstream(folder_ / "frames") << "a file where the folder should be";
    Exporter exporter(options_);
    EXPECT_FALSE(exporter.Start());
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("The folder '"));
    EXPECT_EQ(exporter.Export(View(Bytes(4, 'x'))), ExportResult::kFailed);
    EXPECT_EQ(exporter.Counters().failed, 1U);
    EXPECT_FALSE(exporter.Failed()) << "grabbing goes on";
}

TEST_F(ExporterTest, FramesThatMakeNoPictureAreRefusedWithTheReason)
{
    options_.format = ExportFormat::kPng;
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    const Bytes pixels(10, 'x');
    EXPECT_EQ(exporter.Export(View(pixels, 11, 1)), ExportResult::kFailed);
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("takes 11 bytes, but 10 came"));
    EXPECT_EQ(exporter.Export(View(pixels, 0, 1)), ExportResult::kFailed);
    EXPECT_EQ(exporter.Export(View(pixels, 2, 1, "RGB8")), ExportResult::kFailed);
    EXPECT_THAT(exporter.ErrorText(), HasSubstr("'RGB8' has no PNG form"));
    exporter.Close();
    EXPECT_EQ(exporter.Counters().failed, 3U);
    EXPECT_THAT(IndexedFiles(), IsEmpty());
}

TEST_F(ExporterTest, AbandoningRemovesWhatIsBeingWritten)
{
    Exporter exporter(options_);
    ASSERT_TRUE(exporter.Start());
    HeldWorker worker(File("frame_000001.raw.kvpart"));
    const Bytes pixels(1000000, 'x'); // more than a pipe holds, so that writing stops half way
    exporter.Export(View(pixels));
    exporter.Export(View(pixels));
    worker.Release();
    exporter.AbandonNow();
    worker.Break();
    exporter.Close();
    for (const std::string& name : Names()) {
        EXPECT_THAT(name, ::testing::Not(HasSubstr("kvpart")));
    }
    EXPECT_FALSE(fs::exists(File("frame_000002.raw")));
}

TEST_F(ExporterTest, FormatNoneTouchesNothing)
{
    options_.format = ExportFormat::kNone;
    Exporter exporter(options_);
    EXPECT_TRUE(exporter.Start());
    EXPECT_EQ(exporter.Export(View(Bytes(4, 'x'))), ExportResult::kOff);
    EXPECT_FALSE(fs::exists(folder_));
}

} // namespace
} // namespace kvgrab
