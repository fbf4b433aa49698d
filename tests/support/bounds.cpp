#include "tests/support/bounds.hpp"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <malloc.h>

namespace {

#ifdef NETHTTP_SANITIZE
constexpr bool MemoryIsMeasured = false;
#else
constexpr bool MemoryIsMeasured = true;
#endif

/// Answers a size from the kernel's account of this process, in bytes.
std::uint64_t account(std::string_view name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stoull(line.substr(name.size() + 1)) * 1024;
        }
    }
    ADD_FAILURE() << "the kernel does not tell " << name;
    return 0;
}

std::timespec processorTime() {
    std::timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now;
}

std::uint64_t above(std::uint64_t peak, std::uint64_t before) {
    return peak > before ? peak - before : 0;
}

}  // namespace

bool isLongForm() {
    const char* const form =
        std::getenv("NETHTTP_HOSTILE");  // NOLINT(concurrency-mt-unsafe): read only
    return form != nullptr && std::string_view(form) == "long";
}

Bounds::Bounds(const Limits& limits) : limits_(limits) {
    (void)malloc_trim(0);  // what was freed before must not be taken for memory of this scope's own
    std::ofstream peak("/proc/self/clear_refs");
    peak << "5" << std::flush;  // the peak of the resident memory begins anew
    EXPECT_TRUE(peak) << "the kernel does not let the peak of memory begin anew";
    resident_ = account("VmRSS");
    addresses_ = account("VmPeak");
    began_ = processorTime();
}

Bounds::~Bounds() {
    const std::timespec now = processorTime();
    const double seconds = static_cast<double>(now.tv_sec - began_.tv_sec) +
                           static_cast<double>(now.tv_nsec - began_.tv_nsec) / 1e9;
    const std::uint64_t bytes = above(account("VmHWM"), resident_);
    const std::uint64_t reserved = above(account("VmPeak"), addresses_);
    std::cout << "  " << bytes / 1024 << " KiB resident, " << reserved / 1024
              << " KiB of addresses, " << seconds << " s\n";
    EXPECT_LT(seconds, limits_.seconds);
    if (MemoryIsMeasured) {
        EXPECT_LT(bytes, limits_.bytes);
        EXPECT_LT(reserved, limits_.reserved);
    }
}
