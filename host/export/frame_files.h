/** The folder of one export: its picture files and its index. */
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kvgrab
{

/** Owns the folder's handle and its index, which is locked so that two exports never share a
 *  folder. WriteFile may be called by several workers, each with a number of its own; AppendRow by
 *  one thread at a time. Functions return an empty text, or what went wrong. */
class FrameFiles
{
public:
    static constexpr unsigned kMostWorkers = 64;

    FrameFiles() = default;
    ~FrameFiles();
    FrameFiles(const FrameFiles&) = delete;
    FrameFiles& operator=(const FrameFiles&) = delete;

    /** Makes the folder with its parents, removes unfinished files of killed runs, begins the
     *  index. Without `overwrite` a folder that holds an export already is refused. */
    std::string Open(const std::string& folder, std::string_view extension, bool overwrite);
    void Close();

    std::string Name(std::uint64_t number) const; ///< "frame_000001.png"
    /** Writes under a temporary name and renames, so that a file is whole or not there. */
    std::string WriteFile(unsigned worker, const std::string& name,
                          std::span<const std::uint8_t> bytes);
    /** Needs no memory. */
    void RemoveFrame(std::uint64_t number) noexcept;
    /** Appends one whole line with its line feed. On failure the index ends with the row before. */
    std::string AppendRow(std::string_view row);
    /** Removes the files that workers are writing, and keeps them from beginning new ones.
     *  Async-signal-safe, any thread. */
    void AbandonNow() noexcept;

private:
    struct Unfinished {
        std::atomic<bool> pending = false;
        std::array<char, 64> name = {};
    };

    std::string BeginIndex();
    std::string CheckContents(bool* hasFrames);
    std::string Publish(const char* temporary, const std::string& name);
    std::string Text(const std::string& name, const char* what, int error) const;

    std::string folder_;
    std::string extension_;
    bool overwrite_ = false;
    int folderFd_ = -1;
    int indexFd_ = -1;
    std::uint64_t indexBytes_ = 0;
    std::atomic<bool> abandoned_ = false;
    std::array<Unfinished, kMostWorkers> unfinished_;
};

} // namespace kvgrab
