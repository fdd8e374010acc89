#include "base/own_files.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using testing::HasSubstr;

/** A folder with what another user may have planted, and the process in it. */
class OwnFiles : public testing::Test
{
protected:
    OwnFiles()
    {
        char name[] = "/tmp/own_files.XXXXXX";
        fs::current_path(folder_ = mkdtemp(name));
        fs::create_directory("real");
        std::ofstream("victim") << "precious";
        fs::create_symlink("victim", "link");
        fs::create_symlink("nowhere", "dangling");
        fs::create_hard_link("victim", "twin");
        fs::create_directory_symlink("real", "reallink");
        mkfifo("fifo", 0600);
    }
    ~OwnFiles() override
    {
        fs::current_path("/");
        fs::remove_all(folder_);
    }

    std::string folder_;
    std::string error_;
};

std::string Contents(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(OwnFiles, NothingPlantedIsOpened)
{
    constexpr std::pair<const char*, const char*> kPlanted[] = {
        {"link", "symbolic link"},   {"dangling", "symbolic link"}, {"twin", "second name"},
        {"fifo", "no regular file"}, {"real", "directory"},
    };
    for (const auto& [name, why] : kPlanted) {
        for (const auto existing : {base::Existing::Append, base::Existing::Overwrite}) {
            EXPECT_EQ(base::OpenFileForWriting(name, existing, &error_), -1) << name;
            EXPECT_THAT(error_, HasSubstr(why)) << name;
        }
        EXPECT_EQ(base::OpenFileForWriting(name, base::Existing::Refuse, &error_), -1) << name;
    }
    EXPECT_EQ(Contents("victim"), "precious");
    EXPECT_FALSE(fs::exists("nowhere"));
}

TEST_F(OwnFiles, OwnFilesAreMadeKeptExtendedOrOverwritten)
{
    constexpr std::pair<base::Existing, const char*> kOutcomes[] = {
        {base::Existing::Keep, "news56"},
        {base::Existing::Append, "123456news"},
        {base::Existing::Overwrite, "news"},
    };
    for (const auto& [existing, contents] : kOutcomes) {
        std::ofstream("real/file") << "123456";
        const int fd = base::OpenFileForWriting("reallink/file", existing, &error_);
        ASSERT_GE(fd, 0) << error_;
        EXPECT_EQ(write(fd, "news", 4), 4);
        close(fd);
        EXPECT_EQ(Contents("real/file"), contents);
        fs::remove("real/file");
    }
}

TEST_F(OwnFiles, AFileIsReplacedAsAWholeUnlessItIsNone)
{
    for (const char* const text : {"a long first text", "second"}) {
        EXPECT_TRUE(base::ReplaceFile("reallink/file", text, &error_)) << error_;
        EXPECT_EQ(Contents("real/file"), text);
    }
    fs::create_symlink("file", "real/link");
    EXPECT_FALSE(base::ReplaceFile("real/link", "news", &error_));
    EXPECT_EQ(error_, "it exists and is no regular file");
    EXPECT_EQ(Contents("real/file"), "second");
    EXPECT_FALSE(base::ReplaceFile("real/missing/file", "news", &error_));
    EXPECT_EQ(std::distance(fs::directory_iterator("real"), {}), 2) << "a file is left over";
}

TEST_F(OwnFiles, AFolderIsNoLinkAndReachedOverNoLinkOfOthers)
{
    const int made = base::OpenFolder("real/a//b/./c/", true, &error_);
    EXPECT_GE(made, 0) << error_;
    close(made);
    EXPECT_TRUE(fs::is_directory("real/a/b/c"));
    EXPECT_EQ(base::OpenFolder("reallink", true, &error_), -1);
    EXPECT_THAT(error_, HasSubstr("'reallink' is a symbolic link"));
    EXPECT_EQ(base::OpenFolder("victim/sub", true, &error_), -1);
    EXPECT_THAT(error_, HasSubstr("Not a directory"));
    EXPECT_EQ(base::OpenFolder("real/missing", false, &error_), -1);
    EXPECT_THAT(error_, HasSubstr("No such file"));

    const int reached = base::OpenFolder(folder_ + "/reallink/a/../a", false, &error_);
    EXPECT_GE(reached, 0) << error_;
    close(reached);
    fs::create_symlink("loop", "loop");
    EXPECT_EQ(base::OpenFolder("loop/x", false, &error_), -1);
    EXPECT_THAT(error_, HasSubstr("Too many levels"));
    constexpr uid_t kOther = 65534;
    if (lchown("reallink", kOther, kOther) == 0) { // as root only
        EXPECT_EQ(base::OpenFolder("reallink/a", false, &error_), -1);
        EXPECT_THAT(error_, HasSubstr("link of another user"));
    }
}

} // namespace
