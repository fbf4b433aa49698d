// What the calls of host_calls.cpp are told to do.

#include "tests/support/host_faults.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <utility>

#include <netdb.h>

#include "tests/support/host_calls.hpp"

namespace HostFaults {
namespace {

using FaultPoints::Kind;

// In the order of `Call`. What only a wrong argument brings about is left out.
constexpr std::array<Kind, CallCount> Kinds = {{
    {"mmap", {ENOMEM, EAGAIN, ENFILE, EPERM, EACCES}},
    {"mremap", {ENOMEM, EAGAIN}},
    {"munmap", {ENOMEM}},
    {"madvise", {EINVAL, ENOMEM, EAGAIN}},
    {"memfd_create", {EMFILE, ENFILE, ENOMEM, ENOSYS, EPERM, EACCES}},
    {"ftruncate", {EFBIG, EIO, EPERM, ENOSPC, ENOMEM}, true},
    {"socket", {EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES, EAFNOSUPPORT, EPROTONOSUPPORT}},
    {"connect",
     {ECONNREFUSED, ETIMEDOUT, ENETUNREACH, EHOSTUNREACH, EADDRNOTAVAIL, EADDRINUSE, EACCES, EPERM,
      ECONNRESET, EINPROGRESS, EAGAIN, ENOBUFS},
     true},
    {"send",
     {EPIPE, ECONNRESET, ENOBUFS, ENOMEM, ETIMEDOUT, EHOSTUNREACH, ENETUNREACH, ENETDOWN, EPERM},
     true,
     true,
     true},
    {"recv",
     {ECONNRESET, ETIMEDOUT, ENOMEM, EHOSTUNREACH, ENETUNREACH, ECONNREFUSED, EIO},
     true,
     true,
     true,
     true},
    {"setsockopt", {ENOPROTOOPT, EINVAL, ENOMEM, ENOBUFS, EPERM}},
    {"getsockopt", {ENOBUFS, ENOMEM, ENOPROTOOPT}},
    {"poll", {ENOMEM, EINVAL}, true, false, false, true},
    {"open",
     {EMFILE, ENFILE, ENOENT, EACCES, EISDIR, EROFS, ENOSPC, ENOMEM, ELOOP, EIO, ETXTBSY, EDQUOT},
     true},
    {"close", {EIO, ENOSPC, EDQUOT}, true},
    {"read", {EIO, ENOMEM}, true, true, true, true},
    {"write", {ENOSPC, EIO, EDQUOT, EFBIG, EPIPE, EPERM}, true, true, true},
    {"pread", {EIO, ENOMEM, ESTALE}, true, false, true, true},
    {"fstat", {EIO, ENOMEM, ESTALE, EOVERFLOW}},
    {"fcntl", {EMFILE, ENOLCK}},
    {"sigtimedwait", {EAGAIN}, true},
    {"clock_nanosleep", {}, true},
    {"getaddrinfo",
     {EAI_NONAME, EAI_AGAIN, EAI_FAIL, EAI_MEMORY, EAI_SYSTEM, EAI_NODATA, EAI_ADDRFAMILY,
      EAI_FAMILY, EAI_SERVICE}},
}};

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

thread_local constinit Name twoAddresses{};

constinit std::atomic<std::ptrdiff_t> mapped{0};

State& stateOf(Call call) noexcept {
    return states[static_cast<std::size_t>(call)];
}

/// Tells whether a `Fault` wants this call.
bool isFaulty(State& state) noexcept {
    if (!state.armed) {
        return false;
    }
    if (state.hits == state.options.count) {
        return false;
    }
    ++state.hits;
    return true;
}

}  // namespace

const Kind& kindOf(Call call) {
    return Kinds[static_cast<std::size_t>(call)];
}

Treatment decide(Call call) noexcept {
    State& state = stateOf(call);
    ++state.calls;
    if (isFaulty(state)) {
        return {Way::Fails, state.options.error};
    }
    return FaultPoints::next(Kinds[static_cast<std::size_t>(call)]);
}

bool performsFirst(Call call, const Treatment& treatment) noexcept {
    const State& state = stateOf(call);
    return treatment.way == Way::Interrupted ||
           (state.armed && state.options.performs && treatment.way == Way::Fails);
}

int failure(const Treatment& treatment) noexcept {
    if (treatment.way == Way::Interrupted) {
        errno = EINTR;
    } else if (treatment.way == Way::WouldBlock) {
        errno = EAGAIN;
    } else {
        errno = treatment.error;
    }
    return -1;
}

std::size_t allowed(Call call, const Treatment& treatment, std::size_t size) noexcept {
    if (treatment.way == Way::MovesLess) {
        return std::min<std::size_t>(size, 1);
    }
    State& state = stateOf(call);
    if (state.sizes == nullptr || state.nextSize == state.sizes->size()) {
        return size;
    }
    return std::min(size, (*state.sizes)[state.nextSize++]);
}

const Name& nameWithTwoAddresses() noexcept {
    return twoAddresses;
}

void countMapped(std::ptrdiff_t bytes) noexcept {
    mapped += bytes;
}

std::size_t mappedBytes() {
    return static_cast<std::size_t>(mapped);
}

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
