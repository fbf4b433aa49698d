// A program whose standard streams are closed, full or slow, and one that starts others meanwhile.

#include <algorithm>
#include <array>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/log/log.hpp"

#include "tests/hostile/mirror.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr int Good = 7;  // an exit status that nothing else ends with

/// Mirrors in a process of their own. Their threads would have this one's copies wait for ever, for a
/// lock that one of them held at the moment of the fork.
class MirrorProcess {
public:
    explicit MirrorProcess(const Mirrors::Handler& handler = okResponse) {
        (void)trustedChain();  // the same for both; this process removes its folder
        std::array<int, 2> told{};
        std::array<int, 2> held{};
        EXPECT_EQ(pipe2(told.data(), O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(held.data(), O_CLOEXEC), 0);
        process_ = fork();
        if (process_ == 0) {
            (void)close(held[1]);
            serve(handler, told[1], held[0]);
        }
        (void)close(told[1]);
        (void)close(held[0]);
        held_ = OwnedDescriptor(held[1]);
        std::array<Port, 2> ports{};
        EXPECT_EQ(read(told[0], ports.data(), sizeof(ports)), sizeof(ports));
        (void)close(told[0]);
        urls_ = {String::concat({"http://127.0.0.1:", std::to_string(ports[0]), "/"}),
                 String::concat({"https://localhost:", std::to_string(ports[1]), "/"})};
    }
    MirrorProcess(const MirrorProcess&) = delete;
    MirrorProcess& operator=(const MirrorProcess&) = delete;
    ~MirrorProcess() {
        held_.close();
        (void)waitpid(process_, nullptr, 0);
    }
    [[nodiscard]] const std::vector<Ref<String>>& urls() const noexcept { return urls_; }

private:
    using Port = std::uint16_t;

    [[noreturn]] static void serve(const Mirrors::Handler& handler, int told, int held) {
        const Mirrors mirrors(handler);
        const std::array<Port, 2> ports = mirrors.ports();
        char byte = 0;
        const bool good =
            write(told, ports.data(), sizeof(ports)) == sizeof(ports) && read(held, &byte, 1) == 0;
        _exit(good ? 0 : 1);
    }

    pid_t process_ = -1;
    OwnedDescriptor held_;  // whose end ends the servers
    std::vector<Ref<String>> urls_;
};

/// @param first  The first of those that are closed.
[[noreturn]] void performWithoutStandardStreams(const MirrorProcess& servers, int first) {
    for (int descriptor = first; descriptor <= 2; ++descriptor) {
        close(descriptor);
    }
    SysLogFilter::setLevel(1);
    bool good = true;
    for (const Ref<String>& url : servers.urls()) {
        good = good && arrivesWhole(url, {Flag::Verbose});
    }
    _exit(good ? Good : 1);
}

TEST(StandardStreamsDeathTest, ThatAreClosedLetNoRecordIntoAConnection) {
    const MirrorProcess servers;
    for (const int first : {0, 1, 2}) {
        EXPECT_EXIT(performWithoutStandardStreams(servers, first), testing::ExitedWithCode(Good),
                    "");
    }
}

/// Answers what a program that this process starts finds open.
std::string descriptorsOfAChild() {
    const OwnedDescriptor output(memfd_create("output", MFD_CLOEXEC));
    posix_spawn_file_actions_t actions;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_adddup2(&actions, output.number(), 1);
    char program[] = "/bin/ls";
    char folder[] = "/proc/self/fd";
    char* arguments[] = {program, folder, nullptr};
    pid_t child = 0;
    int status = 0;
    EXPECT_EQ(posix_spawn(&child, program, &actions, nullptr, arguments, environ), 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    (void)posix_spawn_file_actions_destroy(&actions);
    std::array<char, 4096> text{};
    const ssize_t count = pread(output.number(), text.data(), text.size(), 0);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

/// Answers how a copy of this process ends that performs an exchange and leaves.
int statusOfACopyThatPerforms(const Ref<String>& url) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(arrivesWhole(url) ? Good : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ChildProcess, OfACallbackHoldsNothingOfTheExchange) {
    const MirrorProcess servers;
    const std::string before = descriptorsOfAChild();
    for (const Ref<String>& url : servers.urls()) {
        const TemporaryFile source("the body");
        const TemporaryFile target("");
        unsigned children = 0;
        const auto look = [&](double) {
            EXPECT_EQ(descriptorsOfAChild(), before);
            EXPECT_EQ(statusOfACopyThatPerforms(url), Good);
            ++children;
        };
        const Ref<Request> request = Request::create()->setUrl(url);
        request->setBody(FileStrm::openForReading(source.path()));
        request->onUploadProgress(look)->onDownloadProgress(look);
        EXPECT_TRUE(request->perform(FileStrm::openForWriting(target.path())));
        EXPECT_TRUE(target.content().ends_with("\r\n\r\nthe body"));
        EXPECT_GE(children, 6U);
    }
}

/// A reason phrase whose record is more than a pipe takes at once.
std::string wordy(const std::string& request) {
    return "HTTP/1.1 200 " + std::string(9000, 'r') + okResponse(request).substr(15);
}

/// Performs verbose exchanges with a standard error of its own, and ends well when all went well.
[[noreturn]] void performWithErrors(int errors, const MirrorProcess& servers, rlim_t fileSize) {
    const rlimit limit = {fileSize, fileSize};
    SysLogFilter::setLevel(1);
    bool good = dup2(errors, STDERR_FILENO) >= 0 && setrlimit(RLIMIT_FSIZE, &limit) == 0;
    for (int i = 0; i < 10; ++i) {
        good = good && arrivesWhole(servers.urls()[i % 2], {Flag::Verbose});
    }
    _exit(good ? Good : 1);
}

TEST(StandardErrorDeathTest, ThatTakesNothingLosesRecordsAndNoExchange) {
    const MirrorProcess servers(wordy);
    const OwnedDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const OwnedDescriptor file(memfd_create("limited", MFD_CLOEXEC));
    const OwnedDescriptor reading(open("/dev/null", O_RDONLY | O_CLOEXEC));
    for (const int number : {full.number(), file.number(), reading.number()}) {
        const rlim_t most = number == file.number() ? 2 << 20 : RLIM_INFINITY;
        if (number == file.number()) {  // whose end is the process's limit
            ASSERT_EQ(lseek(number, 2 << 20, SEEK_SET), 2 << 20);
        }
        EXPECT_EXIT(performWithErrors(number, servers, most), testing::ExitedWithCode(Good), "");
    }
}

struct PipeCase {
    const char* name;
    bool blocks;  ///< Whether a write waits for room.
    bool late;    ///< Whether the reader waits until there is no room any more.
};

/// Waits until a pipe is full, or its writer has ended.
void awaitFull(const OwnedDescriptor& writer, pid_t child) {
    pollfd entry = {writer.number(), POLLOUT, 0};
    siginfo_t ended = {};
    while (poll(&entry, 1, 0) == 1 && ended.si_pid == 0) {
        (void)waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
}

std::string readToTheEnd(const OwnedDescriptor& reader) {
    std::string text;
    std::array<char, 1024> piece{};
    for (ssize_t count = 1; count > 0;) {
        count = read(reader.number(), piece.data(), piece.size());
        text.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return text;
}

/// A pipe that holds little.
struct SmallPipe {
    SmallPipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        reader = OwnedDescriptor(ends[0]);
        writer = OwnedDescriptor(ends[1]);
        EXPECT_EQ(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    }
    OwnedDescriptor reader;
    OwnedDescriptor writer;
};

/// Answers what a program that performs leaves in a pipe.
std::string recordsThrough(const PipeCase& row, const MirrorProcess& servers) {
    auto [reader, writer] = SmallPipe();
    EXPECT_EQ(fcntl(writer.number(), F_SETFL, row.blocks ? 0 : O_NONBLOCK), 0);
    const pid_t child = fork();
    if (child == 0) {
        performWithErrors(writer.number(), servers, RLIM_INFINITY);
    }
    if (row.late) {
        awaitFull(writer, child);
    }
    writer.close();
    std::string text = readToTheEnd(reader);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, Good << 8U);
    return text;
}

TEST(StandardError, ThatIsAPipeTakesRecordsWholeOrTheirBeginning) {
    const MirrorProcess servers(wordy);
    const std::string record = "[-0-9]+T[0-9:.]+Z [1-4] \\[[A-Za-z. ]+\\] .*";
    const std::string reason = "Reason = " + std::string(9000, 'r');
    for (const PipeCase& row :
         {PipeCase{"Waiting", true, false}, PipeCase{"WaitingLong", true, true},
          PipeCase{"Refusing", false, false}, PipeCase{"RefusingLong", false, true}}) {
        SCOPED_TRACE(row.name);
        std::istringstream lines(recordsThrough(row, servers));
        int reasons = 0;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_THAT(line.substr(0, 80), testing::MatchesRegex(record));
            const std::size_t at = line.find("Reason = ");
            if (at != std::string::npos) {  // the log waits a second for room, and no longer
                EXPECT_TRUE(row.blocks ? line.substr(at) == reason
                                       : reason.starts_with(line.substr(at)))
                    << line.size();
                ++reasons;
            }
        }
        EXPECT_TRUE(reasons == 10 || !row.blocks) << reasons;
    }
}

TEST(StandardError, ThatTookABeginningAloneTakesTheNextRecordOnALineOfItsOwn) {
    auto [reader, writer] = SmallPipe();
    ASSERT_EQ(fcntl(writer.number(), F_SETFL, O_NONBLOCK), 0);
    OwnedDescriptor own(dup(STDERR_FILENO));
    dup2(writer.number(), STDERR_FILENO);
    const std::string text(5000, 'x');
    SysLogStream::writeLine(4, "channel", text);
    SysLogStream::writeLine(4, "channel", "lost");
    std::string taken(8192, '\0');
    const ssize_t beginning = read(reader.number(), taken.data(), taken.size());
    SysLogStream::writeLine(4, "channel", "next");
    dup2(own.number(), STDERR_FILENO);
    writer.close();
    EXPECT_EQ(beginning, 4096);
    EXPECT_THAT(readToTheEnd(reader),
                testing::MatchesRegex("\n[-0-9]+T[0-9:.]+Z 4 \\[channel\\] next\n"));
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
