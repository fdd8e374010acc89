#include "config/config_store.h"

#include "file_handle.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace kvgrab
{

namespace
{

constexpr std::int64_t kPollNs = 500'000'000;
/** Larger files are refused; one with the largest look-up table has less than a megabyte. */
constexpr std::size_t kLargestFile = 4 << 20;

FileStamp StampOf(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec, status.st_size,
            status.st_ino};
}

bool ReadFile(const std::string& path, std::string* text, std::string* error)
{
    // Not blocking: opening a FIFO that nobody writes to would stop the program here.
    const FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file.Valid() || fstat(file.Get(), &status) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        *error = "not a regular file";
        return false;
    }
    std::array<char, 4096> part{};
    for (;;) {
        if (text->size() > kLargestFile) {
            *error = "larger than 4 MB, which no configuration is";
            return false;
        }
        const ssize_t length = read(file.Get(), part.data(), part.size());
        if (length == 0) {
            return true;
        }
        if (length > 0) {
            text->append(part.data(), static_cast<std::size_t>(length));
        } else if (errno != EINTR) {
            *error = std::strerror(errno);
            return false;
        }
    }
}

} // namespace

ConfigSource FileSource(std::string path, std::function<void(Config*)> overrides)
{
    return {std::move(path), StampOf, ReadFile, std::move(overrides), {}};
}

ConfigStore::ConfigStore(ConfigSource source) : source_(std::move(source))
{
    Config config;
    source_.overrides(&config);
    Adopt(std::move(config));
}

bool ConfigStore::ReadStamped(const std::string& path, std::string* text, std::string* error)
{
    // Before the text is read, so that a change in between is seen at the next look.
    seen_[path] = source_.stamp(path);
    return source_.read(path, text, error);
}

ConfigStore::Result ConfigStore::Read(Config* config)
{
    Result result;
    ParsedConfig parsed;
    if (!source_.path.empty()) {
        seen_.clear();
        std::string text;
        std::string why;
        if (!ReadStamped(source_.path, &text, &why)) {
            result.error =
                fmt::format("can't read the configuration file {}: {}", source_.path, why);
            return result;
        }
        auto outcome =
            ParseConfig(text, source_.path,
                        [this](const std::string& path, std::string* content, std::string* error) {
                            return ReadStamped(path, content, error);
                        });
        if (const auto* error = std::get_if<ConfigError>(&outcome)) {
            result.error = error->Message();
            return result;
        }
        parsed = std::move(std::get<ParsedConfig>(outcome));
    }
    source_.overrides(&parsed.config);
    result.usable = true;
    result.warnings = std::move(parsed.warnings);
    result.changes = Compare(current_, parsed.config);
    *config = std::move(parsed.config);
    return result;
}

ConfigStore::Result ConfigStore::Reload()
{
    Config config;
    Result result = Read(&config);
    atPoll_ = seen_;
    if (result.usable) {
        Adopt(std::move(config));
        result.adopted = true;
    }
    return result;
}

std::optional<ConfigStore::Result> ConfigStore::Poll(std::int64_t nowNs)
{
    if (source_.path.empty() || nowNs < nextPollNs_) {
        return std::nullopt;
    }
    nextPollNs_ = nowNs + kPollNs;
    FileStamps stamps = seen_;
    for (auto& [path, stamp] : stamps) {
        stamp = source_.stamp(path);
    }
    const bool atRest = stamps == atPoll_;
    atPoll_ = stamps;
    if (!atRest || stamps == seen_) {
        return std::nullopt;
    }
    Config config;
    Result result = Read(&config);
    for (const auto& [path, stamp] : stamps) {
        if (seen_.contains(path)) {
            seen_[path] = stamp; // the next look finds what changed since this one
        }
    }
    if (result.usable && !result.changes.Any()) {
        return std::nullopt;
    }
    if (result.usable && result.changes.OnlyDynamic()) {
        Adopt(std::move(config));
        result.adopted = true;
    }
    return result;
}

void ConfigStore::Adopt(Config config)
{
    current_ = std::move(config);
    if (source_.adopted) {
        source_.adopted(current_);
    }
    if (current_.lut.values.empty()) {
        lut_ = nullptr;
        return;
    }
    const KeptLut wanted(current_.lut.bits, current_.lut.values);
    if (lut_ != nullptr && *lut_ == wanted) {
        return;
    }
    // A table that comes back gets a new address: the camera may have dropped it meanwhile.
    auto kept = std::find_if(luts_.begin(), luts_.end(), [&](const KeptLut& candidate) {
        return &candidate != lastLut_ && candidate == wanted;
    });
    if (kept == luts_.end()) {
        kept = luts_.insert(luts_.end(), wanted);
    }
    lut_ = lastLut_ = &*kept;
}

void ConfigStore::Take(const Config& other, const std::vector<std::string>& tables)
{
    Config config = current_;
    const auto take = [&](const char* name, auto Config::*table) {
        if (std::find(tables.begin(), tables.end(), name) != tables.end()) {
            config.*table = other.*table;
        }
    };
    take("exposure", &Config::exposure);
    take("gain", &Config::gain);
    take("auto", &Config::automatic);
    take("white_balance", &Config::whiteBalance);
    take("lut", &Config::lut);
    take("gamma", &Config::gamma);
    take("iobox", &Config::iobox);
    Adopt(std::move(config));
}

std::uint32_t ConfigStore::Format() const
{
    return forcedFormat_.value_or(current_.image.format);
}

std::uint32_t ConfigStore::Buffers() const
{
    return forcedBuffers_.value_or(current_.stream.buffers);
}

void ConfigStore::DropForced()
{
    forcedFormat_.reset();
    forcedBuffers_.reset();
}

} // namespace kvgrab
