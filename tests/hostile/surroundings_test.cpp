// Exchanges in odd surroundings: another locale and time zone, a clock that jumps, a small stack, and a
// process that ends meanwhile.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <locale>

#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/hostile/mirror.hpp"
#include "tests/support/bounds.hpp"

namespace {

constinit std::atomic<bool> clockJumps{false};
constinit std::atomic<unsigned> clockCalls{0};

}  // namespace

/// In the place of the host's: the time of day jumps by ten years, there and back.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (clock == CLOCK_REALTIME && clockJumps) {
        now->tv_sec += (static_cast<long>(clockCalls++ % 3) - 1) * 315'576'000;
    }
    return result;
}

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr int Good = 7;  // an exit status that nothing else ends with

TEST(Clock, ThatJumpsChangesNeitherExchangesNorLimits) {
    const Mirrors mirrors;
    const LoopbackListener silent;
    const LogCapture log(4);
    clockJumps = true;
    {
        const ScopedLimits generous(60'000, 60'000);  // but less than a jump
        for (const Ref<String>& url : mirrors.urls()) {
            EXPECT_TRUE(arrivesWhole(url));
        }
    }
    const ScopedLimits limits(0, 200);
    const Ref<String> url = String::concat({"http://127.0.0.1:", std::to_string(silent.port())});
    const auto start = std::chrono::steady_clock::now();
    {
        const Disturbance disturbance;  // after a signal the rest of the limit is reckoned
        EXPECT_EQ(look(Request::create()->setUrl(url)->perform(0)).error, ErrTransfer);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
    SysLogStream::writeLine(1, "Test", "a record at another time");
    clockJumps = false;
    EXPECT_TRUE(
        log.hasFailure("Could not receive data; error: " + hexDec(ErrHostBase + ETIMEDOUT)));
    EXPECT_GT(clockCalls, 0U);
}

/// Numbers as no protocol has them.
class OddNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

/// Makes locales whose letters and numbers differ, and a far time zone. @return Whether it could.
bool goAbroad(const std::filesystem::path& folder) {
    const std::string target = (folder / "tr_TR.UTF-8").string();
    const std::string command = "localedef --no-archive -i tr_TR -f UTF-8 " + target;
    // NOLINTBEGIN(concurrency-mt-unsafe): before any thread
    const bool made = std::system(command.c_str()) == 0;
    setenv("LOCPATH", folder.c_str(), 1);
    setenv("TZ", "XXX-13:47:11YYY", 1);
    tzset();
    return made && std::setlocale(LC_ALL, "tr_TR.UTF-8") != nullptr;
    // NOLINTEND(concurrency-mt-unsafe)
}

[[noreturn]] void performAbroad(const std::filesystem::path& folder) {
    if (!goAbroad(folder)) {
        _exit(1);
    }
    std::locale::global(std::locale(std::locale::classic(), new OddNumbers));
    bool good = true;
    const Mirrors mirrors;
    for (const Ref<String>& url : mirrors.urls()) {
        good = good && arrivesWhole(url);
    }
    // Header fields of which the library makes something, and a body of more than 999 bytes.
    const std::string body(1234, 'b');
    AnsweringServer server(
        [&](const std::string& request) {
            return request.starts_with("GET /i")
                       ? "HTTP/1.1 200 OK\r\nCONTENT-LENGTH: 1234\r\n\r\n" + body
                       : std::string("HTTP/1.1 302 x\r\nLOCATION: /i\r\n\r\n");
        },
        1);
    const LogCapture log(1);
    const Ref<Request> request = Request::create(Flag::Verbose)->setUrl(server.url("/"));
    const Seen seen = look(request->setHeaderField("I", "1")->setHeaderField("i", "2")->perform(0));
    good = good && seen.redirected && seen.body == body && seen.fields == "CONTENT-LENGTH=1234;" &&
           log.has(1, "HTTP Client", "Got response HTTP/1.1, Code = c8h (200), Reason = OK");
    _exit(good ? Good : 2);
}

TEST(LocaleDeathTest, OfAnotherCountryChangesNoLettersAndNoNumbers) {
    std::string folder =
        (std::filesystem::temp_directory_path() / "nethttp-locale-XXXXXX").string();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    EXPECT_EXIT(performAbroad(folder), testing::ExitedWithCode(Good), "");
    std::filesystem::remove_all(folder);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t StackSize = 4096U << 10U;  // theirs are larger
#else
constexpr std::size_t StackSize = 64U << 10U;
#endif
constexpr unsigned char Untouched = 0xA5;

void* performOn(void* url) {
    return arrivesWhole(*static_cast<const Ref<String>*>(url)) ? url : nullptr;
}

/// Performs on a thread with a small stack. @return How much of it was used; 0 after a failure.
std::size_t stackUsedBy(Ref<String> url) {
    void* const stack =
        mmap(nullptr, StackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::memset(stack, Untouched, StackSize);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack, StackSize), 0);
    pthread_t thread = {};
    void* result = nullptr;
    EXPECT_EQ(pthread_create(&thread, &attributes, performOn, &url), 0);
    EXPECT_EQ(pthread_join(thread, &result), 0);
    const auto* const bytes = static_cast<const unsigned char*>(stack);
    const auto* const end = bytes + StackSize;
    const auto* const lowest =
        std::find_if(bytes, end, [](unsigned char byte) { return byte != Untouched; });
    const auto used = static_cast<std::size_t>(end - lowest);
    (void)munmap(stack, StackSize);
    return result != nullptr ? used : 0;
}

TEST(Stack, Of64KiBIsEnough) {
    const Mirrors mirrors;
    for (const Ref<String>& url : mirrors.urls()) {
        const std::size_t used = stackUsedBy(url);
        EXPECT_GT(used, 0U);
        EXPECT_LT(used, StackSize * 3 / 4);
        std::cout << url << ": " << used << " bytes of stack\n";
    }
}

#if defined(__SANITIZE_THREAD__)
constexpr unsigned Exits = 3;  // each takes a second there
#else
constexpr unsigned Exits = 20;
#endif

TEST(ExitDeathTest, MayComeWhileThreadsPerform) {
    const Mirrors mirrors;
    const std::string plainUrl = plain(mirrors.urls()[0]);
    const std::string tlsUrl = plain(mirrors.urls()[1]);
    for (unsigned i = 0; i < (isLongForm() ? 1000U : Exits); ++i) {
        const std::string count = std::to_string(i % 20);
        EXPECT_EXIT(execl(NETHTTP_EXITING, "exiting", count.c_str(), plainUrl.c_str(),
                          tlsUrl.c_str(), nullptr),
                    testing::ExitedWithCode(Good), "")
            << i;
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
