/** Files of tests. */
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

/** A file's content; empty when there is none. */
inline std::string ReadFile(const std::filesystem::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/** A folder that goes when the test goes. */
class TempFolder
{
public:
    TempFolder()
    {
        std::string path = (std::filesystem::temp_directory_path() / "kvgrab-test-XXXXXX").string();
        path_ = mkdtemp(path.data());
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::filesystem::path& Path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    /** Writes a file and returns its path. */
    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path_ / name) << text;
        return *this / name;
    }

private:
    std::filesystem::path path_;
};

/** A file without a name. */
class NamelessFile
{
public:
    int Fd() const { return fileno(file_.get()); }
    /** Everything that was written. */
    std::string Content() const { return ReadFile("/proc/self/fd/" + std::to_string(Fd())); }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> file_{std::tmpfile()};
};
