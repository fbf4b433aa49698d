// The calls below take the place of the host's for the whole process, so they must work at any
// time: before main, in the loader and inside the sanitizers' own set-up.

#include "tests/support/host_faults.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

#include <dlfcn.h>
#include <netdb.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace HostFaults {
namespace {

struct State {
    bool armed = false;
    Fault::Options options;
    unsigned hits = 0;
    unsigned calls = 0;
    const std::vector<std::size_t>* sizes = nullptr;
    std::size_t nextSize = 0;
};

// Plain data without construction, so that a call in the loader may look at it.
thread_local constinit std::array<State, CallCount> states{};

struct Name {
    const char* text = nullptr;
    const char* first = nullptr;
    const char* second = nullptr;
};

thread_local constinit Name twoAddresses{};

State& stateOf(Call call) {
    return states[static_cast<std::size_t>(call)];
}

/// Counts the call and tells whether this one is to fail.
bool failsNow(Call call) {
    State& state = stateOf(call);
    ++state.calls;
    if (!state.armed) {
        return false;
    }
    if (state.options.skip != 0) {
        --state.options.skip;
        return false;
    }
    if (state.hits == state.options.count) {
        return false;
    }
    ++state.hits;
    return true;
}

int failure(Call call) {
    errno = stateOf(call).options.error;
    return -1;
}

/// Answers the size that the next transfer may have.
std::size_t allowed(Call call, std::size_t size) {
    State& state = stateOf(call);
    if (state.sizes == nullptr || state.nextSize == state.sizes->size()) {
        return size;
    }
    return std::min(size, (*state.sizes)[state.nextSize++]);
}

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

Fault::Fault(Call call, const Options& options) : call_(call) {
    State& state = stateOf(call);
    state.options = options;
    state.hits = 0;
    state.armed = true;
}

Fault::~Fault() {
    stateOf(call_).armed = false;
}

unsigned Fault::hits() const {
    return stateOf(call_).hits;
}

Pieces::Pieces(Call call, std::vector<std::size_t> sizes) : call_(call) {
    State& state = stateOf(call);
    state.sizes = new std::vector<std::size_t>(std::move(sizes));
    state.nextSize = 0;
}

Pieces::~Pieces() {
    delete std::exchange(stateOf(call_).sizes, nullptr);
}

TwoAddresses::TwoAddresses(const char* name, const char* first, const char* second) {
    twoAddresses = {name, first, second};
}

TwoAddresses::~TwoAddresses() {
    twoAddresses = {};
}

unsigned calls(Call call) {
    return stateOf(call).calls;
}

}  // namespace HostFaults

using HostFaults::Call;

// Memory is asked for by dlsym too: these three go to the kernel directly.
extern "C" void* mmap(void* address, std::size_t size, int protection, int flags, int descriptor,
                      off_t offset) noexcept {
    if (HostFaults::failsNow(Call::Mmap)) {
        HostFaults::failure(Call::Mmap);
        return MAP_FAILED;
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what the kernel answers
    return reinterpret_cast<void*>(
        syscall(SYS_mmap, address, size, protection, flags, descriptor, offset));
}

extern "C" void* mremap(void* address, std::size_t size, std::size_t newSize, int flags,
                        ...) noexcept {
    if (HostFaults::failsNow(Call::Mremap)) {
        HostFaults::failure(Call::Mremap);
        return MAP_FAILED;
    }
    std::va_list arguments;
    va_start(arguments, flags);
    void* const fixed = (flags & MREMAP_FIXED) != 0 ? va_arg(arguments, void*) : nullptr;
    va_end(arguments);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what the kernel answers
    return reinterpret_cast<void*>(syscall(SYS_mremap, address, size, newSize, flags, fixed));
}

extern "C" int memfd_create(const char* name, unsigned flags) noexcept {
    if (HostFaults::failsNow(Call::MemfdCreate)) {
        return HostFaults::failure(Call::MemfdCreate);
    }
    return static_cast<int>(syscall(SYS_memfd_create, name, flags));
}

extern "C" int socket(int domain, int type, int protocol) noexcept {
    if (HostFaults::failsNow(Call::Socket)) {
        return HostFaults::failure(Call::Socket);
    }
    return HostFaults::next<int(int, int, int)>("socket")(domain, type, protocol);
}

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t length) {
    const bool fails = HostFaults::failsNow(Call::Connect);
    int result = 0;
    if (!fails || HostFaults::stateOf(Call::Connect).options.performs) {
        result = HostFaults::next<int(int, const sockaddr*, socklen_t)>("connect")(descriptor,
                                                                                   address, length);
    }
    return fails ? HostFaults::failure(Call::Connect) : result;
}

extern "C" ssize_t send(int descriptor, const void* bytes, std::size_t size, int flags) {
    if (HostFaults::failsNow(Call::Send)) {
        return HostFaults::failure(Call::Send);
    }
    return HostFaults::next<ssize_t(int, const void*, std::size_t, int)>("send")(
        descriptor, bytes, HostFaults::allowed(Call::Send, size), flags);
}

extern "C" ssize_t recv(int descriptor, void* bytes, std::size_t size, int flags) {
    if (HostFaults::failsNow(Call::Recv)) {
        return HostFaults::failure(Call::Recv);
    }
    const std::size_t limit = HostFaults::allowed(Call::Recv, size);
    return HostFaults::next<ssize_t(int, void*, std::size_t, int)>("recv")(
        descriptor, bytes, limit, limit < size ? flags | MSG_WAITALL : flags);
}

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    const auto resolve =
        HostFaults::next<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
    const HostFaults::Name& name = HostFaults::twoAddresses;
    if (name.text == nullptr || node == nullptr || std::strcmp(node, name.text) != 0) {
        return resolve(node, service, hints, result);
    }
    const int code = resolve(name.first, service, hints, result);
    return code != 0 ? code : resolve(name.second, service, hints, &(*result)->ai_next);
}
