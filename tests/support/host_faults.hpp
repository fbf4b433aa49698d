#pragma once

#include <climits>
#include <cstddef>
#include <vector>

#include "tests/support/fault_points.hpp"

/// Makes chosen calls of the host fail on the calling thread.
///
/// The test program defines these calls itself and hands them on to the host's; that works for the
/// libraries in the same process, shared or static. Link `nethttp_host_faults` to get it.
namespace HostFaults {

/// Every call of the library and the platform that a healthy program can see fail.
enum class Call {
    Mmap,
    Mremap,
    Munmap,
    Madvise,
    MemfdCreate,
    Ftruncate,
    Socket,
    Connect,
    Send,
    Recv,
    Setsockopt,
    Getsockopt,
    Poll,
    Open,
    Close,
    Read,
    Write,
    Pread,
    Fstat,
    Fcntl,
    Sigtimedwait,
    Nanosleep,
    Getaddrinfo,
};
inline constexpr std::size_t CallCount = 23;

/// Answers how a call can go wrong, as points know it.
const FaultPoints::Kind& kindOf(Call call);

/// Makes a call fail as long as it lives. One per kind of call and thread.
class Fault {
public:
    struct Options {
        int error = 0;              ///< What errno holds after the failure.
        unsigned skip = 0;          ///< Calls that succeed before the first failure.
        unsigned count = UINT_MAX;  ///< Calls that fail; later ones succeed.
        bool performs = false;      ///< Does its work first, as an interrupted connect goes on.
    };
    Fault(Call call, const Options& options);
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault();
    /// Answers how many calls failed so far.
    [[nodiscard]] unsigned hits() const;

private:
    Call call_;
};

/// Gives receives of this thread the given sizes at most, call after call, then lets them be. A
/// receive waits until its piece is complete or the peer has ended.
class Pieces {
public:
    Pieces(Call call, std::vector<std::size_t> sizes);
    Pieces(const Pieces&) = delete;
    Pieces& operator=(const Pieces&) = delete;
    ~Pieces();

private:
    Call call_;
};

/// Gives a host name two IPv4 addresses on this thread, as long as it lives; both texts are kept.
class TwoAddresses {
public:
    TwoAddresses(const char* name, const char* first, const char* second);
    TwoAddresses(const TwoAddresses&) = delete;
    TwoAddresses& operator=(const TwoAddresses&) = delete;
    ~TwoAddresses();
};

/// Gives a host name an address that is none of the Internet's, in the same way.
class ForeignAddress {
public:
    explicit ForeignAddress(const char* name);
    ForeignAddress(const ForeignAddress&) = delete;
    ForeignAddress& operator=(const ForeignAddress&) = delete;
    ~ForeignAddress();
};

/// Answers how often this thread has made a call, failed ones included.
unsigned calls(Call call);

/// Answers how many bytes this process has mapped by calls of the libraries.
std::size_t mappedBytes();

}  // namespace HostFaults
