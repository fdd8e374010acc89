// The control socket's file, its clients, well-behaved and hostile, and what it wants of the grab
// thread.

#include "control/control_desk.h"
#include "control/control_socket.h"
#include "control/line_server.h"
#include "tests/system/files.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fcntl.h>
#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>

namespace
{

using namespace kvgrab;
using testing::HasSubstr;
using testing::StartsWith;

class ControlSocketTest : public testing::Test
{
protected:
    std::string Refusal() const
    {
        ControlSocket socket;
        std::string error;
        return socket.Listen(path_, &error) ? "none" : error;
    }

    TempFolder folder_;
    const std::string path_ = folder_ / "c.sock";
};

TEST_F(ControlSocketTest, BelongsToItsUserAloneAndReplacesOnlyADeadOne)
{
    struct stat status = {};
    {
        ControlSocket socket;
        std::string error;
        ASSERT_TRUE(socket.Listen(path_, &error)) << error;
        ASSERT_EQ(stat(path_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U);
        EXPECT_EQ(Refusal(), "another program listens there");
        EXPECT_EQ(stat(path_.c_str(), &status), 0) << "the refused one removed it";

        link(path_.c_str(), (folder_ / "dead").c_str());
    }
    EXPECT_NE(stat(path_.c_str(), &status), 0) << "it is left behind";
    rename((folder_ / "dead").c_str(), path_.c_str());
    EXPECT_EQ(Refusal(), "none") << "nobody listens to the old one";

    symlink("/etc/passwd", path_.c_str());
    EXPECT_THAT(Refusal(), HasSubstr("no socket of this user"));
    unlink(path_.c_str());
    std::ofstream(path_) << "mine";
    EXPECT_THAT(Refusal(), HasSubstr("no socket of this user"));
    EXPECT_EQ(ReadFile(path_), "mine");
    unlink(path_.c_str());
    chmod(folder_.Path().c_str(), 0777);
    EXPECT_THAT(Refusal(), HasSubstr("not this user's alone"));
}

/** Echoes lines; "much" gives 100,000 bytes, "subscribe" subscribes. */
class LineServerTest : public ControlSocketTest
{
protected:
    LineServerTest()
    {
        std::string error;
        EXPECT_TRUE(socket_.Listen(path_, &error) && server_.Start(socket_.Fd(), &error)) << error;
    }
    FileHandle Connected() const
    {
        std::string error;
        FileHandle client(ConnectTo(path_, &error));
        EXPECT_TRUE(client.Valid()) << error;
        const timeval patience = {60, 0};
        setsockopt(client.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
        fcntl(client.Get(), F_SETFL, 0);
        return client;
    }
    static void Say(const FileHandle& client, const std::string& text)
    {
        EXPECT_EQ(send(client.Get(), text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
    }
    /** What comes until a text is in it, or the server leaves. */
    static std::string Heard(const FileHandle& client, const std::string& until)
    {
        std::string heard;
        char byte = 0;
        while (!heard.ends_with(until) && read(client.Get(), &byte, 1) == 1) {
            heard += byte;
        }
        return heard;
    }

    ControlSocket socket_;
    LineServer server_{
        {.handle =
             [this](ClientId client, std::string_view line) {
                 if (line == "subscribe") {
                     server_.Subscribe(client, true);
                 }
                 server_.Send(client, line == "much" ? std::string(100'000, '.') + "\n"
                                                     : fmt::format("{}\n", line));
             },
         .refusal = [](const char* why) { return fmt::format("refused: {}\n", why); },
         .everySecond = [] { return std::string("tick\n"); },
         .missed = [](std::uint64_t missed) { return fmt::format("missed {}\n", missed); }}};
};

TEST_F(LineServerTest, ServesSeveralAndDropsThoseThatSendTooMuch)
{
    const FileHandle a = Connected();
    const FileHandle b = Connected();
    Say(a, "ha");
    Say(b, "one\n\ntwo\n");
    EXPECT_EQ(Heard(b, "two\n"), "one\n\ntwo\n");
    Say(a, "lf\n");
    EXPECT_EQ(Heard(a, "\n"), "half\n");
    Say(a, "last\nunfinished");
    shutdown(a.Get(), SHUT_WR);
    EXPECT_EQ(Heard(a, "nothing more"), "last\n");

    Say(b, std::string(70'000, 'x'));
    EXPECT_EQ(Heard(b, "nothing more"), "refused: a line is longer than 65536 bytes\n");

    std::vector<FileHandle> many;
    for (std::size_t i = 0; i < LineServer::kMostClients; ++i) {
        many.push_back(Connected());
        Say(many.back(), "x\n");
        EXPECT_EQ(Heard(many.back(), "\n"), "x\n");
    }
    EXPECT_EQ(Heard(Connected(), "nothing more"), "refused: too many clients are connected\n");
    many.pop_back();
    std::string answer;
    while (answer != "x\n") { // until the server has noticed that one left
        const FileHandle next = Connected();
        send(next.Get(), "x\n", 2, MSG_NOSIGNAL);
        answer = Heard(next, "\n");
    }
}

TEST_F(LineServerTest, IsHeldUpByNobodyWhoDoesNotRead)
{
    const FileHandle lazy = Connected();
    Say(lazy, "subscribe\nmuch\n");
    for (int i = 0; i < 7; ++i) {
        Say(lazy, "much\nmuch\nmuch\n"); // 2 MB of answers
    }
    { // leaves in the middle of an answer
        const FileHandle hasty = Connected();
        Say(hasty, "much\n");
        Heard(hasty, "...");
    }
    for (int i = 0; i < 1000; ++i) {
        server_.Publish(fmt::format("event {}\n", i));
    }
    const FileHandle other = Connected();
    Say(other, "hello\n");
    EXPECT_EQ(Heard(other, "\n"), "hello\n");
    EXPECT_THAT(Heard(lazy, "tick\n"), StartsWith("subscribe\n.....")); // it gets all of them
}

/** Work that another thread asks for, while the grab thread does `meanwhile` again and again. */
bool IsDoneWhile(ControlDesk* desk, std::chrono::milliseconds patience,
                 const std::function<void()>& work, const std::function<void()>& meanwhile)
{
    std::atomic<bool> over{false};
    bool done = false;
    std::thread asker([&] {
        done = desk->OnGrabThread(work, patience);
        over.store(true);
    });
    while (!over.load()) {
        meanwhile();
    }
    asker.join();
    return done;
}

TEST(ControlDesk, WorkIsDoneOnTheGrabThreadOrNotAtAll)
{
    constexpr std::chrono::hours kLong(1); // longer than a test may take
    ControlDesk desk;
    int count = 0;
    const auto work = [&count] { ++count; };
    EXPECT_TRUE(IsDoneWhile(&desk, kLong, work, [&desk] {
        if (desk.Asked()) {
            desk.DoWork();
        }
    }));
    EXPECT_EQ(count, 1);
    EXPECT_FALSE(IsDoneWhile(&desk, std::chrono::milliseconds(1), work, [] {})) << "no frame comes";
    EXPECT_FALSE(IsDoneWhile(&desk, kLong, work, [&desk] { desk.CameraCloses(); }));
    EXPECT_FALSE(desk.Asked());
    desk.DoWork();
    EXPECT_EQ(count, 1) << "work that was given up was done";

    desk.CameraIsReady();
    EXPECT_TRUE(desk.WithCamera(work));
    desk.CameraCloses();
    EXPECT_FALSE(desk.WithCamera(work));
    EXPECT_EQ(count, 2);
}

} // namespace
