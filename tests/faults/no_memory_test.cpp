// Memory is gone: every allocation of an exchange fails in turn, once and from then on, in a copy of
// this process. The copy ends with the one line that is promised, or the exchange comes to an end.
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <regex>

#include <dlfcn.h>
#include <netdb.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/hostile/mirror.hpp"
#include "tests/support/fault_points.hpp"

namespace {

/// The allocations of a copy, which has one thread alone.
struct {
    bool areCounted = false;
    unsigned count = 0;
    unsigned failing = 0;
    bool lasts = false;
} allocations;

bool isRefused() noexcept {
    if (!allocations.areCounted) {
        return false;
    }
    ++allocations.count;
    return allocations.count == allocations.failing ||
           (allocations.lasts && allocations.count > allocations.failing);
}

}  // namespace

// These take the place of the C library's for the whole process; blocks are its own all the same.
extern "C" {

// NOLINTBEGIN(readability-identifier-naming,bugprone-reserved-identifier): the C library's own
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

/// What pthread_atfork calls: it fails for want of memory alone.
int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(),
                      void* library) noexcept {
    auto* const next =
        reinterpret_cast<decltype(&__register_atfork)>(dlsym(RTLD_NEXT, "__register_atfork"));
    return isRefused() ? ENOMEM : next(prepare, parent, child, library);
}
// NOLINTEND(readability-identifier-naming,bugprone-reserved-identifier)

void* malloc(std::size_t size) noexcept {
    return isRefused() ? (errno = ENOMEM, nullptr) : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return isRefused() ? (errno = ENOMEM, nullptr) : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
    return isRefused() ? (errno = ENOMEM, nullptr) : __libc_realloc(block, size);
}
}

namespace Libraries::Networks::HTTP::Client {
namespace {

/// How a copy can end by itself.
enum Status { Answered = 10, Failed, RunThrough, Wrong };

const std::string Body(std::size_t{100} * 1024, 'y');  // which grows on the heap

std::string handle(const std::string& request) {
    if (request.starts_with("PUT /a ")) {
        return "HTTP/1.1 302 Found\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n";
    }
    return okResponse(request.ends_with("\r\n\r\nthe body") ? Body : "");
}

Status perform(const Ref<String>& url) {
    const Ref<Request> request = Request::create()->setUrl(url);
    request->setMethod(Request::Method::Put)->setBody(MemInStrm::create("the body"));
    const Ref<Response> response = request->perform(0);
    allocations.areCounted = false;
    if (!response) {
        return Error::get() == ErrTransfer ? Failed : Wrong;
    }
    const bool isWhole = response->bodySize() == Body.size() &&
                         std::memcmp(response->bodyData(), Body.data(), Body.size()) == 0;
    return !isWhole ? Wrong : allocations.count < allocations.failing ? RunThrough : Answered;
}

struct End {
    int status = 0;  ///< As `waitpid` tells it.
    std::string errors;
};

/// Performs in a copy of this process in which memory is gone at one allocation.
End endOfACopy(const Ref<String>& url, unsigned failing, bool lasts) {
    const OwnedDescriptor errors(memfd_create("errors", MFD_CLOEXEC));
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none = {};
        (void)setrlimit(RLIMIT_CORE, &none);
        (void)alarm(60);
        (void)dup2(errors.number(), STDERR_FILENO);
        allocations = {true, 0, failing, lasts};
        _exit(perform(url));
    }
    End end;
    EXPECT_EQ(waitpid(child, &end.status, 0), child);
    std::array<char, 4096> text{};
    const ssize_t count = pread(errors.number(), text.data(), text.size(), 0);
    end.errors.assign(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return end;
}

bool isAsPromised(const End& end) {
    // The C library ends the process itself where a thread needs room for what it keeps.
    static const std::regex lastLine(
        "out of memory: [0-9]+ bytes asked for by 0x[0-9a-f]+\n"
        "|Fatal glibc error: failed to register TLS destructor: out of memory\n");
    if (WIFSIGNALED(end.status)) {
        return WTERMSIG(end.status) == SIGABRT && std::regex_match(end.errors, lastLine);
    }
    const int status = WEXITSTATUS(end.status);
    return status == Answered || status == RunThrough ||
           (status == Failed && end.errors.find(" 4 [") != std::string::npos);
}

/// Answers how many copies ended otherwise than promised.
unsigned walk(const Ref<String>& url, bool lasts, unsigned stride) {
    unsigned ends = 0;
    unsigned others = 0;
    unsigned faults = 0;
    End end;
    for (unsigned number = 1; end.status != W_EXITCODE(RunThrough, 0); number += stride) {
        end = endOfACopy(url, number, lasts);
        if (!isAsPromised(end)) {
            ++faults;
            std::fprintf(stderr, "allocation %u ends with %x: %s\n", number,
                         static_cast<unsigned>(end.status), end.errors.c_str());
        }
        ++(WIFSIGNALED(end.status) ? ends : others);
    }
    std::printf("[ walked   ] memory for %s%s: %u ends of the process, %u of the exchange\n",
                plain(url).c_str(), lasts ? ", from then on" : "", ends, others);
    return faults + (ends == 0 ? 1 : 0);
}

/// The servers' threads, and the locks that they may hold, stay in the parent.
[[noreturn]] void walkInAProcessOfItsOwn(const Mirrors& servers) {
    // What the C library reads at its first question for a name, it does not survive without memory.
    addrinfo* found = nullptr;
    unsigned faults = getaddrinfo("localhost", nullptr, nullptr, &found) == 0 ? 0 : 1;
    freeaddrinfo(found);
    for (const Ref<String>& url : servers.urls()) {
        const bool all = FaultPoints::isThorough() || url->view().starts_with("http:");
        for (const bool lasts : {false, true}) {
            faults += walk(String::concat({url->view(), "a"}), lasts, all ? 1 : 97);
        }
    }
    std::fflush(stdout);
    _exit(faults == 0 ? 0 : 1);
}

TEST(FaultWalkDeathTest, MemoryThatIsGoneEndsTheProcessOrTheExchange) {
    const Mirrors servers(handle);
    EXPECT_EXIT(walkInAProcessOfItsOwn(servers), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
