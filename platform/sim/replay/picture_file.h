/** A picture of an exported folder: raw, or grey PNG. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace sim
{

/** What a picture has to look like. */
struct PictureForm {
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t pixelFormat; ///< GigE Vision code
    std::size_t bytes;         ///< of its pixels as they were received
};

/** One open picture. What is wrong with it is raised as `std::runtime_error`, whose text begins
 *  with the name of the file. */
class PictureFile
{
public:
    /** Opens the file `name` of a folder, which must be a regular one. */
    PictureFile(int folder, const std::string& name);
    ~PictureFile();
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    /** Looks at size and form alone. */
    void Check(const PictureForm& form, std::string_view codec) const;
    /** Writes the pixels as they were received, `size` bytes at most. */
    void Read(const PictureForm& form, std::uint8_t* pixels, std::size_t size) const;

private:
    void ReadRaw(std::uint8_t* pixels, std::size_t size) const;
    void ReadPng(const PictureForm& form, std::uint8_t* pixels) const;
    [[noreturn]] void Refuse(std::string_view why) const;

    std::string name_;
    int fd_ = -1;
    std::uint64_t size_ = 0;
};

/** Reads a file of the folder. Returns an empty text, or why it can't be read. */
std::string ReadWholeFile(int folder, const std::string& name, std::string* text);

} // namespace sim
