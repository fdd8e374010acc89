/** The configuration in force: where it comes from, when it is read again, and what the driver
 *  has put in place of it.
 *
 *  Grab thread only. Every look-up table that was ever in force stays valid as long as the store.
 */
#pragma once

#include "config/config.h"
#include "config/config_changes.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kvgrab
{

/** Identifies one state of a file. */
struct FileStamp {
    std::int64_t mtimeNs = -1; ///< -1: the file can't be read
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    bool operator==(const FileStamp&) const = default;
};

/** How the store reaches files; tests put others in their place. */
struct ConfigSource {
    std::string path; ///< empty: no file, the defaults apply
    std::function<FileStamp(const std::string&)> stamp;
    FileReader read;
    /** Lets the command line override every configuration that is read. */
    std::function<void(Config*)> overrides;
    /** Called with each configuration that comes into force; may be empty. */
    std::function<void(const Config&)> adopted = {};
};

/** A source that reads a real file. */
ConfigSource FileSource(std::string path, std::function<void(Config*)> overrides);

class ConfigStore
{
public:
    explicit ConfigStore(ConfigSource source);

    /** Outcome of reading the file again. */
    struct Result {
        bool usable = false;               ///< a configuration was read
        bool adopted = false;              ///< and it is in force now
        std::string error;                 ///< why it can't be used
        std::vector<std::string> warnings; ///< of keys without effect
        ConfigChanges changes;             ///< against the one in force before
    };

    /** Reads the file and applies it, whatever changed. On an error the old one stays. */
    Result Reload();

    /** Looks at the file and at those that it names, at most every half second, and applies them if
     *  nothing changed but what can be applied while grabbing. There is a result only for a change,
     *  once. Files are read when they are unchanged since the look before, so that a half-written
     *  one is left alone. */
    std::optional<Result> Poll(std::int64_t nowNs);

    /** Puts these tables of another configuration in force: some of those that Compare calls
     *  dynamic. */
    void Take(const Config& other, const std::vector<std::string>& tables);

    const Config& Current() const { return current_; }
    const std::string& Path() const { return source_.path; }

    std::uint32_t Format() const;
    std::uint32_t Buffers() const;
    void ForceFormat(std::uint32_t format) { forcedFormat_ = format; }
    void ForceBuffers(std::uint32_t buffers) { forcedBuffers_ = buffers; }
    /** What the driver forced ends with its device session. */
    void DropForced();

    /** The table in force; null without one. A different table has a different address, and so has
     *  a table that comes back after there was none. */
    const std::uint16_t* LutData() const { return lut_ != nullptr ? lut_->second.data() : nullptr; }

private:
    /** A table and the width of its entries: equal numbers of another width make another table. */
    using KeptLut = std::pair<std::uint16_t, std::vector<std::uint16_t>>;

    /** The configuration file and the files that it names, by path. */
    using FileStamps = std::map<std::string, FileStamp>;

    Result Read(Config* config);
    /** Reads a file and keeps the stamp that it had before. */
    bool ReadStamped(const std::string& path, std::string* text, std::string* error);
    void Adopt(Config config);

    ConfigSource source_;
    Config current_;
    FileStamps seen_;   ///< of the files when they were last read
    FileStamps atPoll_; ///< of the last look
    std::int64_t nextPollNs_ = 0;
    std::optional<std::uint32_t> forcedFormat_;
    std::optional<std::uint32_t> forcedBuffers_;
    std::deque<KeptLut> luts_;         ///< never shrinks; a deque moves no element when it grows
    const KeptLut* lut_ = nullptr;     ///< in force
    const KeptLut* lastLut_ = nullptr; ///< the last one in force
};

} // namespace kvgrab
