// Recorded feeds as the signalling side: files, pipes, their ends, and what is wrong with them.
#include "signalling/FileLink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <future>

#include "FeedFiles.h"
#include "SignallingSupport.h"
#include "platform/HostLog.h"

namespace pis::signalling {

namespace {

class FileLinkTest : public ::testing::Test {
protected:
    /// Everything that a link puts into an inbox until it ends, a line each.
    static std::string transcriptOf(const std::string& path) {
        FileLink link(path, 0);
        Inbox inbox;
        RunningLink running(link, inbox);
        std::string transcript;
        while (true) {
            const std::string item = next(inbox);
            transcript += item + "\n";
            if (item == "nothing" || item.rfind("link ended", 0) == 0 || item.rfind("link down", 0) == 0) break;
        }
        running.join();
        EXPECT_EQ(inbox.size(), 0U) << "something comes behind the end";
        return transcript;
    }

    /// Starts run(), stops it in the middle and says whether it returned.
    static bool endsWhenStopped(FileLink& link, Inbox& inbox, const std::function<void()>& meanwhile) {
        std::future<void> run = std::async(std::launch::async, [&] { link.run(inbox); });
        meanwhile();
        link.stop();
        const bool ended = run.wait_for(kGenerous) == std::future_status::ready;
        inbox.close();
        return ended;
    }

    const std::string feed = "{\"update\":2,\"id\":7,\"fields\":[\"North\",\"N\"]}\nx\n\n{\"delete\":2,\"id\":7}\n";
    const std::string transcript =
        "link up\n"
        "{\"update\":2,\"id\":7,\"fields\":[\"North\",\"N\"]}\n"
        "malformed 0: line 2: not JSON: the line is cut short, or a bracket, comma or colon stands wrong\n"
        "{\"delete\":2,\"id\":7}\n"
        "link ended: the feed was read to its end\n";
    TempFolder folder;
};

/// A pipe in the place of standard input.
class InputPipe {
public:
    InputPipe() : _before(dup(STDIN_FILENO)) {
        if (pipe2(_ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        dup2(_ends[0], STDIN_FILENO);
    }
    ~InputPipe() {
        dup2(_before, STDIN_FILENO);
        close(_before);
        close(_ends[0]);
        closeWriter();
    }
    InputPipe(const InputPipe&) = delete;
    InputPipe& operator=(const InputPipe&) = delete;

    void write(const std::string& text) const {
        ASSERT_EQ(::write(_ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void closeWriter() {
        if (_ends[1] >= 0) close(std::exchange(_ends[1], -1));
    }

private:
    std::array<int, 2> _ends{};
    int _before;
};

TEST_F(FileLinkTest, ReadsAFileToItsEnd) {
    EXPECT_EQ(transcriptOf(folder.write("feed", feed)), transcript);
}

TEST_F(FileLinkTest, ReadsACompressedFile) {
    EXPECT_EQ(transcriptOf(folder.write("feed", gzipped(feed))), transcript);
}

TEST_F(FileLinkTest, ReadsStandardInput) {
    InputPipe input;
    input.write(feed);
    input.closeWriter();
    EXPECT_EQ(transcriptOf("-"), transcript);
}

TEST_F(FileLinkTest, AFileThatIsNotThereIsReadWhenItComes) {
    FileLink link(folder.path("later"), 0);
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link down: cannot open: No such file or directory: waiting for it");
    std::filesystem::rename(folder.write("now", feed), folder.path("later"));
    std::string rest;
    while (rest.find("link ended") == std::string::npos && rest.find("nothing") == std::string::npos) {
        rest += next(inbox) + "\n";
    }
    EXPECT_EQ(rest, transcript);
}

TEST_F(FileLinkTest, AFileWhoseFolderIsNotThereIsReadWhenItComes) {
    FileLink link(folder.path("later/feed"), 0);
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link down: cannot open: No such file or directory: waiting for it");
    std::filesystem::create_directory(folder.path("now"));
    folder.write("now/feed", feed);
    std::filesystem::rename(folder.path("now"), folder.path("later"));
    EXPECT_EQ(next(inbox), "link up");
}

TEST_F(FileLinkTest, StopsWhileItWaitsForAFile) {
    FileLink link(folder.path("none"), 0);
    Inbox inbox;
    EXPECT_TRUE(endsWhenStopped(link, inbox, [&] { EXPECT_EQ(next(inbox).rfind("link down", 0), 0U); }));
    EXPECT_EQ(inbox.size(), 0U) << "a stop is no end";
}

TEST_F(FileLinkTest, AFolderIsNoFeed) {
    EXPECT_EQ(transcriptOf(folder.path()), "link down: is a directory, not a feed\n");
}

TEST_F(FileLinkTest, AFileThatCannotBeReadToItsEndIsDownFromThere) {
    const std::string packed = gzipped(feed);
    const std::string cut = transcriptOf(folder.write("feed", packed.substr(0, packed.size() - 4)));
    EXPECT_EQ(cut.substr(cut.rfind("link")), "link down: line 5: the compressed file ends too soon: it is cut short\n");
    EXPECT_NE(cut.find("{\"delete\":2,\"id\":7}\n"), std::string::npos) << "what is whole was delivered";
}

TEST_F(FileLinkTest, APipeIsReadAsItsLinesCome) {
    InputPipe input;
    FileLink link("-", 0);
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link up");
    input.write("{\"delete\":2,\"id\":1}\n{\"delete\":2,");
    EXPECT_EQ(next(inbox), R"({"delete":2,"id":1})");
    input.write("\"id\":2}\n");
    EXPECT_EQ(next(inbox), R"({"delete":2,"id":2})");
}

TEST_F(FileLinkTest, StopsWhileItWaitsForInput) {
    InputPipe input;
    FileLink link("-", 0);
    Inbox inbox;
    EXPECT_TRUE(endsWhenStopped(link, inbox, [&] {
        EXPECT_EQ(next(inbox), "link up");
        input.write("{\"delete\":2,\"id\":1}\n{\"half");
        EXPECT_EQ(next(inbox), R"({"delete":2,"id":1})");
    }));
    EXPECT_EQ(inbox.size(), 0U) << "half a line is none, and a stop is no end";
}

TEST_F(FileLinkTest, StopsWhileItWaitsForTheWriterOfANamedPipe) {
    const std::string path = folder.path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    FileLink link(path, 0);
    Inbox inbox;
    EXPECT_TRUE(endsWhenStopped(link, inbox, [&] { EXPECT_EQ(next(inbox), "link up"); }));
}

TEST_F(FileLinkTest, ANamedPipeIsReadOnceItsWriterComes) {
    const std::string path = folder.path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    FileLink link(path, 0);
    Inbox inbox;
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link up");
    const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    const std::string line = "{\"delete\":2,\"id\":1}\n";
    ASSERT_EQ(write(writer, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    EXPECT_EQ(next(inbox), R"({"delete":2,"id":1})");
    close(writer);
    EXPECT_EQ(next(inbox), "link ended: the feed was read to its end");
}

TEST_F(FileLinkTest, StopsWhileARecordIsNotYetDue) {
    FileLink link(folder.write("feed", "{\"at\":0,\"delete\":2,\"id\":1}\n{\"at\":86400,\"delete\":2,\"id\":2}\n"), 1);
    Inbox inbox;
    EXPECT_TRUE(endsWhenStopped(link, inbox, [&] {
        EXPECT_EQ(next(inbox), "link up");
        EXPECT_EQ(next(inbox), R"({"at":0,"delete":2,"id":1})");
    }));
    EXPECT_EQ(inbox.size(), 0U);
}

TEST_F(FileLinkTest, KeepsTheRecordedPace) {
    FileLink link(folder.write("feed", "{\"at\":100,\"delete\":2,\"id\":1}\n{\"at\":105,\"delete\":2,\"id\":2}\n"), 50);
    Inbox inbox;
    const auto start = std::chrono::steady_clock::now();
    RunningLink running(link, inbox);
    EXPECT_EQ(next(inbox), "link up");
    EXPECT_EQ(next(inbox), R"({"at":100,"delete":2,"id":1})");
    EXPECT_EQ(next(inbox), R"({"at":105,"delete":2,"id":2})");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(FileLinkTest, AStopBeforeItRunsHoldsToo) {
    FileLink link(folder.write("feed", feed), 0);
    link.stop();
    Inbox inbox(1);
    link.run(inbox);
    EXPECT_LE(inbox.size(), 1U);
}

TEST_F(FileLinkTest, OperationsAreRefusedWithALineInTheLog) {
    platform::HostLog::writeTo(folder.path("log"));
    FileLink link("some-feed", 0);
    EXPECT_FALSE(link.send({21, "3,North,N"}));
    EXPECT_NE(folder.read("log").find("operation 21 is lost: file:some-feed takes no operations"), std::string::npos);
    platform::HostLog::writeTo("/dev/null");
}

}  // namespace

}  // namespace pis::signalling
