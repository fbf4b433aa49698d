#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "reason.hpp"

namespace cli {

/// Sees every record of the log before it is written: one at a time in the program, while it lives.
class RecordWatch {
public:
    static constexpr std::uint32_t warningLevel = 3;
    static constexpr std::uint32_t failureLevel = 4;

    /// @param makeWay  Called before a line is written to standard error.
    explicit RecordWatch(std::function<void()> makeWay);
    RecordWatch(const RecordWatch&) = delete;
    RecordWatch& operator=(const RecordWatch&) = delete;
    ~RecordWatch();

    /// Starts anew, with the next exchange.
    void forget() { records_ = {}; }
    /// Tells whether the user wants to see records of a level.
    [[nodiscard]] bool shows(std::uint32_t level) const { return level >= wantedLevel_; }
    /// Answers the records of failure since the last `forget`, whether or not the user wanted to see
    /// them.
    [[nodiscard]] const FailureRecords& failure() const { return records_; }

private:
    static void take(std::uint32_t level, const char* channel, std::string_view text);

    std::function<void()> makeWay_;
    std::uint32_t wantedLevel_;
    FailureRecords records_;
};

}  // namespace cli
