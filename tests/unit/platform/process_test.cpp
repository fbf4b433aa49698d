// What happens around a process: forks, its last moments, and signals that would end it.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/log/log.hpp"
#include "platform/memory/memory.hpp"
#include "platform/runtime/error.hpp"
#include "platform/runtime/system.hpp"
#include "platform/runtime/thread.hpp"

#include "tests/support/host.hpp"

namespace {

constexpr std::size_t Size = 0x100000;
constexpr int Good = 7;  // an exit status that nothing else ends with

TEST(Process, AChildDoesNotShareKeptMemoryWithItsParent) {
    ShMem::create(Size).reset();  // kept for the thread's next request
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::memset(ShMem::create(Size)->address(), 'c', Size);
        _exit(Good);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(WEXITSTATUS(status), Good);
    EXPECT_NE(ShMem::create(Size)->address()[0], 'c');
}

/// Uses what lives longest, when everything else may be gone.
class Late {
public:
    explicit Late(std::uint32_t slot) : slot_(slot) {}
    Late(const Late&) = delete;
    Late& operator=(const Late&) = delete;
    ~Late() {
        SysLogStream::stdOutPrinter()->setLevel(4).text("late record").endRecord();
        std::uint64_t value = 0;
        ThdLocalData::set(slot_, 5);
        const Ref<String> name = PlatformEnvironment::getLongProductName(str("Vornik"));
        const bool works = ThdLocalData::get(slot_, value) && value == 5 &&
                           name->find("Vornik") == 0 && ShMem::create(Size) && PMem::create(Size);
        if (!works) {
            _exit(1);
        }
    }

private:
    std::uint32_t slot_;
};

/// Ends the process with late objects of both kinds, made before what they use.
[[noreturn]] void endLate() {
    static const std::uint32_t slot = ThdLocalData::res();
    static const Late object(slot);
    std::thread([] { thread_local const Late atThreadEnd(slot); }).join();
    SysLogStream::stdOutPrinter()->setLevel(4).text("early record").endRecord();
    (void)PlatformEnvironment::getLongProductName(str("Vornik"));
    PMem::create(Size).reset();
    std::exit(Good);  // NOLINT(concurrency-mt-unsafe): the only thread left
}

TEST(ProcessDeathTest, LateDestructorsMayUseThePlatform) {
    EXPECT_EXIT(endLate(), testing::ExitedWithCode(Good), "late record.*early record.*late record");
}

[[noreturn]] void logToNobody() {
    int ends[2] = {};
    if (pipe(ends) == 0 && dup2(ends[1], STDERR_FILENO) >= 0) {
        close(ends[0]);
        (void)std::signal(SIGPIPE, SIG_DFL);
        SysLogStream::writeLine(4, "channel", "text");
        _exit(Good);
    }
    _exit(1);
}

TEST(ProcessDeathTest, ALogLineNobodyReadsDoesNotEndTheProgram) {
    EXPECT_EXIT(logToNobody(), testing::ExitedWithCode(Good), "");
}

[[noreturn]] void shareBeyondTheFileSizeLimit() {
    const rlimit limit = {4096, 4096};
    const bool limited = setrlimit(RLIMIT_FSIZE, &limit) == 0;
    const bool failed = !ShMem::create(Size) && Error::get() == ErrHostBase + EFBIG;
    _exit(limited && failed ? Good : 1);
}

TEST(ProcessDeathTest, AFileSizeLimitMakesSharedMemoryFailWithoutASignal) {
    EXPECT_EXIT(shareBeyondTheFileSizeLimit(), testing::ExitedWithCode(Good), "");
}

}  // namespace
