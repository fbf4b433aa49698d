#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/exchange/exchange.hpp"
#include "tests/support/fault_points.hpp"
#include "tests/support/log_capture.hpp"

/// Lets an exchange run again and again, and each time the next one of its calls go wrong, until
/// one runs through without reaching the fault.
namespace FaultWalk {

using FaultPoints::Depth;
using FaultPoints::isThorough;
using FaultPoints::Kind;
using FaultPoints::Point;
using FaultPoints::Treatment;
using FaultPoints::Way;

/// What a caller can see of one run.
struct Result {
    bool ok = false;
    std::uint32_t error = 0;  ///< The thread's error code after a failure.
    std::string text;         ///< All of an answer, or which step failed.
    std::vector<LogCapture::Record> records;

    /// Answers the records of warnings (3) or of failures (4).
    [[nodiscard]] std::vector<std::string> texts(std::uint32_t level) const;
};

/// Something that must not grow by a run, such as the number of open descriptors.
struct Counter {
    const char* name;
    std::function<long()> value;
    long before = LONG_MAX;
};

struct Scenario {
    const char* name;
    /// One run, on a thread of its own; leaves the records empty.
    std::function<Result()> run;
    /// Answers what was wrong with a run; empty: it was as promised.
    std::function<std::string(const Point&, const Result& seen, const Result& good)> judge;
    /// Answers what an answer has left elsewhere, such as in a file; asked when the run is over.
    std::function<std::string()> leftBehind = {};
    std::vector<Counter> counters = {};  ///< Besides those of the host and of the heap.
    const Kind* only = nullptr;          ///< The one kind to walk; null: all but `except`.
    const Kind* except = nullptr;
    unsigned stride = 1;      ///< How many calls a step goes on, where not all are tried.
    std::uint32_t level = 1;  ///< Of the log.
    bool capturesLog = true;  ///< Whether records are collected, instead of written.
};

/// Walks a scenario, and prints how many points there were. A run that hangs ends the program.
void walk(const Scenario& scenario);

/// Holds a whole program to its claim: each kind of call went wrong in one of its walks.
class EveryKindIsWalked final : public testing::Environment {
public:
    /// @param others  Those that no walk can reach.
    EveryKindIsWalked(std::vector<const Kind*> all, std::vector<const Kind*> others)
        : all_(std::move(all)), others_(std::move(others)) {}
    void TearDown() override;

private:
    std::vector<const Kind*> all_;
    std::vector<const Kind*> others_;
};

/// Answers a response as a result; a response beyond 1 KiB shows as its size and a sum.
Result resultOf(const Libraries::Networks::HTTP::Client::Seen& seen);

/// Answers a short text as it is, a long one as its size and a sum.
std::string digest(const std::string& bytes);

}  // namespace FaultWalk
