#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

/// Tells whether the long form is asked for: the environment variable `NETHTTP_HOSTILE` is "long".
bool isLongForm();

/// What the code of a scope may use up; the test fails at the scope's end when it was more.
///
/// Memory is what this process holds beyond what it held before, at its peak: resident memory, and
/// addresses that are only reserved. The peak of these never begins anew: they are counted above that
/// of the process so far, and a scope behind a larger one sees less. A sanitizer has memory of its
/// own, so that nothing is measured beside one. Time is that of this thread on the processor: a
/// machine that stands still is no fault.
class Bounds {
public:
    struct Limits {
        std::uint64_t bytes;
        double seconds = 10;
        std::uint64_t reserved = 256ULL << 20U;  ///< A new thread's heap alone takes 128 MiB.
    };
    explicit Bounds(const Limits& limits);
    Bounds(const Bounds&) = delete;
    Bounds& operator=(const Bounds&) = delete;
    ~Bounds();

private:
    Limits limits_;
    std::uint64_t resident_ = 0;
    std::uint64_t addresses_ = 0;
    std::timespec began_ = {};
};
