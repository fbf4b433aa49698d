// The calls below take the place of the host's for the whole process, so they must work at any
// time: before main, in the loader and inside the sanitizers' own set-up.

#include "tests/support/host_calls.hpp"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using HostFaults::Call;
using HostFaults::countMapped;
using HostFaults::decide;
using HostFaults::failure;
using HostFaults::Treatment;
using HostFaults::Way;

template <class Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool failsAtAll(const Treatment& treatment) noexcept {
    return treatment.fails() || treatment.way == Way::Interrupted ||
           treatment.way == Way::WouldBlock;
}

/// Makes a call, or lets it fail, its work done first where that is how it fails.
template <class Work>
auto make(Call call, Work work) -> decltype(work(Treatment{})) {
    const Treatment treatment = decide(call);
    if (!failsAtAll(treatment)) {
        return work(treatment);
    }
    return failure(treatment);
}

/// Makes a call that cannot be undone: it is done even where it fails.
template <class Work>
int makeFinal(Call call, Work work) {
    const Treatment treatment = decide(call);
    const int result = work();
    return failsAtAll(treatment) ? failure(treatment) : result;
}

std::ptrdiff_t bytes(std::size_t size) noexcept {
    return static_cast<std::ptrdiff_t>(size);
}

}  // namespace

extern "C" {

// Memory is asked for by dlsym too: these go to the kernel directly. The thread sanitizer's runtime
// does not start where mmap is not its own.
#ifndef NETHTTP_SANITIZE_THREAD
void* mmap(void* address, std::size_t size, int protection, int flags, int descriptor,
           off_t offset) noexcept {
    const Treatment treatment = decide(Call::Mmap);
    if (treatment.fails()) {
        failure(treatment);
        return MAP_FAILED;
    }
    const long result = syscall(SYS_mmap, address, size, protection, flags, descriptor, offset);
    countMapped(result == -1 ? 0 : bytes(size));
    return reinterpret_cast<void*>(result);  // NOLINT(performance-no-int-to-ptr): the kernel's
}
#endif

void* mremap(void* address, std::size_t size, std::size_t newSize, int flags, ...) noexcept {
    const Treatment treatment = decide(Call::Mremap);
    if (treatment.fails()) {
        failure(treatment);
        return MAP_FAILED;
    }
    std::va_list arguments;
    va_start(arguments, flags);
    void* const fixed = (flags & MREMAP_FIXED) != 0 ? va_arg(arguments, void*) : nullptr;
    va_end(arguments);
    const long result = syscall(SYS_mremap, address, size, newSize, flags, fixed);
    if (result != -1) {
        countMapped(fixed != nullptr ? -bytes(size) : bytes(newSize) - bytes(size));
    }
    return reinterpret_cast<void*>(result);  // NOLINT(performance-no-int-to-ptr): the kernel's
}

int munmap(void* address, std::size_t size) noexcept {
    return makeFinal(Call::Munmap, [&] {
        const int result = static_cast<int>(syscall(SYS_munmap, address, size));
        countMapped(result == 0 ? -bytes(size) : 0);
        return result;
    });
}

int madvise(void* address, std::size_t size, int advice) noexcept {
    return make(Call::Madvise, [&](const Treatment&) {
        return static_cast<int>(syscall(SYS_madvise, address, size, advice));
    });
}

int memfd_create(const char* name, unsigned flags) noexcept {
    return make(Call::MemfdCreate, [&](const Treatment&) {
        return static_cast<int>(syscall(SYS_memfd_create, name, flags));
    });
}

int ftruncate(int descriptor, off_t size) noexcept {
    return make(Call::Ftruncate, [&](const Treatment&) {
        return static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
    });
}

int socket(int domain, int type, int protocol) noexcept {
    return make(Call::Socket,
                [&](const Treatment&) { return next(socket, "socket")(domain, type, protocol); });
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    const Treatment treatment = decide(Call::Connect);
    int result = 0;
    if (!failsAtAll(treatment) || HostFaults::performsFirst(Call::Connect, treatment)) {
        result = next(connect, "connect")(descriptor, address, length);
    }
    return failsAtAll(treatment) ? failure(treatment) : result;
}

ssize_t send(int descriptor, const void* data, std::size_t size, int flags) {
    return make(Call::Send, [&](const Treatment& treatment) {
        return next(send, "send")(descriptor, data,
                                  HostFaults::allowed(Call::Send, treatment, size), flags);
    });
}

ssize_t recv(int descriptor, void* data, std::size_t size, int flags) {
    return make(Call::Recv, [&](const Treatment& treatment) -> ssize_t {
        if (treatment.way == Way::Ends) {
            return 0;
        }
        const std::size_t limit = HostFaults::allowed(Call::Recv, treatment, size);
        return next(recv, "recv")(descriptor, data, limit,
                                  limit < size ? flags | MSG_WAITALL : flags);
    });
}

int setsockopt(int descriptor, int level, int option, const void* value,
               socklen_t length) noexcept {
    return make(Call::Setsockopt, [&](const Treatment&) {
        return next(setsockopt, "setsockopt")(descriptor, level, option, value, length);
    });
}

int getsockopt(int descriptor, int level, int option, void* value, socklen_t* length) noexcept {
    return make(Call::Getsockopt, [&](const Treatment&) {
        return next(getsockopt, "getsockopt")(descriptor, level, option, value, length);
    });
}

/// Ends, that is: at once, when it has a limit.
int poll(pollfd* entries, nfds_t count, int milliseconds) {
    return make(Call::Poll, [&](const Treatment& treatment) {
        return treatment.way == Way::Ends && milliseconds >= 0
                   ? 0
                   : next(poll, "poll")(entries, count, milliseconds);
    });
}

int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return make(Call::Open,
                [&](const Treatment&) { return next(open, "open")(path, flags, mode); });
}

int close(int descriptor) {
    return makeFinal(Call::Close, [&] { return next(close, "close")(descriptor); });
}

ssize_t read(int descriptor, void* data, std::size_t size) {
    return make(Call::Read, [&](const Treatment& treatment) -> ssize_t {
        return treatment.way == Way::Ends
                   ? 0
                   : next(read, "read")(descriptor, data,
                                        HostFaults::allowed(Call::Read, treatment, size));
    });
}

ssize_t write(int descriptor, const void* data, std::size_t size) {
    return make(Call::Write, [&](const Treatment& treatment) {
        return next(write, "write")(descriptor, data,
                                    HostFaults::allowed(Call::Write, treatment, size));
    });
}

ssize_t pread(int descriptor, void* data, std::size_t size, off_t offset) {
    return make(Call::Pread, [&](const Treatment& treatment) -> ssize_t {
        return treatment.way == Way::Ends
                   ? 0
                   : next(pread, "pread")(descriptor, data,
                                          HostFaults::allowed(Call::Pread, treatment, size),
                                          offset);
    });
}

int fstat(int descriptor, struct stat* facts) noexcept {
    return make(Call::Fstat,
                [&](const Treatment&) { return next(fstat, "fstat")(descriptor, facts); });
}

int fcntl(int descriptor, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);  // whatever it is, it has a register of its own
    va_end(arguments);
    return make(Call::Fcntl, [&](const Treatment&) {
        return next(fcntl, "fcntl")(descriptor, command, argument);
    });
}

int sigtimedwait(const sigset_t* set, siginfo_t* facts, const timespec* limit) {
    return make(Call::Sigtimedwait, [&](const Treatment&) {
        return next(sigtimedwait, "sigtimedwait")(set, facts, limit);
    });
}

/// Answers its error itself; one that is interrupted has all of its time left.
int clock_nanosleep(clockid_t clock, int flags, const timespec* wanted, timespec* left) {
    const Treatment treatment = decide(Call::Nanosleep);
    if (treatment.way != Way::Interrupted) {
        return next(clock_nanosleep, "clock_nanosleep")(clock, flags, wanted, left);
    }
    if (left != nullptr) {
        *left = *wanted;
    }
    return EINTR;
}

int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    const Treatment treatment = decide(Call::Getaddrinfo);
    if (treatment.fails()) {
        errno = EIO;  // what EAI_SYSTEM refers to
        return treatment.error;
    }
    auto* const resolve = next(getaddrinfo, "getaddrinfo");
    const HostFaults::Name& name = HostFaults::knownName();
    if (name.text == nullptr || node == nullptr || std::strcmp(node, name.text) != 0) {
        return resolve(node, service, hints, result);
    }
    const int code = resolve(name.first, service, hints, result);
    if (name.second == nullptr) {
        for (addrinfo* entry = code == 0 ? *result : nullptr; entry != nullptr;
             entry = entry->ai_next) {
            entry->ai_addr->sa_family = AF_UNIX;
        }
        return code;
    }
    return code != 0 ? code : resolve(name.second, service, hints, &(*result)->ai_next);
}
}
