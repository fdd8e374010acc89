#include "sim/replay/recording.h"

#include "base/names.h"
#include "base/pixel_format.h"
#include "sim/replay/index_fields.h"
#include "sim/replay/picture_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace sim
{

namespace
{

constexpr const char* kIndexName = "index.csv";
constexpr std::string_view kColumns =
    "number,file,time_us,camera_ticks,frame_counter,gain_db,exposure_us,width,height,codec,"
    "camera_frame_number,capture_time_ns";
constexpr base::Named<std::uint32_t> kCodecs[] = {{"MONO8T", base::kMono8},
                                                  {"MONO12PT", base::kMono12Packed},
                                                  {"MONO12T", base::kMono12},
                                                  {"UYVY", base::kYuv422Packed},
                                                  {"BayerRG8T", base::kBayerRg8}};
constexpr std::uint32_t kMostSide = 65536;
constexpr double kMostGainDb = 200;
constexpr double kMostExposureUs = 1e9;
constexpr std::int64_t kLongestNs = 100LL * 365 * 86400 * 1'000'000'000;
constexpr std::int64_t kUsualPeriodNs = 33'333'333;
/** An acquisition whose first picture has a higher number did not begin with number 1. */
constexpr std::uint64_t kMostLostAtFirst = 1000;

/** The factor from which a host that computes in single precision gets this gain back. */
double FactorOf(double db)
{
    const auto wanted = static_cast<float>(db);
    const float nearest = std::pow(10.0F, wanted / 20.0F);
    constexpr int kNeighbours = 16;
    float below = nearest;
    float above = nearest;
    for (int i = 0; i < kNeighbours; ++i) {
        for (const float factor : {below, above}) {
            if (20.0F * std::log10(factor) == wanted) {
                return factor;
            }
        }
        below = std::nextafter(below, 0.0F);
        above = std::nextafter(above, std::numeric_limits<float>::infinity());
    }
    return nearest;
}

template <class Value> Value Median(std::vector<Value> values, Value otherwise)
{
    if (values.empty()) {
        return otherwise;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

std::shared_ptr<const Recording> Recording::Load(const std::string& folder)
{
    std::shared_ptr<Recording> recording(new Recording);
    recording->folder_ = folder;
    recording->folderFd_ = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (recording->folderFd_ < 0) {
        recording->Refuse(std::generic_category().message(errno));
    }
    recording->ReadIndex();
    recording->FindTimes();
    recording->FindPace();
    return recording;
}

Recording::~Recording()
{
    if (folderFd_ >= 0) {
        close(folderFd_);
    }
}

void Recording::Refuse(std::string_view why) const
{
    throw std::runtime_error(fmt::format("The recording {} can't be replayed: {}.", folder_, why));
}

void Recording::RefuseRow(std::size_t line, std::string_view why) const
{
    Refuse(fmt::format("{}, line {}: {}", kIndexName, line, why));
}

void Recording::ReadIndex()
{
    std::string text;
    const std::string trouble = ReadWholeFile(folderFd_, kIndexName, &text);
    if (!trouble.empty()) {
        Refuse(fmt::format("{}: {}", kIndexName, trouble));
    }
    std::string_view rest = text;
    std::size_t line = 0;
    while (!rest.empty()) {
        ++line;
        const std::size_t end = rest.find('\n');
        if (end == std::string_view::npos) {
            RefuseRow(line, "the row is incomplete; it has no line feed");
        }
        const std::string_view row = rest.substr(0, end);
        rest.remove_prefix(end + 1);
        if (line == 1 && row != kColumns) {
            RefuseRow(line, fmt::format("expected the columns {}", kColumns));
        }
        if (line > 1) {
            ReadRow(row, line);
        }
    }
    if (frames_.empty()) {
        Refuse(fmt::format("{} has no pictures", kIndexName));
    }
}

void Recording::ReadRow(std::string_view row, std::size_t line)
{
    RecordedFrame frame;
    frame.line = line;
    IndexFields fields(row);
    try {
        fields.Integer<std::uint64_t>("number", 0);
        frame.file = fields.Text("file");
        frame.hostUs = fields.Integer<std::uint64_t>("time_us", 0);
        frame.ticks = fields.Integer<std::uint64_t>("camera_ticks", 0);
        frame.counter = fields.Integer<std::uint32_t>("frame_counter", 0);
        frame.gain = FactorOf(fields.Number("gain_db", -kMostGainDb, kMostGainDb));
        frame.exposureUs = fields.Number("exposure_us", 0, kMostExposureUs);
        const auto width = fields.Integer<std::uint32_t>("width", 1, kMostSide);
        const auto height = fields.Integer<std::uint32_t>("height", 1, kMostSide);
        const std::string codec = fields.Text("codec");
        frame.number = fields.Integer<std::uint64_t>("camera_frame_number", 0);
        frame.captureNs = fields.Integer<std::uint64_t>("capture_time_ns", 0);
        fields.End();
        if (frames_.empty()) {
            width_ = width;
            height_ = height;
            codec_ = codec;
            format_ = base::ValueIn<std::uint32_t>(kCodecs, codec).value_or(0);
            pictureBytes_ = base::PictureBytes(width, height, format_);
        }
        if (format_ == 0) {
            throw std::runtime_error(fmt::format("the codec '{}' is unknown", codec));
        }
        if (width != width_ || height != height_ || codec != codec_) {
            throw std::runtime_error(
                fmt::format("the picture has {} x {} pixels {}, and those before have {} x {} "
                            "pixels {}; a recording is replayed in one size and format",
                            width, height, codec, width_, height_, codec_));
        }
        LookAtPicture(frame);
    } catch (const std::runtime_error& error) {
        RefuseRow(line, error.what());
    }
    CountMissing(&frame);
    frames_.push_back(std::move(frame));
}

/** A frame that the host counted arrived, even if its picture is not in the folder. */
void Recording::CountMissing(RecordedFrame* frame)
{
    const bool first = frames_.empty();
    const std::uint32_t counterBefore = first ? 0xFFFFFFFF : frames_.back().counter;
    const std::uint32_t grabbed = frame->counter - counterBefore - 1;
    const std::uint64_t numberBefore = first ? 0 : frames_.back().number;
    if (frame->number == 0) {
        return;
    }
    if (!first && frame->number > numberBefore) {
        const std::uint64_t between = frame->number - numberBefore - 1;
        frame->lostBefore = between - std::min<std::uint64_t>(between, grabbed);
        notExported_ += between - frame->lostBefore;
    } else if (frame->number > grabbed && frame->number - 1 - grabbed <= kMostLostAtFirst) {
        // The first row of an acquisition. The host never exports an acquisition's first frame.
        frame->lostBefore = frame->number - 1 - grabbed;
        notExported_ += first ? 0 : std::max(grabbed, 1U) - 1;
    }
    lost_ += std::min(frame->lostBefore, std::numeric_limits<std::uint64_t>::max() - lost_);
}

void Recording::LookAtPicture(const RecordedFrame& frame) const
{
    const PictureForm form = {width_, height_, format_, pictureBytes_};
    const PictureFile file(folderFd_, frame.file);
    file.Check(form, codec_);
}

std::string Recording::ReadPicture(std::size_t position, std::uint8_t* pixels,
                                   std::size_t size) const
{
    const RecordedFrame& frame = frames_.at(position);
    try {
        const PictureFile file(folderFd_, frame.file);
        file.Read({width_, height_, format_, pictureBytes_}, pixels, size);
        return {};
    } catch (const std::exception& error) {
        return fmt::format("The recording {} can't be replayed any further: {}, line {}: {}.",
                           folder_, kIndexName, frame.line, error.what());
    }
}

/** By the capture times, or by the host's time stamps where a frame has none. */
void Recording::FindTimes()
{
    std::int64_t timeNs = 0;
    for (std::size_t i = 1; i < frames_.size(); ++i) {
        const RecordedFrame& before = frames_[i - 1];
        RecordedFrame& frame = frames_[i];
        const bool captured = before.captureNs != 0 && frame.captureNs != 0;
        const std::uint64_t from = captured ? before.captureNs : before.hostUs;
        const std::uint64_t to = captured ? frame.captureNs : frame.hostUs;
        const std::uint64_t later = to > from ? to - from : 0;
        const std::uint64_t unitNs = captured ? 1 : 1000;
        if (later > static_cast<std::uint64_t>(kLongestNs - timeNs) / unitNs) {
            RefuseRow(frame.line, "the time is more than a hundred years after the first frame");
        }
        timeNs += static_cast<std::int64_t>(later * unitNs);
        frame.timeNs = timeNs;
    }
}

void Recording::FindPace()
{
    std::vector<std::int64_t> periodsNs;
    std::vector<double> nsPerTick;
    for (std::size_t i = 1; i < frames_.size(); ++i) {
        const RecordedFrame& before = frames_[i - 1];
        const RecordedFrame& frame = frames_[i];
        periodsNs.push_back(frame.timeNs - before.timeNs);
        if (before.captureNs != 0 && frame.captureNs > before.captureNs && before.ticks != 0 &&
            frame.ticks > before.ticks) {
            nsPerTick.push_back(static_cast<double>(frame.captureNs - before.captureNs) /
                                static_cast<double>(frame.ticks - before.ticks));
        }
    }
    periodNs_ = std::max<std::int64_t>(Median(std::move(periodsNs), kUsualPeriodNs), 1);
    const double measured = std::clamp(Median(std::move(nsPerTick), 1.0), 1e-3, 1e9);
    // Capture times follow the drift of the clocks, so that they show a tick's length only nearly.
    constexpr double kSame = 0.01;
    const double whole = std::max(std::round(measured), 1.0);
    const double exact = std::abs(measured - whole) < kSame * whole ? whole : measured;
    tickFrequency_ = static_cast<std::uint64_t>(std::llround(1e9 / exact));
    periodTicks_ = static_cast<std::uint64_t>(std::llround(static_cast<double>(periodNs_) / exact));
}

} // namespace sim
